// The language of the program. It reads its string table itself: its texts must also be there when the product's
// support library is missing. The unit defines UserLanguage and LoadStringLang in place of those of the panel
// (applet/services/PanelStrings.cpp).
#pragma once

#include <windows.h>

// The language of all texts from now on; kEnglish or kRussian. Until the first call it is English.
void SetLanguage(LANGID language) noexcept;
