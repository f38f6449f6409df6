#include "wizards/WizPageInstallCertificateWelcome.h"

#include "framework/PropertySheet.h"
#include "resources/resource.h"
#include "wizards/TitleFont.h"

CWizPageInstallCertificateWelcome::CWizPageInstallCertificateWelcome()
    : CWizardPageBase(IDD_INSTALL_WELCOME, IDS_WIZARD_INSTALL_CERTIFICATE) {}

bool CWizPageInstallCertificateWelcome::OnInitDialog() {
    CWizardPageBase::OnInitDialog();
    titleFont_ = SetTitleFont(GetDlgItem(IDC_INSTALL_TITLE));
    return true;
}

bool CWizPageInstallCertificateWelcome::OnSetActive() {
    SetWizardButtons(PSWIZB_NEXT);
    return CWizardPageBase::OnSetActive();
}
