// Resources of a module in exactly the language of the user interface: the system would choose another one.
#pragma once

#include <windows.h>

#include <string>

#include "softcsp/common/Bytes.h"

namespace softcsp {

// The bytes of a resource, as long as the module is loaded. Empty for null, as FindResource returns it.
ByteView ResourceBytes(HMODULE module, HRSRC resource);
ByteView FindResourceBytes(HMODULE module, const wchar_t* type, UINT id);

// Empty if the string table does not have the string.
std::wstring ResourceString(HMODULE module, UINT id);

// The module that this code is linked into, and its strings.
HINSTANCE OwnModule();
std::wstring OwnString(UINT id);

}  // namespace softcsp
