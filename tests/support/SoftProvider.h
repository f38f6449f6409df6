// What the tests of the software provider share: its parameters and settings.
#pragma once

#include "softcsp/kvcsp/ProviderInterface.h"
#include "tests/support/Provider.h"
#include "tests/support/Store.h"

constexpr ALG_ID kHash = 0x801E, kCipher = 0x661E;

inline HRESULT Set(HCRYPTPROV provider, DWORD parameter, const void* data) {
    return ErrorOf(CryptSetProvParam(provider, parameter, static_cast<const BYTE*>(data), 0));
}

// The value of a parameter, or the next item of a list. Empty if the call fails, with its code as the last error.
inline TestBytes Parameter(HCRYPTPROV provider, DWORD parameter, DWORD flags = 0) {
    TestBytes value(700);
    auto size = static_cast<DWORD>(value.size());
    value.resize(CryptGetProvParam(provider, parameter, value.data(), &size, flags) ? size : 0);
    return value;
}
inline std::string TextParameter(HCRYPTPROV provider, DWORD parameter, DWORD flags = 0) {
    const TestBytes value = Parameter(provider, parameter, flags);
    return value.empty() ? "" : reinterpret_cast<const char*>(value.data());
}

// Unseals the keys, for which a password may be needed.
inline HRESULT LoadKeys(HCRYPTPROV provider) {
    return ErrorOf(!Parameter(provider, softcsp::kParamLoadKeys).empty());
}

// Changes the container, for which a password may be needed, too.
inline HRESULT AddExtension(HCRYPTPROV provider) {
    const softcsp::ExtensionRequest request{"1.2.3", 0, 1, reinterpret_cast<const BYTE*>("x")};
    return Set(provider, softcsp::kParamAddExtension, &request);
}

// The result of opening a container without dialogs, or of what the flags demand.
inline HRESULT Acquire(const std::wstring& name, DWORD flags = 0, DWORD type = 75) {
    CCryptProvContext context;
    const auto opened = context.Acquire(flags | CRYPT_SILENT, name.c_str(), nullptr, type);
    return opened ? 0 : static_cast<HRESULT>(opened.Failed().code);
}
