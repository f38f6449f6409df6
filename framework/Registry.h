// Values of the Windows registry, checked for type, size and termination.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

#include "framework/Result.h"

struct RegistryValue {
    DWORD type;  // REG_…
    std::vector<BYTE> bytes;

    bool operator==(const RegistryValue&) const = default;
};

// The value `value` (nullptr: the key's default value) of `key` below `root`, as it is stored. Fails with the code of
// the registry; with ERROR_MORE_DATA when the value holds more than `mostBytes`.
Result<RegistryValue> ReadRegistryValue(HKEY root, const std::wstring& key, const wchar_t* value, DWORD mostBytes);

// The text stored as REG_SZ in `value` (nullptr: the key's default value) of `key` below `root`. Nothing when the key
// or the value is missing, can't be read, is of another type, of an odd size, or holds more than 32,767 characters. A
// text stored without its terminator is returned whole; one with characters after its terminator ends there.
//
// With `expandable` it may be REG_EXPAND_SZ, too; its environment variables are expanded.
std::optional<std::wstring> ReadRegistryText(HKEY root, const std::wstring& key, const wchar_t* value,
                                             bool expandable = false);
