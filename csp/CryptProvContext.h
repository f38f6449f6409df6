// CCryptProvContext: the owner of one provider handle.
#pragma once

#include <windows.h>

#include <wincrypt.h>

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
