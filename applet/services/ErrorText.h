// Texts of error codes. Each family of codes keeps its messages in another place; only what is loaded already is asked.
#pragma once

#include <windows.h>

#include <string>

// The text of a code in a language, without a line break at its end. Never empty: "Unknown error code (0x%08X)" when
// nobody knows the code.
std::wstring ErrorText(DWORD code, LANGID language);

// What the user is shown of a failure: the code in hexadecimal and decimal, then its text in the user's language.
std::wstring ErrorMessageText(DWORD code);
