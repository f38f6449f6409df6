#include "wizards/WizPageInstallCertificateSelectFile.h"

#include "applet/services/MessageBoxes.h"
#include "csp/CertificateFile.h"
#include "framework/DataExchange.h"
#include "framework/PropertySheet.h"
#include "framework/WaitCursor.h"
#include "resources/resource.h"
#include "wizards/OpenCertFileDialog.h"

namespace {

constexpr int kLongestPath = 260;  // characters

}  // namespace

CWizPageInstallCertificateSelectFile::CWizPageInstallCertificateSelectFile(InstallCertificateState& state)
    : CWizardPageBase(IDD_SELECT_FILE, IDS_WIZARD_INSTALL_CERTIFICATE, IDS_CERTIFICATE_FILE,
                      IDS_SELECT_CERTIFICATE_FILE),
      state_(state) {}

std::span<const Route> CWizPageInstallCertificateSelectFile::Routes() const {
    static constexpr Route table[] = {
        on<&CWizPageInstallCertificateSelectFile::OnBrowse>(IDC_FILE_BROWSE, BN_CLICKED),
        on<&CWizPageInstallCertificateSelectFile::UpdateWizardButtons>(IDC_FILE_NAME, EN_CHANGE),
    };
    return table;
}

void CWizPageInstallCertificateSelectFile::DoDataExchange(CDataExchange* exchange) {
    DDX_Text(exchange, IDC_FILE_NAME, path_);
    DDV_MaxChars(exchange, path_, kLongestPath);
}

bool CWizPageInstallCertificateSelectFile::OnSetActive() {
    const bool shown = CWizardPageBase::OnSetActive();
    UpdateWizardButtons();
    return shown;
}

// Also while the path is typed: a user who types it would otherwise have no way on.
void CWizPageInstallCertificateSelectFile::UpdateWizardButtons() {
    SetWizardButtons(GetWindowTextLengthW(GetDlgItem(IDC_FILE_NAME)) > 0 ? PSWIZB_NEXT : 0);
}

void CWizPageInstallCertificateSelectFile::OnBrowse() {
    if (!UpdateData(true)) return;
    COpenCertFileDialog dialog;
    if (dialog.DoModal(m_hWnd) != IDOK) return;
    path_ = dialog.GetPathName();
    UpdateData(false);
    UpdateWizardButtons();
}

// A file that is open already keeps the certificate that was chosen from it.
LRESULT CWizPageInstallCertificateSelectFile::OnWizardNext() {
    if (!UpdateData(true)) return -1;
    if (!path_.empty() && (path_ == state_.filePath || OpenFile())) return 0;
    MessageBoxId(IDS_NO_CERTIFICATE_FILE, MB_OK);
    return -1;
}

bool CWizPageInstallCertificateSelectFile::OpenFile() {
    const CWaitCursor wait;
    state_.filePath.clear();
    state_.file.store = {};
    std::optional<CertificateFile> opened = OpenCertificateFile(path_);
    if (!opened) return false;  // the certificate that was chosen before stays until another file is open
    state_.file.several = !opened->only;
    state_.file.certificate = std::move(opened->only);
    state_.file.store = std::move(opened->store);
    state_.filePath = path_;
    return true;
}
