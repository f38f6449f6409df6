// The wizard that installs a certificate from a file and links it with its private key: choose the file, the
// certificate, the container, the store; see what will be done, and do it.
#pragma once

#include "wizards/InstallCertificateState.h"
#include "wizards/PropertySheetWizardBase.h"
#include "wizards/WizPageInstallCertificateFinish.h"
#include "wizards/WizPageInstallCertificateSelectCertificate.h"
#include "wizards/WizPageInstallCertificateSelectContainer.h"
#include "wizards/WizPageInstallCertificateSelectFile.h"
#include "wizards/WizPageInstallCertificateSelectStore.h"
#include "wizards/WizPageInstallCertificateWelcome.h"

class CWizardInstallPrivateCertificate : public CPropertySheetWizardBase {
  public:
    explicit CWizardInstallPrivateCertificate(HWND parent);

  private:
    InstallCertificateState state_;
    CWizPageInstallCertificateWelcome welcome_;  // not one of the pages: the wizard opens with the file
    CWizPageInstallCertificateSelectFile selectFile_{state_};
    CWizPageInstallCertificateSelectCertificate selectCertificate_{state_};
    CWizPageInstallCertificateSelectContainer selectContainer_{state_};
    CWizPageInstallCertificateSelectStore selectStore_{state_};
    CWizPageInstallCertificateFinish finish_{state_};
};
