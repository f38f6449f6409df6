// The installed providers that belong to the product.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

// Any installed provider, by its position from 0. False when there is none; `name` and `type` stay as they were then.
bool InstalledProvider(DWORD index, std::wstring& name, DWORD& type);

// An enumeration; a new one begins with the first provider.
struct ProductProviders {
    // Only providers whose library lies in this module's own directory, or below it.
    bool ownDirectoryOnly = false;

    // Where it stands, and what it found out on its way.
    DWORD index = 0;                             // of the system's next provider
    std::optional<std::wstring> ownDirectory{};  // with the last backslash; empty when it can't be had
};

// The next provider of the product: one of type 75, or with the product maker's name in its own. False when there is no
// further one; `name` and `type` stay as they were then.
bool EnumProductProviders(ProductProviders& state, std::wstring& name, DWORD& type);

// The machine's default provider of a type; empty when there is none.
std::wstring DefaultProviderName(DWORD type);

// The version of a provider of the product, as the user reads it.

// "5.0.0013 KC1 Debug": version and build, the protection class when the provider has one, "Debug" for a debug build.
// Empty when the provider can't be opened or doesn't tell its version and build. `providerName` empty: the default
// provider of type 75.
std::wstring CoreVersionText(const std::wstring& providerName);

// Whether programs that ask for the default provider of type 75 get one of another type: something stands between them
// and the product. False when there is no default provider.
bool IsDefaultProviderIntercepted() noexcept;
