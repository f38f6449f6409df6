// The container whose certificates are to be seen. They are read when the user goes on.
#pragma once

#include "csp/ContainerCertificates.h"
#include "wizards/CertificateOnContainerState.h"
#include "wizards/WizPageSelectContainer.h"

class CWizPageCertificateOnContainerSelectContainer : public CWizPageSelectContainer, private ContainerNotices {
  public:
    explicit CWizPageCertificateOnContainerSelectContainer(CertificateOnContainerState& state);

  protected:
    LRESULT OnWizardNext() override;

  private:
    void Tell(ContainerNotice notice) override;

    bool ReadCertificates();

    CertificateOnContainerState& state_;
};
