// CPropSheetConfigCSP: the configuration sheet of the provider, with eight pages.
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

// The base of sheets that the Control Panel opens.
class CPropSheetControlPanel : public CPropertySheet {
  public:
    CPropSheetControlPanel();

    // Sets the owner and the page to open first, counted from 0. Call before DoModal.
    void Complete(HWND parent, UINT startPage) noexcept;

  protected:
    void OnInitDialog() override;
    void PostNcDestroy() override;  // deletes the object, which the applet created with new

  private:
    HICON icon_;  // shared, not destroyed
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
