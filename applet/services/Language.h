// The language that the user set for the product.
#pragma once

#include <windows.h>

constexpr LANGID kEnglish = 1033;
constexpr LANGID kRussian = 1049;

// The product's setting. Without the support library, which knows it, the system's language: Russian, or else English.
LANGID LanguageSetting() noexcept;

// The language of the windows and texts that are made from now on: in the panel the product's setting
// (PanelStrings.cpp), in vestractl the one that the command line may choose (console/Language.cpp).
LANGID UserLanguage() noexcept;

// The same, after the library has read its setting anew. Asked before a template is chosen.
LANGID UpdatedUserLanguage() noexcept;
