// Values and keys of the registry, named by root and path. Results are Win32 codes, 0 = success; a failed call leaves
// its outputs unchanged.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace softcsp {

// One registry value as stored. Type and size are not checked; readers call Number() or Text().
struct RegistryData {
    DWORD type = REG_NONE;
    std::vector<BYTE> bytes;

    // ERROR_INVALID_DATA unless it is a REG_DWORD of exactly four bytes.
    DWORD Number(DWORD& number) const;
    // ERROR_INVALID_DATA unless it is a REG_SZ. Ends at the first zero or at the last whole character.
    DWORD Text(std::wstring& text) const;
};

DWORD ReadValue(HKEY root, const std::wstring& path, const std::wstring& name, RegistryData& data);
// The value if it is a number, else `missing`.
DWORD ReadNumber(HKEY root, const std::wstring& path, const std::wstring& name, DWORD missing);

// As REG_DWORD, REG_SZ or REG_BINARY. The key is created if it is missing, with its parents.
DWORD WriteValue(HKEY root, const std::wstring& path, const std::wstring& name, DWORD number);
DWORD WriteValue(HKEY root, const std::wstring& path, const std::wstring& name, const std::wstring& text);
DWORD WriteValue(HKEY root, const std::wstring& path, const std::wstring& name, const std::vector<BYTE>& bytes);
DWORD RemoveValue(HKEY root, const std::wstring& path, const std::wstring& name);
// The same; a missing value is not an error.
DWORD ClearValue(HKEY root, const std::wstring& path, const std::wstring& name);

// An existing key stays unchanged. The security is that of a new one.
DWORD CreateKey(HKEY root, const std::wstring& path, SECURITY_ATTRIBUTES* security = nullptr);
// Whether the key exists and can be opened with these rights.
DWORD CheckKey(HKEY root, const std::wstring& path, REGSAM access);
// With everything beneath; a missing key is ERROR_FILE_NOT_FOUND.
DWORD RemoveKey(HKEY root, const std::wstring& path);

struct KeyNames {
    std::vector<std::wstring> keys, values;
};
DWORD ListKey(HKEY root, const std::wstring& path, KeyNames& names);

}  // namespace softcsp
