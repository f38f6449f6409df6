// The language that the user set for the product.
#pragma once

#include <windows.h>

constexpr LANGID kEnglish = 1033;
constexpr LANGID kRussian = 1049;

// The product's setting. Without the support library, which has it: Russian when that is the system's language,
// otherwise English.
LANGID LanguageSetting() noexcept;

// The language for new windows and texts: in the panel the product's setting (PanelStrings.cpp), in vestractl the one
// that the command line may choose (console/Language.cpp).
LANGID UserLanguage() noexcept;

// The same, after the library has read the setting again. To be called before a template is chosen.
LANGID UpdatedUserLanguage() noexcept;
