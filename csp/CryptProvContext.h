// CCryptProvContext, the owner of a provider handle, and what is chosen when a provider is opened: whose containers,
// and which window owns the provider's dialogs.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include "framework/Handles.h"
#include "framework/Result.h"

// Whose containers: the current user's or the computer's.
enum class KeySet { User, Computer };  // in the order of the radio buttons that choose it

// The flag with which a container of that owner is opened.
constexpr DWORD FlagOf(KeySet keySet) noexcept {
    return keySet == KeySet::Computer ? CRYPT_MACHINE_KEYSET : 0;
}

// The location of the same owner's system stores, as CertOpenStore and CertEnumSystemStore expect it.
constexpr DWORD StoreLocation(KeySet keySet) noexcept {
    return keySet == KeySet::Computer ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER;
}

// Sets the window that owns the dialogs of providers, and resets it at the end of the scope. The setting is one for all
// providers of the process, so it is made without a provider handle.
class ClientWindow : NonCopyable {
  public:
    explicit ClientWindow(HWND window) noexcept { Set(window); }
    ~ClientWindow() { Set(nullptr); }

  private:
    // Systems that require a provider handle refuse the call. The failure is ignored, and the last error of an earlier
    // call, which the caller may be about to show, is preserved.
    static void Set(HWND window) noexcept {
        const LastErrorKeeper keeper;
        CryptSetProvParam(0, PP_CLIENT_HWND, reinterpret_cast<const BYTE*>(&window), 0);
    }
};

// Owns one provider handle together with the flags that it was acquired with. An object without a handle is empty.
// Keys and hashes of the provider must be destroyed before the handle is released.
class CCryptProvContext : NonCopyable {
  public:
    CCryptProvContext() = default;

    // Releases the current handle, then opens a container, or with `container` nullptr a context without one.
    // `provider` nullptr selects the default provider of the type. With CRYPT_DELETEKEYSET the container is deleted and
    // the object stays empty. Fails with the code of CryptAcquireContext; the object is empty then.
    Result<> Acquire(DWORD flags, const wchar_t* container, const wchar_t* provider, DWORD type) noexcept;

    // Releases the current handle, then adds a reference to another owner's context and owns the reference.
    Result<> AddReference(HCRYPTPROV context) noexcept;

    // Releases the handle, if there is one, and preserves the thread's last-error value.
    void Release() noexcept;

    // The same for callers that report a release that fails. An empty object succeeds.
    Result<> Close() noexcept;

    HCRYPTPROV Get() const noexcept { return handle_.get(); }
    DWORD Flags() const noexcept { return flags_; }
    explicit operator bool() const noexcept { return static_cast<bool>(handle_); }

  private:
    UniqueProviderReference handle_;
    DWORD flags_ = 0;
};

inline Result<> CCryptProvContext::Acquire(DWORD flags, const wchar_t* container, const wchar_t* provider,
                                           DWORD type) noexcept {
    Release();
    flags_ = flags;
    HCRYPTPROV handle = 0;
    const Result<> acquired = Try(CryptAcquireContextW(&handle, container, provider, type, flags));
    // A deletion returns no handle: the variable's value is undefined then.
    if (acquired && (flags & CRYPT_DELETEKEYSET) == 0) handle_.reset(handle);
    return acquired;
}

inline Result<> CCryptProvContext::AddReference(HCRYPTPROV context) noexcept {
    Release();
    const Result<> added = Try(CryptContextAddRef(context, nullptr, 0));
    if (added) handle_.reset(context);
    return added;
}

inline void CCryptProvContext::Release() noexcept {
    flags_ = 0;
    handle_.reset();
}

inline Result<> CCryptProvContext::Close() noexcept {
    flags_ = 0;
    return Try(handle_.close());
}
