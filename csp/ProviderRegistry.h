// What Windows has registered about cryptographic providers and their types, below HKEY_LOCAL_MACHINE. All writes go to
// the view of 64-bit programs first, then to that of 32-bit programs; the first failure ends them.
#pragma once

#include <windows.h>

#include <array>
#include <optional>
#include <string>

#include "framework/Result.h"

// An installed provider. Lists of providers are read once and kept; combo boxes only show them.
struct Provider {
    std::wstring name;
    DWORD type = 0;
};

// The displayed name of a provider type. Nothing when the type is not registered or its name cannot be read.
std::optional<std::wstring> ReadProviderTypeName(DWORD type);

// Whether this user may write the machine's default provider of a type.
bool MayWriteDefaultProvider(DWORD type);

// An empty name stands for no default provider. Fails with a Win32 code.
Result<> WriteDefaultProvider(DWORD type, const std::wstring& name);

// A text value of a provider's key. Nothing when the provider or the value is missing or not a text.
std::optional<std::wstring> ReadProviderText(const std::wstring& provider, const wchar_t* value);

// Whether a provider's key has a value, of whatever type.
bool HasProviderValue(const std::wstring& provider, const wchar_t* value);

// Fails with a Win32 code.
Result<> WriteProviderText(const std::wstring& provider, const wchar_t* value, const std::wstring& text);

// The places of a value in the views of 64-bit and of 32-bit programs, below HKEY_LOCAL_MACHINE.
struct RegistryPlace {
    std::wstring key, value;
};
std::array<RegistryPlace, 2> DefaultProviderPlaces(DWORD type);
std::array<RegistryPlace, 2> ProviderTextPlaces(const std::wstring& provider, const wchar_t* value);
