// What Windows itself has registered of providers: the defaults of their types, and the library that each works with.
// All below HKEY_LOCAL_MACHINE. Programs of 32 bits have a view of their own, which is written along.
#pragma once

#include <windows.h>

#include <string>

// The name of a provider type; empty when it has none.
std::wstring ProviderTypeName(DWORD type);

// Whether this user may write the default provider of a type.
bool MayWriteDefaultProvider(DWORD type);

// Writes the default provider of a type; an empty name for none. 0, or the Win32 code of the first failure, after which
// nothing more is written.
LSTATUS WriteDefaultProvider(DWORD type, const std::wstring& provider);

// The mode (SecurityState.h) that a provider is registered to work in.
int ReadProviderMode(const std::wstring& provider);

// Writes it. As WriteDefaultProvider, or E_UNEXPECTED when there is no such mode or no provider is named.
LONG WriteProviderMode(const std::wstring& provider, int mode);
