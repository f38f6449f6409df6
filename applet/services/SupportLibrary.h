// The product's support library, kvsuprt.dll: configuration store, localised strings, user interface language,
// readers. One wrapper a function, under the function's own name. Each returns the library's own result, 0 for success,
// or kFunctionMissing.
//
// Paths begin with a backslash and a scope: "\config" (the machine's provider settings), "\local" (the user's),
// "\global" (all users'), then sections and a parameter. Lengths are in characters: on entry the buffer's capacity
// without the terminator, on return the text's length without the terminator; without a buffer only the length is told.
// A call that fails leaves its outputs as they were.
#pragma once

#include <windows.h>

#include <algorithm>
#include <string>
#include <utility>

#include "applet/services/ProductLibrary.h"

// Rights of support_registry_check_access. The caller asks for some; those that are granted are left.
constexpr DWORD kRightWrite = 2;
constexpr DWORD kRightRemove = 8;

DWORD LoadSupportLibrary() noexcept;
void ReleaseSupportLibrary() noexcept;

DWORD support_resource_string(HINSTANCE module, UINT id, wchar_t* buffer, DWORD* length) noexcept;
DWORD support_resource_version_string(const wchar_t* name, HINSTANCE module, wchar_t* buffer, DWORD* length) noexcept;

DWORD support_registry_get_string(const wchar_t* path, DWORD* length, wchar_t* buffer) noexcept;
DWORD support_registry_put_string(const wchar_t* path, const wchar_t* text) noexcept;
DWORD support_registry_get_long(const wchar_t* path, LONG* value) noexcept;
DWORD support_registry_put_long(const wchar_t* path, LONG value) noexcept;
DWORD support_registry_get_bool(const wchar_t* path, BOOL* value) noexcept;
DWORD support_registry_put_bool(const wchar_t* path, BOOL value) noexcept;
DWORD support_registry_put_section(const wchar_t* path) noexcept;  // creates it if it is missing
DWORD support_registry_delete_param(const wchar_t* path) noexcept;
DWORD support_registry_delete_section(const wchar_t* path) noexcept;  // with all that is in it
DWORD support_registry_check_access(const wchar_t* path, DWORD* rights) noexcept;

// The language id is in the low 16 bits. Use UserLanguage (Language.h), which knows what to do without the library.
DWORD support_wnd_language_get() noexcept;
DWORD support_wnd_language_update() noexcept;
DWORD support_wnd_language_done() noexcept;

// Whether `path` may be changed by this user.
bool MayWrite(const wchar_t* path) noexcept;

// Reads a text that takes two calls, the first for its length. `call(buffer, length)` is one of the functions above
// with its other arguments bound. On failure `text` stays as it was.
template <class Function>
DWORD ReadSupportText(Function call, std::wstring& text) {
    DWORD length = 0;
    if (const DWORD error = call(nullptr, &length)) return error;
    std::wstring read(size_t{length} + 1, L'\0');
    if (const DWORD error = call(read.data(), &length)) return error;
    read.resize(std::min(read.size(), read.find(L'\0')));
    text = std::move(read);
    return 0;
}
