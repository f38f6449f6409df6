#include "settings/ProviderLists.h"

#include "csp/ProductProviders.h"

std::vector<Provider> ListInstalledProviders() {
    std::vector<Provider> providers;
    Provider provider;
    for (DWORD i = 0; InstalledProvider(i, provider.name, provider.type); ++i) providers.push_back(provider);
    return providers;
}

std::vector<Provider> ListOwnProviders() {
    std::vector<Provider> providers;
    ProductProviders enumeration{.ownDirectoryOnly = true};
    Provider provider;
    while (EnumProductProviders(enumeration, provider.name, provider.type)) providers.push_back(provider);
    return providers;
}
