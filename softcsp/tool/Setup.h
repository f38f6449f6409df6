// What the steps of "init" share: the directory they register and keys written as a list of values.
#pragma once

#include <windows.h>

#include <initializer_list>
#include <string>
#include <variant>
#include <vector>

namespace softcsp {

struct SetupValue {
    const wchar_t* name;  // "" = the key's default value
    std::variant<DWORD, std::wstring, std::vector<BYTE>> data;
};

// Makes the key beneath HKEY_LOCAL_MACHINE and sets its values; other values stay. Throws Failure.
void WriteMachineKey(const std::wstring& path, std::initializer_list<SetupValue> values);

// Removes the key with everything beneath; a missing one is fine. Throws Failure.
void DeleteKey(HKEY root, const std::wstring& path);

// The tool's own directory with the last backslash; the libraries and the panel lie there. Throws Failure.
std::wstring OwnDirectory();

}  // namespace softcsp
