#include "csp/Containers.h"

#include <algorithm>

#include "csp/ProviderParameters.h"

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
    std::wstring name = FromAnsi(buffer_);
    if (name.empty() && buffer_.front() != 0) return Failure{ERROR_NO_UNICODE_TRANSLATION};
    return name;
}

namespace {

// The record that kParameterChangePassword expects.
struct PasswordRequest {
    BYTE kind;
    const void* value;
};
static_assert(sizeof(PasswordRequest) == 16);

constexpr BYTE kByDialog = 4;  // the provider asks for both passwords; the record has no value

}  // namespace

Result<> ChangePassword(HCRYPTPROV container) noexcept {
    PasswordRequest request;
    ZeroMemory(&request, sizeof request);  // including the padding
    request.kind = kByDialog;
    return Try(CryptSetProvParam(container, kParameterChangePassword, reinterpret_cast<const BYTE*>(&request), 0));
}
