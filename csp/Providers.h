// The installed providers: which there are, which of them are the product's, and what Windows has registered about them
// below HKEY_LOCAL_MACHINE.
#pragma once

#include <windows.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "framework/Result.h"

// An installed provider. Lists of providers are read once and kept; combo boxes only show them.
struct Provider {
    std::wstring name;
    DWORD type = 0;
};

// All installed providers, in the system's order.
std::vector<Provider> ListInstalledProviders();

// The product's providers of a list of installed ones, in the same order: those of type 75, and those with the product
// maker's name in their own.
std::vector<Provider> ListProductProviders(std::vector<Provider> installed = ListInstalledProviders());

// Those of them whose library is in this module's own directory or below it. None when that directory is unknown.
std::vector<Provider> ListOwnProviders(std::vector<Provider> installed = ListInstalledProviders());

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

// The displayed name of a provider type. Nothing when the type is not registered or its name cannot be read.
std::optional<std::wstring> ReadProviderTypeName(DWORD type);

// Whether this user may write the machine's default provider of a type.
bool MayWriteDefaultProvider(DWORD type);

// A text value of a provider's key. Nothing when the provider or the value is missing or not a text.
std::optional<std::wstring> ReadProviderText(const std::wstring& provider, const wchar_t* value);

// Whether a provider's key has a value, of whatever type.
bool HasProviderValue(const std::wstring& provider, const wchar_t* value);

// These write to the view of 64-bit programs first, then to that of 32-bit programs. They fail with a Win32 code; the
// first failure ends them. An empty name stands for no default provider.
Result<> WriteDefaultProvider(DWORD type, const std::wstring& name);
Result<> WriteProviderText(const std::wstring& provider, const wchar_t* value, const std::wstring& text);

// The places of a value in the views of 64-bit and of 32-bit programs, below HKEY_LOCAL_MACHINE.
struct RegistryPlace {
    std::wstring key, value;
};
std::array<RegistryPlace, 2> DefaultProviderPlaces(DWORD type);
std::array<RegistryPlace, 2> ProviderTextPlaces(const std::wstring& provider, const wchar_t* value);
