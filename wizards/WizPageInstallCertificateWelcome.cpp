#include "wizards/WizPageInstallCertificateWelcome.h"

#include "framework/PropertySheet.h"
#include "resources/resource.h"
#include "wizards/TitleFont.h"

CWizPageInstallCertificateWelcome::CWizPageInstallCertificateWelcome()
    : CWizardPageBase(IDD_INSTALL_WELCOME, IDS_WIZARD_INSTALL_CERTIFICATE) {}

bool CWizPageInstallCertificateWelcome::OnInitDialog() {
    CWizardPageBase::OnInitDialog();
    titleFont_ = CreateTitleFont(m_hWnd);
    ::SendMessageW(GetDlgItem(IDC_INSTALL_TITLE), WM_SETFONT, reinterpret_cast<WPARAM>(titleFont_.get()), TRUE);
    return true;
}

bool CWizPageInstallCertificateWelcome::OnSetActive() {
    GetParentSheet()->SetWizardButtons(PSWIZB_NEXT);
    return CWizardPageBase::OnSetActive();
}
