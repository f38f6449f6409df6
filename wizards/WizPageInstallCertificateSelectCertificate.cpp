#include "wizards/WizPageInstallCertificateSelectCertificate.h"

#include "resources/resource.h"

CWizPageInstallCertificateSelectCertificate::CWizPageInstallCertificateSelectCertificate(InstallCertificateState& state)
    : CWizPageSelectCertificate({.caption = IDS_WIZARD_INSTALL_CERTIFICATE,
                                 .title = IDS_CERTIFICATE_TO_INSTALL,
                                 .subtitle = IDS_SELECT_CERTIFICATE_TO_INSTALL,
                                 .install = false},
                                state.file),
      state_(state) {}

void CWizPageInstallCertificateSelectCertificate::UpdateWizardButtons() {
    SetWizardButtons(state_.file.certificate ? PSWIZB_BACK | PSWIZB_NEXT : PSWIZB_BACK);
}
