#include "wizards/WizPageInstallCertificateFinish.h"

#include "applet/services/MessageBoxes.h"
#include "applet/services/Strings.h"
#include "csp/CertificateInstallation.h"
#include "csp/CertificateText.h"
#include "csp/ClientWindow.h"
#include "framework/DataExchange.h"
#include "framework/Text.h"
#include "framework/WaitCursor.h"
#include "resources/resource.h"
#include "wizards/CertificateAdding.h"
#include "wizards/TitleFont.h"

CWizPageInstallCertificateFinish::CWizPageInstallCertificateFinish(InstallCertificateState& state)
    : CWizardPageBase(IDD_INSTALL_FINISH, IDS_WIZARD_INSTALL_CERTIFICATE), state_(state) {}

void CWizPageInstallCertificateFinish::DoDataExchange(CDataExchange* exchange) {
    DDX_Control(exchange, IDC_INSTALL_SUMMARY, summary_);
}

bool CWizPageInstallCertificateFinish::OnInitDialog() {
    CWizardPageBase::OnInitDialog();
    for (const int column : {0, 1}) summary_.InsertColumn(column, {}, 0);
    summary_.SetExtendedStyle(LVS_EX_FULLROWSELECT | LVS_EX_LABELTIP);
    titleFont_ = SetTitleFont(GetDlgItem(IDC_INSTALL_TITLE));
    return true;
}

bool CWizPageInstallCertificateFinish::OnSetActive() {
    SetWizardButtons(PSWIZB_BACK | PSWIZB_FINISH);
    ShowSummary();
    return CWizardPageBase::OnSetActive();
}

void CWizPageInstallCertificateFinish::AddRow(UINT setting, const std::wstring& value) {
    const int row = summary_.InsertItem(summary_.GetItemCount(), LoadStringLang(setting));
    if (row >= 0 && !value.empty()) summary_.SetItemText(row, 1, VisibleText(value));
}

void CWizPageInstallCertificateFinish::ShowCertificateRows(const CERT_CONTEXT& certificate) {
    const CERT_INFO& info = *certificate.pCertInfo;
    AddRow(IDS_CERTIFICATE_NAME, CertificateName(certificate, NameForm::Display));
    AddRow(IDS_CERTIFICATE_SUBJECT, CertificateName(certificate, NameForm::X500));
    AddRow(IDS_CERTIFICATE_ISSUER, CertificateName(certificate, NameForm::X500, NameOf::Issuer));
    AddRow(IDS_CERTIFICATE_VALID_FROM, TimeText(info.NotBefore));
    AddRow(IDS_CERTIFICATE_VALID_TO, TimeText(info.NotAfter));
    AddRow(IDS_CERTIFICATE_SERIAL_NUMBER, SerialNumberText(info.SerialNumber));
}

void CWizPageInstallCertificateFinish::ShowSummary() {
    summary_.DeleteAllItems();
    AddRow(IDS_SUMMARY_CERTIFICATE);
    if (!state_.filePath.empty()) AddRow(IDS_SUMMARY_FILE, state_.filePath);
    ShowCertificateRows(*state_.file.certificate.get());
    AddRow(IDS_SUMMARY_LINK);
    if (state_.keySpec != 0)
        AddRow(IDS_SUMMARY_KEY,
               LoadStringLang(state_.keySpec == AT_SIGNATURE ? IDS_SUMMARY_SIGNATURE : IDS_SUMMARY_ENCRYPTION));
    if (!state_.containerName.empty()) AddRow(IDS_SUMMARY_CONTAINER, state_.containerName);
    if (!state_.target.name.empty()) {
        AddRow(IDS_SUMMARY_INSTALL);
        AddRow(IDS_SUMMARY_STORE, state_.target.name);
    }
    if (state_.writeToContainer) AddRow(IDS_SUMMARY_IN_CONTAINER);
    for (const int column : {0, 1}) summary_.SetColumnWidth(column, LVSCW_AUTOSIZE);
}

bool CWizPageInstallCertificateFinish::OnWizardFinish() {
    const ClientWindow client(m_hWnd);
    return Link() && AddCertificate(state_.target.store.get(), *state_.file.certificate.get(), MB_ICONINFORMATION);
}

bool CWizPageInstallCertificateFinish::Link() {
    LinkOutcome linked;
    {
        const CWaitCursor wait;
        linked = LinkCertificate(*state_.file.certificate.get(),
                                 {state_.container.Get(), state_.keySpec, state_.keySet, state_.writeToContainer});
    }
    const std::wstring& container = linked.container.empty() ? state_.containerName : linked.container;
    switch (linked.failure) {
        case LinkFailure::None: return true;
        case LinkFailure::NoKey: MessageBoxFormat(IDS_NO_KEYS, MB_ICONEXCLAMATION, container); break;
        case LinkFailure::Parameters: MessageBoxFormat(IDS_NO_PARAMETERS, MB_ICONEXCLAMATION, container); break;
        case LinkFailure::Property: MessageBoxFormat(IDS_LINK_FAILED, MB_ICONEXCLAMATION, container); break;
    }
    return false;
}
