// The installed providers, and those of them that belong to the product.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

// Any installed provider, by its position from 0. False when there is none at this position; `name` and `type` are
// unchanged then.
bool InstalledProvider(DWORD index, std::wstring& name, DWORD& type);

// The state of an enumeration. A new object begins with the first provider.
struct ProductProviders {
    // Only providers whose library is in this module's own directory or below it.
    bool ownDirectoryOnly = false;

    // Used by EnumProductProviders.
    DWORD index = 0;                             // of the next installed provider
    std::optional<std::wstring> ownDirectory{};  // with the final backslash; empty when it is unknown
};

// The next provider of the product: one of type 75, or one with the product maker's name in its own. False at the end;
// `name` and `type` are unchanged then.
bool EnumProductProviders(ProductProviders& state, std::wstring& name, DWORD& type);

// The path that a provider's library is registered with, without expansion of variables; empty when it is missing or
// malformed: it must be terminated, and hold at most 520 bytes.
std::wstring ProviderImagePath(const std::wstring& provider);

// The machine's default provider of a type; empty when there is none.
std::wstring DefaultProviderName(DWORD type);

// The version of a provider of the product, as shown to the user, such as "5.0.0013 KC1 Debug": version and build, the
// protection class if the provider returns one, "Debug" for a debug build. Empty when the provider can't be opened or
// doesn't return version and build. `providerName` empty selects the default provider of type 75.
std::wstring CoreVersionText(const std::wstring& providerName);

// Whether programs that open the default provider of type 75 get a provider of another type, because other software
// intercepts the call. False when there is no default provider.
bool IsDefaultProviderIntercepted() noexcept;
