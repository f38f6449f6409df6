#include "csp/CryptProvContext.h"

#include "framework/UniqueHandle.h"

bool CCryptProvContext::Acquire(DWORD flags, const wchar_t* container, const wchar_t* provider, DWORD type) noexcept {
    Release();
    flags_ = flags;
    if (CryptAcquireContextW(&handle_, container, provider, type, flags)) return true;
    handle_ = 0;
    return false;
}

void CCryptProvContext::Release() noexcept {
    flags_ = 0;
    if (!handle_) return;
    const LastErrorKeeper keeper;
    CryptReleaseContext(handle_, 0);
    handle_ = 0;
}
