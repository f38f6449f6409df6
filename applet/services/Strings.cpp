#include "applet/services/Strings.h"

#include "applet/services/ProcessCaches.h"
#include "applet/services/SupportLibrary.h"
#include "framework/Module.h"
#include "framework/Text.h"
#include "resources/resource.h"

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
