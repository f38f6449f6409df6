#include "csp/CryptProvContext.h"

#include "framework/Handles.h"

bool CCryptProvContext::Acquire(DWORD flags, const wchar_t* container, const wchar_t* provider, DWORD type) noexcept {
    Release();
    flags_ = flags;
    const bool acquired = CryptAcquireContextW(&handle_, container, provider, type, flags) != FALSE;
    // A deletion gives no handle; what stands in its place then is undefined.
    if (!acquired || (flags & CRYPT_DELETEKEYSET) != 0) handle_ = 0;
    return acquired;
}

void CCryptProvContext::Release() noexcept {
    flags_ = 0;
    if (!handle_) return;
    const LastErrorKeeper keeper;
    CryptReleaseContext(handle_, 0);
    handle_ = 0;
}
