// Texts of error codes. The texts of each family of codes are in another module; only loaded modules are searched.
#pragma once

#include <windows.h>

#include <string>

// The text of a code in a language, without a line break at its end. Never empty: "Unknown error code (0x%08X)" when
// no module has a text for it.
std::wstring ErrorText(DWORD code, LANGID language);

// The text for the user after a failure: the code in hexadecimal and decimal, then its text in the user's language.
std::wstring ErrorMessageText(DWORD code);
