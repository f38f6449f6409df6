#include "applet/services/Language.h"

#include "applet/services/SupportLibrary.h"

LANGID LanguageSetting() noexcept {
    const DWORD language = support_wnd_language_get();
    // The result for a missing library is not the id of a language.
    if (language != kFunctionMissing) return LOWORD(language);
    return PRIMARYLANGID(GetUserDefaultUILanguage()) == LANG_RUSSIAN ? kRussian : kEnglish;
}
