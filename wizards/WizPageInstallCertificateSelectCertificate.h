// The certificate to install.
#pragma once

#include "wizards/InstallCertificateState.h"
#include "wizards/WizPageSelectCertificate.h"

class CWizPageInstallCertificateSelectCertificate : public CWizPageSelectCertificate {
  public:
    explicit CWizPageInstallCertificateSelectCertificate(InstallCertificateState& state);

  protected:
    void UpdateWizardButtons() override;

  private:
    InstallCertificateState& state_;
};
