// The product's support library, kvsuprt.dll: configuration store, localised strings, user interface language,
// readers. Each wrapper has the name of the library's function and returns its result, 0 for success, or
// kFunctionMissing.
//
// Paths begin with a backslash and a scope: "\config" (the machine's provider settings), "\local" (the user's),
// "\global" (all users'), then sections and a parameter. Lengths are in characters: on entry the buffer's capacity
// without the terminator, on return the text's length without the terminator; without a buffer only the length is
// returned. A call that fails leaves its outputs as they were.
#pragma once

#include <windows.h>

#include <algorithm>
#include <string>
#include <utility>

#include "applet/services/ProductLibrary.h"
#include "framework/Handles.h"

// Rights for support_registry_check_access. On entry the requested rights, on return the granted ones.
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
// Creates the section if it is missing. The library's function has a second argument, for which 0 is passed.
DWORD support_registry_put_section(const wchar_t* path) noexcept;
DWORD support_registry_delete_param(const wchar_t* path) noexcept;
DWORD support_registry_delete_section(const wchar_t* path) noexcept;  // with all that is in it
DWORD support_registry_check_access(const wchar_t* path, DWORD* rights) noexcept;

// The entries of a section as they were when the search was opened: value objects, which the caller frees. Searches are
// closed by the caller. After the last entry the next one fails with a code of the library's choice.
DWORD support_registry_search_open(const wchar_t* path, HANDLE* search) noexcept;
DWORD support_registry_search_next(HANDLE search, HANDLE* value) noexcept;
DWORD support_registry_search_close(HANDLE search) noexcept;
DWORD support_registry_value_name(HANDLE value, DWORD* length, wchar_t* buffer) noexcept;  // without the section's path

// One parameter as a value object, which the caller frees.
DWORD support_registry_find(const wchar_t* path, HANDLE* value) noexcept;
DWORD support_registry_value_long(HANDLE value, LONG* number) noexcept;
DWORD support_registry_value_free(HANDLE value) noexcept;

// A registration of readers. supsys_register_all makes readers known to it; supsys_unregister_all with `final` not 0
// ends it and takes back what rdr_register_start (DeviceLibraries.h) put in.
struct ReaderRegistration {
    DWORD size = sizeof(ReaderRegistration);  // checked by the libraries
    void* context = nullptr;                  // owned by the libraries
};
static_assert(sizeof(ReaderRegistration) == 16);

DWORD supsys_register_all(ReaderRegistration* registration) noexcept;
DWORD supsys_unregister_all(ReaderRegistration* registration, DWORD final) noexcept;

// A search through the readers, which the caller closes; readers that it finds the caller frees.
DWORD supsys_find_open(ReaderRegistration* registration, HANDLE* search) noexcept;
DWORD supsys_find_next(HANDLE search, HANDLE* reader) noexcept;  // fails after the last
DWORD supsys_find_close(HANDLE search) noexcept;
DWORD supsys_context_free(HANDLE reader) noexcept;

// What kind a reader is, which one of its kind (may be empty), and its name as shown to the user.
DWORD supsys_nickname(HANDLE reader, DWORD* length, wchar_t* buffer) noexcept;
DWORD supsys_connect_current(HANDLE reader, DWORD* length, wchar_t* buffer) noexcept;
DWORD supsys_register_name(HANDLE reader, DWORD* length, wchar_t* buffer) noexcept;

// The language id is in the low 16 bits. Use UserLanguage (Language.h), which knows what to do without the library.
DWORD support_wnd_language_get() noexcept;
DWORD support_wnd_language_update() noexcept;
DWORD support_wnd_language_done() noexcept;

// Whether `path` may be changed by this user.
bool MayWrite(const wchar_t* path) noexcept;

// Removes a parameter. A missing one is not a failure. Returns the library's code.
DWORD RemoveParameter(const wchar_t* path) noexcept;

using UniqueSupportValue = UniqueHandle<HANDLE, &support_registry_value_free>;
using UniqueSupportSearch = UniqueHandle<HANDLE, &support_registry_search_close>;

// The number at `path`; `missing` when there is none, or what is there isn't a number.
LONG FindLong(const wchar_t* path, LONG missing) noexcept;

// Reads a text that takes two calls, the first for its length. `call(buffer, length)` is one of the functions above
// with its other arguments bound. On failure `text` stays as it was. ERROR_INVALID_DATA: the text would be longer than
// any that the product stores.
template <class Function>
DWORD ReadSupportText(Function call, std::wstring& text) {
    constexpr DWORD kLongest = 0x10000;  // characters
    DWORD length = 0;
    if (const DWORD error = call(nullptr, &length)) return error;
    if (length > kLongest) return ERROR_INVALID_DATA;
    std::wstring read(size_t{length} + 1, L'\0');
    if (const DWORD error = call(read.data(), &length)) return error;
    read.resize(std::min(read.size(), read.find(L'\0')));
    text = std::move(read);
    return 0;
}
