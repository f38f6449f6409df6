// The installation wizard's welcome: what it is for. The wizard has the page but doesn't show it.
#pragma once

#include "framework/Handles.h"
#include "wizards/WizardPageBase.h"

class CWizPageInstallCertificateWelcome : public CWizardPageBase {
  public:
    CWizPageInstallCertificateWelcome();

  protected:
    bool OnInitDialog() override;
    bool OnSetActive() override;

  private:
    UniqueFont titleFont_;
};
