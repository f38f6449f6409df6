// The language that the user set for the product.
#pragma once

#include <windows.h>

constexpr LANGID kEnglish = 1033;
constexpr LANGID kRussian = 1049;

// The language of the windows and texts that are made from now on. Without the support library, which knows it, the
// system's: Russian, or else English.
LANGID UserLanguage() noexcept;

// The same, after the library has read its setting anew. Asked before a template is chosen.
LANGID UpdatedUserLanguage() noexcept;
