#include "wizards/WizPageSelectCertificate.h"

#include "csp/CertificateText.h"
#include "framework/Text.h"
#include "resources/resource.h"
#include "wizards/CertificateDialogs.h"

namespace {

using Text = std::wstring (*)(const CERT_CONTEXT& certificate);

struct Field {
    UINT edit;
    Text text;
};

constexpr Field kFields[] = {
    {IDC_CERTIFICATE_NAME, [](const CERT_CONTEXT& c) { return CertificateName(c, NameForm::Display); }},
    {IDC_CERTIFICATE_SUBJECT, [](const CERT_CONTEXT& c) { return CertificateName(c, NameForm::X500); }},
    {IDC_CERTIFICATE_ISSUER, [](const CERT_CONTEXT& c) { return CertificateName(c, NameForm::X500, NameOf::Issuer); }},
    {IDC_CERTIFICATE_FROM, [](const CERT_CONTEXT& c) { return TimeText(c.pCertInfo->NotBefore); }},
    {IDC_CERTIFICATE_TO, [](const CERT_CONTEXT& c) { return TimeText(c.pCertInfo->NotAfter); }},
    {IDC_CERTIFICATE_SERIAL_NUMBER, [](const CERT_CONTEXT& c) { return SerialNumberText(c.pCertInfo->SerialNumber); }},
};

}  // namespace

CWizPageSelectCertificate::CWizPageSelectCertificate(const Options& options, CertificateChoice& choice)
    : CWizardPageBase(IDD_SELECT_CERTIFICATE, options.caption, options.title, options.subtitle),
      options_(options),
      choice_(choice) {}

std::span<const Route> CWizPageSelectCertificate::Routes() const {
    static constexpr Route table[] = {
        on<&CWizPageSelectCertificate::OnBrowse>(IDC_CERTIFICATE_BROWSE, BN_CLICKED),
        on<&CWizPageSelectCertificate::OnProperties>(IDC_CERTIFICATE_PROPERTIES, BN_CLICKED),
        on<&CWizPageSelectCertificate::OnInstall>(IDC_CERTIFICATE_INSTALL, BN_CLICKED),
    };
    return table;
}

// The label and the edit control for the key usage stay hidden: no wizard fills them.
bool CWizPageSelectCertificate::OnInitDialog() {
    CWizardPageBase::OnInitDialog();
    ::ShowWindow(GetDlgItem(IDC_CERTIFICATE_INSTALL), options_.install ? SW_SHOW : SW_HIDE);
    return true;
}

bool CWizPageSelectCertificate::OnSetActive() {
    ShowChosen();
    EnableControl(IDC_CERTIFICATE_BROWSE, choice_.several);
    ::ShowWindow(GetDlgItem(IDC_CERTIFICATE_NOTE), choice_.several ? SW_SHOW : SW_HIDE);
    return CWizardPageBase::OnSetActive();
}

void CWizPageSelectCertificate::ShowChosen() {
    const CERT_CONTEXT* certificate = choice_.certificate.get();
    for (const Field& field : kFields)
        ::SetWindowTextW(GetDlgItem(field.edit), certificate ? VisibleText(field.text(*certificate)).c_str() : L"");
    EnableControl(IDC_CERTIFICATE_PROPERTIES, certificate != nullptr);
    EnableControl(IDC_CERTIFICATE_INSTALL, certificate != nullptr);
    UpdateWizardButtons();
}

void CWizPageSelectCertificate::OnBrowse() {
    UniqueCertificate chosen = BrowseCertificates(m_hWnd, choice_.store.get());
    if (chosen) choice_.certificate = std::move(chosen);
    ShowChosen();
}

void CWizPageSelectCertificate::OnProperties() {
    if (choice_.certificate) ShowProperties();
}

void CWizPageSelectCertificate::ShowProperties() {
    ShowCertificate(m_hWnd, *choice_.certificate.get());
}
