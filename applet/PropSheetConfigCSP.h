// CPropSheetConfigCSP: the provider's configuration, eight pages in one sheet.
#pragma once

#include "framework/PropertySheet.h"
#include "pages/PropPageConfigCSPAdvanced.h"
#include "pages/PropPageConfigCSPGeneral.h"
#include "pages/PropPageConfigCSPHardware.h"
#include "pages/PropPageConfigCSPOID.h"
#include "pages/PropPageConfigCSPSecurity.h"
#include "pages/PropPageConfigCSPServices.h"
#include "pages/PropPageConfigTLS.h"
#include "pages/PropPageConfigWLReaders.h"

// CPropSheetControlPanel: what any sheet that the Control Panel opens needs.

class CPropSheetControlPanel : public CPropertySheet {
  public:
    CPropSheetControlPanel();

    // Completes what the parameterless construction left open: the owner, and the page to open first, from 0.
    void Complete(HWND parent, UINT startPage) noexcept;

  protected:
    void OnInitDialog() override;
    void PostNcDestroy() override;  // deletes the object: it is made with new, by the applet

  private:
    HICON icon_;  // shared by the system
};

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
