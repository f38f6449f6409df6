// A certificate of the container, to look at and to install.
#pragma once

#include "wizards/CertificateOnContainerState.h"
#include "wizards/WizPageSelectCertificate.h"

class CWizPageCertificateOnContainerSelectCertificate : public CWizPageSelectCertificate {
  public:
    explicit CWizPageCertificateOnContainerSelectCertificate(CertificateOnContainerState& state);

  protected:
    void UpdateWizardButtons() override;
    void OnInstall() override;
    void ShowProperties() override;

  private:
    CertificateOnContainerState& state_;
};
