#include "csp/CryptProvContext.h"

Result<> CCryptProvContext::Acquire(DWORD flags, const wchar_t* container, const wchar_t* provider,
                                    DWORD type) noexcept {
    Release();
    flags_ = flags;
    HCRYPTPROV handle = 0;
    const Result<> acquired = Try(CryptAcquireContextW(&handle, container, provider, type, flags));
    // A deletion returns no handle: the variable's value is undefined then.
    if (acquired && (flags & CRYPT_DELETEKEYSET) == 0) handle_.reset(handle);
    return acquired;
}

Result<> CCryptProvContext::AddReference(HCRYPTPROV context) noexcept {
    Release();
    const Result<> added = Try(CryptContextAddRef(context, nullptr, 0));
    if (added) handle_.reset(context);
    return added;
}

void CCryptProvContext::Release() noexcept {
    flags_ = 0;
    handle_.reset();
}

Result<> CCryptProvContext::Close() noexcept {
    flags_ = 0;
    return Try(handle_.close());
}
