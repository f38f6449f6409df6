// The version of a provider of the product, as the user reads it.
#pragma once

#include <string>

// "5.0.0013 KC1 Debug": version and build, the protection class when the provider has one, "Debug" for a debug build.
// Empty when the provider can't be opened or doesn't tell its version and build. `providerName` empty: the default
// provider of type 75.
std::wstring CoreVersionText(const std::wstring& providerName);

// Whether programs that ask for the default provider of type 75 get one of another type: something stands between them
// and the product. False when there is no default provider.
bool IsDefaultProviderIntercepted() noexcept;
