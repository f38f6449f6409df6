// UniqueHandle and the owning handles in use. Close functions are called nowhere else.
#pragma once

#include <windows.h>

#include <wincrypt.h>
#include <winsvc.h>

#include <type_traits>
#include <utility>

// The base of classes whose objects are neither copied nor moved.
class NonCopyable {
  public:
    NonCopyable(const NonCopyable&) = delete;
    NonCopyable& operator=(const NonCopyable&) = delete;

  protected:
    NonCopyable() = default;
    ~NonCopyable() = default;
};

// Restores the thread's last-error value at the end of a scope, so that a clean-up does not hide why it was needed.
class LastErrorKeeper : NonCopyable {
  public:
    LastErrorKeeper() noexcept : error_(GetLastError()) {}
    ~LastErrorKeeper() { SetLastError(error_); }

  private:
    DWORD error_;
};

// The value that means "no handle".
enum class EmptyHandle { Zero, InvalidHandleValue };

// Owns a handle and closes it with `Close`, a function of the handle or of the handle and flags, for which 0 is passed.
template <class HandleType, auto Close, EmptyHandle empty = EmptyHandle::Zero>
class UniqueHandle {
  public:
    using Handle = HandleType;

    UniqueHandle() noexcept = default;
    explicit UniqueHandle(Handle handle) noexcept : handle_(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    ~UniqueHandle() { reset(); }

    Handle get() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != Empty(); }

    // Gives up ownership of the handle and returns it.
    [[nodiscard]] Handle release() noexcept { return std::exchange(handle_, Empty()); }

    // Closes the owned handle, preserving the thread's last-error value, and takes ownership of `handle`.
    void reset(Handle handle = Empty()) noexcept {
        const Handle old = std::exchange(handle_, handle);
        if (old == Empty()) return;
        const LastErrorKeeper keeper;
        CloseNow(old);
    }

    // Closes the owned handle. False when that failed, with the last error of the close function; true when there was
    // no handle. For close functions that return BOOL.
    bool close() noexcept {
        const Handle old = release();
        return old == Empty() || CloseNow(old);
    }

    // For functions that return a handle through a pointer. Closes the owned handle first.
    Handle* put() noexcept {
        reset();
        return &handle_;
    }

  private:
    static Handle Empty() noexcept {
        if constexpr (empty == EmptyHandle::Zero) {
            return {};
        } else {
            return reinterpret_cast<Handle>(INVALID_HANDLE_VALUE);
        }
    }

    static auto CloseNow(Handle handle) noexcept {
        if constexpr (std::is_invocable_v<decltype(Close), Handle>) {
            return Close(handle);
        } else {
            return Close(handle, 0);
        }
    }

    Handle handle_ = Empty();
};

using UniqueModule = UniqueHandle<HMODULE, &FreeLibrary>;
using UniqueKernelHandle = UniqueHandle<HANDLE, &CloseHandle>;
using UniqueFile = UniqueHandle<HANDLE, &CloseHandle, EmptyHandle::InvalidHandleValue>;
using UniqueGlobalMemory = UniqueHandle<HGLOBAL, &GlobalFree>;
using UniqueActivationContext = UniqueHandle<HANDLE, &ReleaseActCtx, EmptyHandle::InvalidHandleValue>;
using UniqueRegistryKey = UniqueHandle<HKEY, &RegCloseKey>;
using UniqueService = UniqueHandle<SC_HANDLE, &CloseServiceHandle>;  // a service or the service manager

using UniqueIcon = UniqueHandle<HICON, &DestroyIcon>;
using UniqueCursor = UniqueHandle<HCURSOR, &DestroyCursor>;
using UniqueFont = UniqueHandle<HFONT, &DeleteObject>;
using UniqueBitmap = UniqueHandle<HBITMAP, &DeleteObject>;

using UniqueCertificate = UniqueHandle<PCCERT_CONTEXT, &CertFreeCertificateContext>;
using UniqueCertificateStore = UniqueHandle<HCERTSTORE, &CertCloseStore>;

// Destroy keys and hashes before the last reference to their provider is released.
using UniqueCryptKey = UniqueHandle<HCRYPTKEY, &CryptDestroyKey>;
using UniqueCryptHash = UniqueHandle<HCRYPTHASH, &CryptDestroyHash>;
using UniqueProviderReference = UniqueHandle<HCRYPTPROV, &CryptReleaseContext>;
