#include "csp/ContainerPassword.h"

#include "csp/ProviderParameters.h"

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
