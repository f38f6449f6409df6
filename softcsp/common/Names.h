// The software provider's registry keys, and the names that it is registered by.
#pragma once

namespace softcsp {

// The provider's own data, under HKEY_LOCAL_MACHINE and HKEY_CURRENT_USER:
//   Store\<scope>\…   the configuration store (common/Store.h); the scope "local" is in HKEY_CURRENT_USER
//   Denied            the store paths whose rights are withdrawn (common/Store.h)
//   Settings          what the provider reports (common/Settings.h)
//   Carriers\<name>   the removable carriers (common/Carriers.h)
// and a value of the key itself:
//   CngRegistered     REG_DWORD 1 while kvcng.dll is registered
constexpr wchar_t kHomeKey[] = L"SOFTWARE\\Kelvane\\SoftCSP";
constexpr wchar_t kStoreKey[] = L"SOFTWARE\\Kelvane\\SoftCSP\\Store";
constexpr wchar_t kDeniedKey[] = L"SOFTWARE\\Kelvane\\SoftCSP\\Denied";
constexpr wchar_t kSettingsKey[] = L"SOFTWARE\\Kelvane\\SoftCSP\\Settings";
constexpr wchar_t kCarriersKey[] = L"SOFTWARE\\Kelvane\\SoftCSP\\Carriers";
constexpr wchar_t kCngValue[] = L"CngRegistered";

// The provider is registered once for each of its types.
struct ProviderName {
    unsigned long type;
    const wchar_t* name;
    const wchar_t* typeKey;   // the type's key under "Provider Types"
    const wchar_t* typeName;  // the type's description there
};

constexpr ProviderName kProviders[] = {
    {75, L"Kelvane GOST R 34.10-2001 KC1 CSP", L"Type 075", L"GOST R 34.10-2001 signature and key agreement"},
    {71, L"Kelvane GOST R 34.10-94 KC1 CSP", L"Type 071", L"GOST R 34.10-94 signature and key agreement"},
};

// The provider's name for a type, null for a type that it does not have.
constexpr const ProviderName* FindProvider(unsigned long type) {
    for (const ProviderName& provider : kProviders)
        if (provider.type == type) return &provider;
    return nullptr;
}

}  // namespace softcsp
