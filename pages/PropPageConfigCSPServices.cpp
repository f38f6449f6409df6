#include "pages/PropPageConfigCSPServices.h"

#include "pages/DialogDeletePasswords.h"
#include "resources/resource.h"
#include "wizards/WizardCertificateOnContainer.h"
#include "wizards/WizardChangePassword.h"
#include "wizards/WizardCheckContainer.h"
#include "wizards/WizardCopyContainer.h"
#include "wizards/WizardDeleteContainer.h"
#include "wizards/WizardInstallPrivateCertificate.h"

CPropPageConfigCSPServices::CPropPageConfigCSPServices() : CPropPageConfigBase(IDD_SERVICE) {}

std::span<const Route> CPropPageConfigCSPServices::Routes() const {
    using Page = CPropPageConfigCSPServices;
    static constexpr Route table[] = {
        on<&Page::Run<CWizardCheckContainer>>(IDC_SERVICE_CHECK, BN_CLICKED),
        on<&Page::Run<CWizardCopyContainer>>(IDC_SERVICE_COPY, BN_CLICKED),
        on<&Page::Run<CWizardDeleteContainer>>(IDC_SERVICE_DELETE, BN_CLICKED),
        on<&Page::Run<CWizardCertificateOnContainer>>(IDC_SERVICE_VIEW_CERTIFICATES, BN_CLICKED),
        on<&Page::Run<CWizardInstallPrivateCertificate>>(IDC_SERVICE_INSTALL_CERTIFICATE, BN_CLICKED),
        on<&Page::Run<CWizardChangePassword>>(IDC_SERVICE_CHANGE_PASSWORD, BN_CLICKED),
        on<&Page::OnDeletePasswords>(IDC_SERVICE_DELETE_PASSWORDS, BN_CLICKED),
    };
    return table;
}

template <class Wizard>
void CPropPageConfigCSPServices::Run() {
    Wizard wizard(m_hWnd);
    wizard.DoModal();
}

void CPropPageConfigCSPServices::OnDeletePasswords() {
    CDialogDeletePasswords().DoModal();
}
