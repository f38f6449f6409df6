// The module this code is linked into, found by an address inside it: there is no global instance handle to set.
#pragma once

#include <windows.h>

#include <span>
#include <string>

namespace Module {

// The module's instance handle, for resources and windows; its reference count is not changed.
HINSTANCE Instance() noexcept;

// The module's own file with its full path, as it was loaded or with its long name; empty when that is longer than 259
// characters or can't be had.
std::wstring FileName();
std::wstring LongFileName();

// The resource's bytes in exactly this language; empty when there is none. They live as long as the module.
std::span<const BYTE> Resource(UINT type, UINT id, WORD language) noexcept;

}  // namespace Module
