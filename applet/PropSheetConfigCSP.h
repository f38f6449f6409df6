// CPropSheetConfigCSP: the provider's configuration, eight pages in one sheet.
#pragma once

#include "applet/PropSheetControlPanel.h"
#include "pages/PropPageConfigCSPAdvanced.h"
#include "pages/PropPageConfigCSPGeneral.h"
#include "pages/PropPageConfigCSPHardware.h"
#include "pages/PropPageConfigCSPOID.h"
#include "pages/PropPageConfigCSPSecurity.h"
#include "pages/PropPageConfigCSPServices.h"
#include "pages/PropPageConfigTLS.h"
#include "pages/PropPageConfigWLReaders.h"

class CPropSheetConfigCSP : public CPropSheetControlPanel {
  public:
    CPropSheetConfigCSP();

  private:
    // In the order of their tabs.
    CPropPageConfigCSPGeneral general_;
    CPropPageConfigCSPHardware hardware_;
    CPropPageConfigCSPServices services_;
    CPropPageConfigCSPAdvanced advanced_;
    CPropPageConfigCSPOID algorithms_;
    CPropPageConfigCSPSecurity security_;
    CPropPageConfigWLReaders winlogon_;
    CPropPageConfigTLS tls_;
};
