#include "applet/services/Strings.h"

#include "applet/services/ProcessCaches.h"
#include "applet/services/SupportLibrary.h"
#include "framework/Module.h"
#include "framework/Text.h"
#include "resources/resource.h"

std::wstring LoadStringLang(UINT id) {
    wchar_t text[256] = L"";
    auto length = static_cast<DWORD>(std::size(text) - 1);
    if (support_resource_string(Module::Instance(), id, text, &length) != 0) return {};
    text[std::size(text) - 1] = L'\0';
    return text;
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
