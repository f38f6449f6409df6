#include "applet/services/DisplayName.h"

#include "applet/services/ProcessCaches.h"
#include "applet/services/Strings.h"
#include "resources/resource.h"

std::wstring DisplayName() {
    const std::wstring& name = Caches().displayName;
    return name.empty() ? LoadStringLang(IDS_APP_TITLE) : name;
}

void UpdateDisplayName() {
    std::wstring name;
    if (!LoadVersionString(L"ProductName", name)) name = LoadStringLang(IDS_APP_TITLE);
    Caches().displayName = std::move(name);
}
