// The language that the user set for the product.
#pragma once

#include <windows.h>

constexpr LANGID kEnglish = 1033;
constexpr LANGID kRussian = 1049;

// The language for new windows and texts. Without the support library, which has the setting: Russian when that is the
// system's language, otherwise English.
LANGID UserLanguage() noexcept;

// The same, after the library has read the setting again. To be called before a template is chosen.
LANGID UpdatedUserLanguage() noexcept;
