// The language of the panel and the texts in it: the support library chooses both. vestractl, which must also run
// without the library, has its own definitions of these functions (console/Language.cpp).
#include "applet/services/Strings.h"
#include "applet/services/SupportLibrary.h"
#include "framework/Module.h"

LANGID UserLanguage() noexcept {
    return LanguageSetting();
}

LANGID UpdatedUserLanguage() noexcept {
    support_wnd_language_update();
    return LanguageSetting();
}

std::wstring LoadStringLang(UINT id) {
    wchar_t text[256] = L"";
    auto length = static_cast<DWORD>(std::size(text) - 1);
    if (support_resource_string(Module::Instance(), id, text, &length) != 0) return {};
    text[std::size(text) - 1] = L'\0';
    return text;
}
