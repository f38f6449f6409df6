#include "applet/PropSheetControlPanel.h"

#include "framework/Module.h"
#include "resources/resource.h"

CPropSheetControlPanel::CPropSheetControlPanel()
    : icon_(LoadIconW(Module::Instance(), MAKEINTRESOURCEW(IDI_PRODUCT))) {}

void CPropSheetControlPanel::Complete(HWND parent, UINT startPage) noexcept {
    parent_ = parent;
    SetOwner(parent);
    SetStartPage(startPage);
}

void CPropSheetControlPanel::OnInitDialog() {
    // The window that shows in the task bar is the host's, not the sheet.
    ::SendMessageW(parent_, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(icon_));
    ::SendMessageW(parent_, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(icon_));
    CPropertySheet::OnInitDialog();
}

void CPropSheetControlPanel::PostNcDestroy() {
    delete this;
}
