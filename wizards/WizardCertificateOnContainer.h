// The wizard for the certificates in a container: choose it, see and install them.
#pragma once

#include "wizards/CertificateOnContainerState.h"
#include "wizards/PropertySheetWizardBase.h"
#include "wizards/WizPageCertificateOnContainerSelectCertificate.h"
#include "wizards/WizPageCertificateOnContainerSelectContainer.h"

class CWizardCertificateOnContainer : public CPropertySheetWizardBase {
  public:
    explicit CWizardCertificateOnContainer(HWND parent);

  private:
    CertificateOnContainerState state_;
    CWizPageCertificateOnContainerSelectContainer selectContainer_{state_};
    CWizPageCertificateOnContainerSelectCertificate selectCertificate_{state_};
};
