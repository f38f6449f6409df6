// Texts of the string table in the user's language.
#pragma once

#include <windows.h>

#include <string>

// At most 255 characters; empty when the string, or the library that chooses its language, is missing.
std::wstring LoadStringLang(UINT id);

// The string with "%1" and "%2" replaced; empty when the string is.
std::wstring FormatStringId(UINT id, const std::wstring& insert1, const std::wstring& insert2 = {});

// Reads a value of this module's version resource ("ProductName", "LegalCopyright"). False when it can't be read;
// `value` stays as it was then.
bool LoadVersionString(const wchar_t* name, std::wstring& value);
