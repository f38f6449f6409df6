#include "applet/PropSheetConfigCSP.h"

#include "applet/services/DisplayName.h"

CPropSheetConfigCSP::CPropSheetConfigCSP() {
    UpdateDisplayName();
    SetCaption(DisplayName());
    for (CPropertyPage* page : std::initializer_list<CPropertyPage*>{&general_, &hardware_, &services_, &advanced_,
                                                                     &algorithms_, &security_, &winlogon_, &tls_}) {
        AddPage(*page);
    }
}
