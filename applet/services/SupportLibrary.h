// The product's support library, kvsuprt.dll: configuration store, localised strings, user interface language,
// readers. Each function has the name of the library's and returns its result, 0 for success, or kFunctionMissing.
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

ProductLibrary& SupportLibrary() noexcept;  // kvsuprt.dll

template <FunctionName Name, class Signature>
using SupportFunction = ProductFunction<&SupportLibrary, Name, Signature>;

inline constexpr SupportFunction<"support_resource_string",
                                 DWORD(HINSTANCE module, UINT id, wchar_t* buffer, DWORD* length)>
    support_resource_string;
inline constexpr SupportFunction<"support_resource_version_string",
                                 DWORD(const wchar_t* name, HINSTANCE module, wchar_t* buffer, DWORD* length)>
    support_resource_version_string;

inline constexpr SupportFunction<"support_registry_get_string",
                                 DWORD(const wchar_t* path, DWORD* length, wchar_t* buffer)>
    support_registry_get_string;
inline constexpr SupportFunction<"support_registry_put_string", DWORD(const wchar_t* path, const wchar_t* text)>
    support_registry_put_string;
inline constexpr SupportFunction<"support_registry_get_long", DWORD(const wchar_t* path, LONG* value)>
    support_registry_get_long;
inline constexpr SupportFunction<"support_registry_put_long", DWORD(const wchar_t* path, LONG value)>
    support_registry_put_long;
inline constexpr SupportFunction<"support_registry_get_bool", DWORD(const wchar_t* path, BOOL* value)>
    support_registry_get_bool;
inline constexpr SupportFunction<"support_registry_put_bool", DWORD(const wchar_t* path, BOOL value)>
    support_registry_put_bool;
// Creates the section if it is missing. The library's function has a second argument, for which 0 is passed.
DWORD support_registry_put_section(const wchar_t* path) noexcept;
inline constexpr SupportFunction<"support_registry_delete_param", DWORD(const wchar_t* path)>
    support_registry_delete_param;
DWORD support_registry_delete_section(const wchar_t* path) noexcept;  // with all that is in it
inline constexpr SupportFunction<"support_registry_check_access", DWORD(const wchar_t* path, DWORD* rights)>
    support_registry_check_access;

// The entries of a section as they were when the search was opened: value objects, which the caller frees. Searches are
// closed by the caller. After the last entry the next one fails with a code of the library's choice.
inline constexpr SupportFunction<"support_registry_search_open", DWORD(const wchar_t* path, HANDLE* search)>
    support_registry_search_open;
inline constexpr SupportFunction<"support_registry_search_next", DWORD(HANDLE search, HANDLE* value)>
    support_registry_search_next;
inline constexpr SupportFunction<"support_registry_search_close", DWORD(HANDLE search)> support_registry_search_close;
// Without the section's path.
inline constexpr SupportFunction<"support_registry_value_name", DWORD(HANDLE value, DWORD* length, wchar_t* buffer)>
    support_registry_value_name;

// One parameter as a value object, which the caller frees.
inline constexpr SupportFunction<"support_registry_find", DWORD(const wchar_t* path, HANDLE* value)>
    support_registry_find;
inline constexpr SupportFunction<"support_registry_value_long", DWORD(HANDLE value, LONG* number)>
    support_registry_value_long;
inline constexpr SupportFunction<"support_registry_value_free", DWORD(HANDLE value)> support_registry_value_free;

// A registration of readers. supsys_register_all makes readers known to it; supsys_unregister_all with `final` not 0
// ends it and takes back what rdr_register_start (DeviceLibraries.h) put in.
struct ReaderRegistration {
    DWORD size = sizeof(ReaderRegistration);  // checked by the libraries
    void* context = nullptr;                  // owned by the libraries
};
static_assert(sizeof(ReaderRegistration) == 16);

inline constexpr SupportFunction<"supsys_register_all", DWORD(ReaderRegistration* registration)> supsys_register_all;
inline constexpr SupportFunction<"supsys_unregister_all", DWORD(ReaderRegistration* registration, DWORD final)>
    supsys_unregister_all;

// A search through the readers, which the caller closes; readers that it finds the caller frees.
inline constexpr SupportFunction<"supsys_find_open", DWORD(ReaderRegistration* registration, HANDLE* search)>
    supsys_find_open;
// Fails after the last.
inline constexpr SupportFunction<"supsys_find_next", DWORD(HANDLE search, HANDLE* reader)> supsys_find_next;
inline constexpr SupportFunction<"supsys_find_close", DWORD(HANDLE search)> supsys_find_close;
inline constexpr SupportFunction<"supsys_context_free", DWORD(HANDLE reader)> supsys_context_free;

// What kind a reader is, which one of its kind (may be empty), and its name as shown to the user.
inline constexpr SupportFunction<"supsys_nickname", DWORD(HANDLE reader, DWORD* length, wchar_t* buffer)>
    supsys_nickname;
inline constexpr SupportFunction<"supsys_connect_current", DWORD(HANDLE reader, DWORD* length, wchar_t* buffer)>
    supsys_connect_current;
inline constexpr SupportFunction<"supsys_register_name", DWORD(HANDLE reader, DWORD* length, wchar_t* buffer)>
    supsys_register_name;

// The language id is in the low 16 bits. Use UserLanguage (Strings.h), which has a result without the library, too.
inline constexpr SupportFunction<"support_wnd_language_get", DWORD()> support_wnd_language_get;
inline constexpr SupportFunction<"support_wnd_language_update", DWORD()> support_wnd_language_update;
inline constexpr SupportFunction<"support_wnd_language_done", DWORD()> support_wnd_language_done;

// Whether `path` may be changed by this user.
bool MayWrite(const wchar_t* path) noexcept;

// Removes a parameter. A missing one is not a failure. Returns the library's code.
DWORD RemoveParameter(const wchar_t* path) noexcept;

using UniqueSupportValue = UniqueHandle<HANDLE, support_registry_value_free>;
using UniqueSupportSearch = UniqueHandle<HANDLE, support_registry_search_close>;

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
