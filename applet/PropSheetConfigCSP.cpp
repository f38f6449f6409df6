#include "applet/PropSheetConfigCSP.h"

#include "applet/services/Strings.h"
#include "framework/Module.h"
#include "resources/resource.h"

CPropSheetControlPanel::CPropSheetControlPanel()
    : icon_(LoadIconW(Module::Instance(), MAKEINTRESOURCEW(IDI_PRODUCT))) {}

void CPropSheetControlPanel::Complete(HWND parent, UINT startPage) noexcept {
    SetOwner(parent);
    SetStartPage(startPage);
}

void CPropSheetControlPanel::OnInitDialog() {
    // The task bar shows the host's window instead of the sheet.
    for (const WPARAM size : {ICON_BIG, ICON_SMALL})
        ::SendMessageW(::GetParent(m_hWnd), WM_SETICON, size, reinterpret_cast<LPARAM>(icon_));
    CPropertySheet::OnInitDialog();
}

void CPropSheetControlPanel::PostNcDestroy() {
    delete this;
}

CPropSheetConfigCSP::CPropSheetConfigCSP() {
    UpdateDisplayName();
    SetCaption(DisplayName());
    for (CPropertyPage* page : std::initializer_list<CPropertyPage*>{&general_, &hardware_, &services_, &advanced_,
                                                                     &algorithms_, &security_, &winlogon_, &tls_}) {
        AddPage(*page);
    }
}
