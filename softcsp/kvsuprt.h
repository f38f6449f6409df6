// The support library kvsuprt.dll: configuration store, strings in the user's language, readers.
//
// Every function returns 0 for success or a Win32 error code; a failed call leaves its outputs unchanged. Texts end
// with a zero.
//
// Length rule: *length is the capacity of the buffer in characters without the terminator (the buffer has one character
// more) on input, and the length of the text on output. Without a buffer only the length is returned. A small buffer is
// ERROR_MORE_DATA and stays unchanged.
//
// Store paths: "\scope\section\...\name". "\config", "\global", "\cryptography" and every other scope belong to the
// machine, "\local" to the current user; letter case does not matter. A component has at most 255 characters, a path
// at most 4096; anything malformed is ERROR_BAD_PATHNAME. A null output is ERROR_INVALID_PARAMETER, a null handle
// ERROR_INVALID_HANDLE.
#pragma once

#include <windows.h>

extern "C" {

// Rights of support_registry_check_access.
#define SUPPORT_RIGHT_READ 1
#define SUPPORT_RIGHT_WRITE 2
#define SUPPORT_RIGHT_REMOVE 8

// --- Resources ---------------------------------------------------------------------------------------------------

// String `id` of the module's string table in exactly the language of support_wnd_language_get; missing or empty:
// ERROR_RESOURCE_NAME_NOT_FOUND.
DWORD support_resource_string(HINSTANCE module, UINT id, wchar_t* buffer, DWORD* length);
// A value such as "ProductName" of the module's version resource: from the block of the current language, else from
// the first block that the resource's translation table names. Missing: ERROR_RESOURCE_NAME_NOT_FOUND.
DWORD support_resource_version_string(const wchar_t* name, HINSTANCE module, wchar_t* buffer, DWORD* length);

// --- Configuration store -----------------------------------------------------------------------------------------
// Missing: ERROR_FILE_NOT_FOUND. Stored as another type: ERROR_INVALID_DATA. Writing creates missing sections
// and replaces the parameter. Without the right: ERROR_ACCESS_DENIED.

DWORD support_registry_get_string(const wchar_t* path, DWORD* length, wchar_t* buffer);
DWORD support_registry_put_string(const wchar_t* path, const wchar_t* text);
DWORD support_registry_get_long(const wchar_t* path, LONG* number);
DWORD support_registry_put_long(const wchar_t* path, LONG number);
DWORD support_registry_get_bool(const wchar_t* path, BOOL* flag);  // TRUE for every number but 0
DWORD support_registry_put_bool(const wchar_t* path, BOOL flag);
DWORD support_registry_delete_param(const wchar_t* path);

DWORD support_registry_put_section(const wchar_t* path, DWORD reserved);     // an existing one stays unchanged
DWORD support_registry_delete_section(const wchar_t* path, DWORD reserved);  // with everything beneath
// In: the rights asked for; out: those of them that are granted. A missing section or parameter:
// ERROR_FILE_NOT_FOUND. A right that is not granted is no error.
DWORD support_registry_check_access(const wchar_t* path, DWORD* rights);

// A search has the entries of the section at the time of its opening, subsections before parameters. The caller closes
// searches and frees values, in any order.

DWORD support_registry_search_open(const wchar_t* path, HANDLE* search);
DWORD support_registry_search_next(HANDLE search, HANDLE* value);  // ERROR_NO_MORE_ITEMS after the last
DWORD support_registry_search_close(HANDLE search);
DWORD support_registry_find(const wchar_t* path, HANDLE* value);  // one parameter
DWORD support_registry_value_long(HANDLE value, LONG* number);    // ERROR_INVALID_DATA for texts and subsections
DWORD support_registry_value_name(HANDLE value, DWORD* length, wchar_t* buffer);  // the last component only
DWORD support_registry_value_free(HANDLE value);

// --- Readers -----------------------------------------------------------------------------------------------------
// The registry, and after it the inserted removable carriers by name.

// A registration of reader subsystems: the caller sets `size`, rdr_register_start of kvrdr.dll fills `context`, the
// final supsys_unregister_all releases it and sets it to null. A wrong size is ERROR_INVALID_PARAMETER, no context
// ERROR_INVALID_HANDLE.
struct SUPSYS_REGISTRATION {
    DWORD size;     // sizeof(SUPSYS_REGISTRATION)
    void* context;  // the library's own
};

// Readers are found between these two only.
DWORD supsys_register_all(SUPSYS_REGISTRATION* registration);
// `final` not 0: the registration ends with this call.
DWORD supsys_unregister_all(SUPSYS_REGISTRATION* registration, DWORD final);

// A search has the readers at the time of its opening and is independent of the registration, as readers are of the
// search. Searches are closed and readers are freed by the caller; a handle of the wrong kind is ERROR_INVALID_HANDLE.
DWORD supsys_find_open(SUPSYS_REGISTRATION* registration, HANDLE* search);
DWORD supsys_find_next(HANDLE search, HANDLE* reader);  // ERROR_NO_MORE_ITEMS after the last
DWORD supsys_find_close(HANDLE search);
// What kind it is, "REGISTRY" or "DISK"; never more than 64 characters.
DWORD supsys_nickname(HANDLE reader, DWORD* length, wchar_t* buffer);
// Which of its kind it is, at most 32 characters: the removable carrier's name; empty for the registry.
DWORD supsys_connect_current(HANDLE reader, DWORD* length, wchar_t* buffer);
// Both as shown to the user, in the language of support_wnd_language_get.
DWORD supsys_register_name(HANDLE reader, DWORD* length, wchar_t* buffer);
DWORD supsys_context_free(HANDLE reader);

// --- Language ----------------------------------------------------------------------------------------------------

// 1049 or 1033: "\local\Language" if it is one of them, else "\config\Language" likewise, else 1049 on a Russian
// system and 1033 on every other. Read once and cached until one of the next two calls.
DWORD support_wnd_language_get(void);
DWORD support_wnd_language_update(void);  // reads the setting again; 0
DWORD support_wnd_language_done(void);    // clears the cache; 0
}
