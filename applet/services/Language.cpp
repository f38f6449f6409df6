#include "applet/services/Language.h"

#include "applet/services/SupportLibrary.h"

LANGID LanguageSetting() noexcept {
    const DWORD language = support_wnd_language_get();
    // A missing library's result would pass for a language that no template exists in.
    if (language != kFunctionMissing) return LOWORD(language);
    return PRIMARYLANGID(GetUserDefaultUILanguage()) == LANG_RUSSIAN ? kRussian : kEnglish;
}
