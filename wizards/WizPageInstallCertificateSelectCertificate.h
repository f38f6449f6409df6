// The certificate to install.
#pragma once

#include "wizards/InstallCertificateState.h"
#include "wizards/WizPageSelectCertificate.h"

class CWizPageInstallCertificateSelectCertificate : public CWizPageSelectCertificate {
  public:
    explicit CWizPageInstallCertificateSelectCertificate(InstallCertificateState& state);

  protected:
    void UpdateWizardButtons() override;
    LRESULT OnWizardNext() override { return state_.file.certificate ? 0 : -1; }

  private:
    InstallCertificateState& state_;
};
