#include "applet/services/Strings.h"

#include "applet/services/ProcessCaches.h"
#include "applet/services/SupportLibrary.h"
#include "framework/Module.h"
#include "framework/Text.h"
#include "resources/resource.h"

LANGID LanguageSetting() noexcept {
    const DWORD language = support_wnd_language_get();
    // The result for a missing library is not the id of a language.
    if (language != kFunctionMissing) return LOWORD(language);
    return PRIMARYLANGID(GetUserDefaultUILanguage()) == LANG_RUSSIAN ? kRussian : kEnglish;
}

Insert::Insert(const std::wstring& foreign) : text_(VisibleText(foreign)) {}

std::wstring FormatStringId(UINT id, const Insert& insert1, const Insert& insert2) {
    return FillInserts(LoadStringLang(id), insert1.Text(), insert2.Text());
}

bool LoadVersionString(const wchar_t* name, std::wstring& value) {
    const HINSTANCE module = Module::Instance();
    return ReadSupportText([&](wchar_t* buffer,
                               DWORD* length) { return support_resource_version_string(name, module, buffer, length); },
                           value) == 0;
}

std::wstring DisplayName() {
    const std::wstring& name = Caches().displayName;
    return name.empty() ? LoadStringLang(IDS_APP_TITLE) : name;
}

void UpdateDisplayName() {
    std::wstring name;
    if (!LoadVersionString(L"ProductName", name)) name = LoadStringLang(IDS_APP_TITLE);
    Caches().displayName = std::move(name);
}
