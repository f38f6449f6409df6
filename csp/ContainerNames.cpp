#include "csp/ContainerNames.h"

#include <algorithm>

Result<std::wstring> ContainerNames::Next() {
    if (buffer_.empty()) {
        DWORD longest = 0;  // of all names, in bytes
        const Result<> measured = Try(CryptGetProvParam(provider_, PP_ENUMCONTAINERS, nullptr, &longest, CRYPT_FIRST));
        if (!measured) return measured.Failed();
        // At least one byte: a call without a buffer would return the length again, and succeed without end.
        buffer_.resize(std::max<DWORD>(longest, 1));
    }
    auto length = static_cast<DWORD>(buffer_.size());
    const Result<> read = Try(CryptGetProvParam(provider_, PP_ENUMCONTAINERS, buffer_.data(), &length, flags_));
    if (!read) return read.Failed();
    flags_ = 0;  // the provider does not accept CRYPT_NEXT here
    return FromAnsi(buffer_);
}
