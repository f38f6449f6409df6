// Where the software provider keeps its things in the registry, and what it is called there.
#pragma once

namespace softcsp {

// Everything of the provider's own, under both HKEY_LOCAL_MACHINE and HKEY_CURRENT_USER:
//   Store\<scope>\…   the configuration store (common/Store.h); the scope "local" lies in HKEY_CURRENT_USER
//   Denied            the paths that tests took the rights to (common/AccessList.h)
//   Settings          what the provider is to report (common/Settings.h)
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
    const wchar_t* typeName;  // what the type is called there
};

constexpr ProviderName kProviders[] = {
    {75, L"Kelvane GOST R 34.10-2001 KC1 CSP", L"Type 075", L"GOST R 34.10-2001 signature and key agreement"},
    {71, L"Kelvane GOST R 34.10-94 KC1 CSP", L"Type 071", L"GOST R 34.10-94 signature and key agreement"},
};

// The provider's name for a type, nullptr for a type that isn't ours.
constexpr const ProviderName* FindProvider(unsigned long type) {
    for (const ProviderName& provider : kProviders)
        if (provider.type == type) return &provider;
    return nullptr;
}

}  // namespace softcsp
