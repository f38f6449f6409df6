// CCryptProvContext: the owner of one provider handle.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include "framework/Handles.h"

// Whose containers: the current user's or the computer's.

enum class KeySet { User, Computer };

// As providers are told of it when a container is opened.
constexpr DWORD FlagOf(KeySet keySet) noexcept {
    return keySet == KeySet::Computer ? CRYPT_MACHINE_KEYSET : 0;
}

// Where the system stores of the same owner are.
constexpr DWORD StoreLocation(KeySet keySet) noexcept {
    return keySet == KeySet::Computer ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER;
}

// ClientWindow: the window that owns the dialogs which providers show, while the object lives.

class ClientWindow {
  public:
    explicit ClientWindow(HWND window) noexcept { Set(window); }
    ~ClientWindow() { Set(nullptr); }
    ClientWindow(const ClientWindow&) = delete;
    ClientWindow& operator=(const ClientWindow&) = delete;

  private:
    // For all providers of the process, so no handle is given. A system that wants one refuses, which is no reason to
    // hide an error that the caller is about to show.
    static void Set(HWND window) noexcept {
        const LastErrorKeeper keeper;
        CryptSetProvParam(0, PP_CLIENT_HWND, reinterpret_cast<const BYTE*>(&window), 0);
    }
};

class CCryptProvContext {
  public:
    CCryptProvContext() = default;
    ~CCryptProvContext() { Release(); }
    CCryptProvContext(const CCryptProvContext&) = delete;
    CCryptProvContext& operator=(const CCryptProvContext&) = delete;

    // Opens a container, or a context without one (nullptr), after releasing what is held. `provider` nullptr: the
    // default provider of the type. False on failure, with the thread's last error.
    bool Acquire(DWORD flags, const wchar_t* container, const wchar_t* provider, DWORD type) noexcept;

    // Releases what is held, if anything, and keeps the thread's last-error value.
    void Release() noexcept;

    HCRYPTPROV Get() const noexcept { return handle_; }
    DWORD Flags() const noexcept { return flags_; }
    explicit operator bool() const noexcept { return handle_ != 0; }

  private:
    HCRYPTPROV handle_ = 0;
    DWORD flags_ = 0;
};
