// The owning handles in use, one policy each.
#pragma once

#include <windows.h>

#include <wincrypt.h>
#include <winsvc.h>

#include <utility>

// The owner of a handle. A policy says which value means none and how a handle is closed; raw close calls stand
// nowhere else.

// Keeps the thread's last-error value over a scope: what a clean-up does must not hide why it was needed.
class LastErrorKeeper {
  public:
    LastErrorKeeper() noexcept : error_(GetLastError()) {}
    ~LastErrorKeeper() { SetLastError(error_); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

  private:
    DWORD error_;
};

// Policy: `using Handle`, `static Handle null()`, `static void close(Handle)`.
template <class Policy>
class UniqueHandle {
  public:
    using Handle = typename Policy::Handle;

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
    explicit operator bool() const noexcept { return handle_ != Policy::null(); }

    // Gives the handle up; the caller owns it now.
    [[nodiscard]] Handle release() noexcept { return std::exchange(handle_, Policy::null()); }

    // Closes what is held, keeping the thread's last-error value, and takes `handle` over.
    void reset(Handle handle = Policy::null()) noexcept {
        const Handle old = std::exchange(handle_, handle);
        if (old == Policy::null()) return;
        const LastErrorKeeper keeper;
        Policy::close(old);
    }

    // Closes what is held, and tells how that went, with its last error; true when nothing is held. For those who must
    // report it; the policy's close returns it.
    bool close() noexcept {
        const Handle old = release();
        return old == Policy::null() || Policy::close(old);
    }

    // For functions that return a handle through a pointer. What was held is closed first.
    Handle* put() noexcept {
        reset();
        return &handle_;
    }

  private:
    Handle handle_ = Policy::null();
};

// What the handles whose none is a null pointer have in common.
template <class HandleType>
struct NullPointerPolicy {
    using Handle = HandleType;
    static Handle null() noexcept { return nullptr; }
};

struct ModulePolicy : NullPointerPolicy<HMODULE> {
    static void close(Handle module) noexcept { FreeLibrary(module); }
};
using UniqueModule = UniqueHandle<ModulePolicy>;

struct KernelHandlePolicy : NullPointerPolicy<HANDLE> {
    static void close(Handle handle) noexcept { CloseHandle(handle); }
};
using UniqueKernelHandle = UniqueHandle<KernelHandlePolicy>;

struct FilePolicy {
    using Handle = HANDLE;
    static Handle null() noexcept { return INVALID_HANDLE_VALUE; }
    static void close(Handle file) noexcept { CloseHandle(file); }
};
using UniqueFile = UniqueHandle<FilePolicy>;

struct RegistryKeyPolicy : NullPointerPolicy<HKEY> {
    static void close(Handle key) noexcept { RegCloseKey(key); }
};
using UniqueRegistryKey = UniqueHandle<RegistryKeyPolicy>;

struct ServicePolicy : NullPointerPolicy<SC_HANDLE> {
    static void close(Handle service) noexcept { CloseServiceHandle(service); }
};
using UniqueService = UniqueHandle<ServicePolicy>;  // the service manager too

struct IconPolicy : NullPointerPolicy<HICON> {
    static void close(Handle icon) noexcept { DestroyIcon(icon); }
};
using UniqueIcon = UniqueHandle<IconPolicy>;

struct CursorPolicy : NullPointerPolicy<HCURSOR> {
    static void close(Handle cursor) noexcept { DestroyCursor(cursor); }
};
using UniqueCursor = UniqueHandle<CursorPolicy>;

struct CertificatePolicy : NullPointerPolicy<PCCERT_CONTEXT> {
    static void close(Handle certificate) noexcept { CertFreeCertificateContext(certificate); }
};
using UniqueCertificate = UniqueHandle<CertificatePolicy>;

struct CertificateStorePolicy : NullPointerPolicy<HCERTSTORE> {
    static void close(Handle store) noexcept { CertCloseStore(store, 0); }
};
using UniqueCertificateStore = UniqueHandle<CertificateStorePolicy>;

template <class GdiHandle>
struct GdiPolicy : NullPointerPolicy<GdiHandle> {
    static void close(GdiHandle object) noexcept { DeleteObject(object); }
};
using UniqueFont = UniqueHandle<GdiPolicy<HFONT>>;
using UniqueBitmap = UniqueHandle<GdiPolicy<HBITMAP>>;

struct ActivationContextPolicy {
    using Handle = HANDLE;
    static Handle null() noexcept { return INVALID_HANDLE_VALUE; }
    static void close(Handle context) noexcept { ReleaseActCtx(context); }
};
using UniqueActivationContext = UniqueHandle<ActivationContextPolicy>;

// CryptoAPI's handles are all of one type. Keys and hashes go before the last reference on their provider.
struct CryptPolicy {
    using Handle = ULONG_PTR;
    static Handle null() noexcept { return 0; }
};

struct CryptKeyPolicy : CryptPolicy {
    static bool close(Handle key) noexcept { return CryptDestroyKey(key) != FALSE; }
};
using UniqueCryptKey = UniqueHandle<CryptKeyPolicy>;

struct CryptHashPolicy : CryptPolicy {
    static void close(Handle hash) noexcept { CryptDestroyHash(hash); }
};
using UniqueCryptHash = UniqueHandle<CryptHashPolicy>;

struct ProviderReferencePolicy : CryptPolicy {
    static bool close(Handle provider) noexcept { return CryptReleaseContext(provider, 0) != FALSE; }
};
using UniqueProviderReference = UniqueHandle<ProviderReferencePolicy>;
