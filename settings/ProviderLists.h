// The lists of providers that settings are made for.
#pragma once

#include <vector>

#include "csp/ProviderRegistry.h"

// All installed providers, in the system's order.
std::vector<Provider> ListInstalledProviders();

// The product's providers whose library is in this module's own directory or below it, in the same order.
std::vector<Provider> ListOwnProviders();
