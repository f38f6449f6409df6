#include "wizards/WizardInstallPrivateCertificate.h"

#include <utility>

#include "applet/services/MessageBoxes.h"
#include "applet/services/Strings.h"
#include "csp/CertificateInstallation.h"
#include "csp/CertificateStores.h"
#include "csp/CertificateText.h"
#include "csp/CryptProvContext.h"
#include "csp/KeyLink.h"
#include "framework/DataExchange.h"
#include "framework/PropertySheet.h"
#include "framework/Text.h"
#include "framework/Wnd.h"
#include "resources/resource.h"
#include "wizards/CertificateDialogs.h"
#include "wizards/WizardBase.h"

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

// Called also while the user types the path.
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

// A file that is open already isn't opened again, so that the certificate chosen from it stays.
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
    Result<CertificateFile> opened = OpenCertificateFile(path_);
    if (!opened) return false;  // the certificate that was chosen before stays until another file is open
    state_.file.several = !opened->only;
    state_.file.certificate = std::move(opened->only);
    state_.file.store = std::move(opened->store);
    state_.filePath = path_;
    return true;
}

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

namespace {

constexpr ULONGLONG kBetweenTexts = 50;  // milliseconds; texts that change faster are unreadable

// Shows the static for the progress during the scope.
class ProgressLine {
  public:
    explicit ProgressLine(HWND text) noexcept : text_(text) { ShowWindow(text_, SW_SHOW); }
    ~ProgressLine() { ShowWindow(text_, SW_HIDE); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

  private:
    HWND text_;
};

}  // namespace

CWizPageInstallCertificateSelectContainer::CWizPageInstallCertificateSelectContainer(InstallCertificateState& state)
    : CWizPageSelectContainer(
          {.caption = IDS_WIZARD_INSTALL_CERTIFICATE, .subtitle = IDS_SELECT_FOR_CERTIFICATE, .byCertificate = false},
          state),
      state_(state) {}

std::span<const Route> CWizPageInstallCertificateSelectContainer::Routes() const {
    using Page = CWizPageInstallCertificateSelectContainer;
    static constexpr Route table[] = {
        on<&Page::OnBrowse>(IDC_SELECT_BROWSE, BN_CLICKED),
        on<&Page::UpdateWizardButtons>(IDC_SELECT_NAME, EN_CHANGE),
        on<&Page::OnAutomatically>(IDC_SELECT_AUTOMATICALLY, BN_CLICKED),
    };
    return table;
}

bool CWizPageInstallCertificateSelectContainer::OnInitDialog() {
    CWizPageSelectContainer::OnInitDialog();
    ::ShowWindow(GetDlgItem(IDC_SELECT_AUTOMATICALLY), SW_SHOW);
    return true;
}

LRESULT CWizPageInstallCertificateSelectContainer::OnWizardNext() {
    if (const LRESULT stay = CWizPageSelectContainer::OnWizardNext()) return stay;
    const ClientWindow client(m_hWnd);
    if (!AcquireSelectedContainer(state_.container, 0)) return -1;
    state_.keySpec = FindMatchingKey(state_.container.Get(), *state_.file.certificate.get());
    if (state_.keySpec == 0) {
        MessageBoxId(IDS_KEY_OF_OTHER_CERTIFICATE, MB_ICONEXCLAMATION);
        return -1;
    }
    state_.containerName = ContainerName();
    return 0;
}

LRESULT CWizPageInstallCertificateSelectContainer::OnWizardBack() {
    SelectManually();
    ClearName();
    return 0;
}

void CWizPageInstallCertificateSelectContainer::OnAutomatically() {
    const bool automatically = IsDlgButtonChecked(m_hWnd, IDC_SELECT_AUTOMATICALLY) == BST_CHECKED;
    if (!UpdateData(true)) {
        CheckDlgButton(m_hWnd, IDC_SELECT_AUTOMATICALLY, automatically ? BST_UNCHECKED : BST_CHECKED);
    } else if (automatically) {
        SearchAndShow();
    } else {
        SelectManually();
        ClearName();
    }
}

void CWizPageInstallCertificateSelectContainer::SelectManually() {
    CheckDlgButton(m_hWnd, IDC_SELECT_AUTOMATICALLY, BST_UNCHECKED);
    EnableSelection(true);
}

// After a search that the user stops, the page shows the same selection as before.
void CWizPageInstallCertificateSelectContainer::SearchAndShow() {
    const ClientWindow client(m_hWnd);
    const std::wstring named = ContainerName();
    EnableSelection(false);
    EnableKeySet(false);
    SearchResult result;
    try {
        result = Search();
    } catch (...) {
        EnableKeySet(true);
        SelectManually();  // out of memory: the page remains usable
        throw;
    }
    EnableKeySet(true);
    if (result.end == SearchEnd::Found) {
        SelectProvider(Providers()[result.provider].name);
        ShowContainer(std::move(result.container));
        return;
    }
    SelectManually();
    if (result.end == SearchEnd::Stopped) {
        ShowContainer(named);
        return;
    }
    ClearName();
    MessageBoxId(IDS_CONTAINER_NOT_FOUND, MB_ICONEXCLAMATION);
}

SearchResult CWizPageInstallCertificateSelectContainer::Search() {
    const ProgressLine progress(GetDlgItem(IDC_SELECT_PROGRESS));
    shownAt_ = 0;
    const CWaitCursor wait;
    const LongWork work(GetParent(), activity_);
    return SearchContainers(Providers(), SelectedKeySet(), *state_.file.certificate.get(), *this);
}

bool CWizPageInstallCertificateSelectContainer::Searching(const std::wstring& provider, const std::wstring& container) {
    if (!container.empty()) SetCandidate(container);
    const ULONGLONG now = GetTickCount64();
    if (now - shownAt_ >= kBetweenTexts) {
        shownAt_ = now;
        const std::wstring text = container.empty() ? FormatStringId(IDS_SEARCHING_PROVIDER, provider)
                                                    : FormatStringId(IDS_SEARCHING_CONTAINER, provider, container);
        ::SetWindowTextW(GetDlgItem(IDC_SELECT_PROGRESS), text.c_str());
        ShowCandidate();
    }
    return activity_.work->GoOn();
}

CWizPageInstallCertificateSelectStore::CWizPageInstallCertificateSelectStore(InstallCertificateState& state)
    : CWizardPageBase(IDD_SELECT_STORE, IDS_WIZARD_INSTALL_CERTIFICATE, IDS_CERTIFICATE_STORE,
                      IDS_SELECT_CERTIFICATE_STORE),
      state_(state) {}

std::span<const Route> CWizPageInstallCertificateSelectStore::Routes() const {
    static constexpr Route table[] = {
        on<&CWizPageInstallCertificateSelectStore::OnBrowse>(IDC_STORE_BROWSE, BN_CLICKED),
    };
    return table;
}

void CWizPageInstallCertificateSelectStore::DoDataExchange(CDataExchange* exchange) {
    DDX_Text(exchange, IDC_STORE_NAME, storeName_);
    DDX_Radio(exchange, IDC_STORE_USER, keySet_);
    DDX_Check(exchange, IDC_STORE_WRITE_TO_CONTAINER, state_.writeToContainer);
}

bool CWizPageInstallCertificateSelectStore::OnSetActive() {
    keySet_ = state_.keySet;
    Show(PersonalStore(state_.keySet));
    return CWizardPageBase::OnSetActive();
}

void CWizPageInstallCertificateSelectStore::OnBrowse() {
    if (!UpdateData(true)) return;
    state_.target = {};  // close the store before another one is opened
    Show(ChooseStore(m_hWnd, state_.keySet));
}

void CWizPageInstallCertificateSelectStore::Show(NamedStore store) {
    state_.target = std::move(store);
    storeName_ = VisibleText(state_.target.name);
    UpdateData(false);
    SetWizardButtons(storeName_.empty() ? PSWIZB_BACK : PSWIZB_BACK | PSWIZB_NEXT);
}

LRESULT CWizPageInstallCertificateSelectStore::OnWizardNext() {
    if (!UpdateData(true) || storeName_.empty()) return -1;
    state_.target.name = storeName_;
    return 0;
}

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

namespace {

// The message for a step of the linking that failed.
UINT MessageOf(LinkStep step) noexcept {
    switch (step) {
        case LinkStep::OpenKey: return IDS_NO_KEYS;
        case LinkStep::ReadContainer:
        case LinkStep::ReadKey: return IDS_NO_PARAMETERS;
        case LinkStep::Write: return IDS_LINK_FAILED;
    }
    return 0;
}

}  // namespace

bool CWizPageInstallCertificateFinish::Link() {
    const LinkAttempt attempt = [&] {
        const CWaitCursor wait;
        return LinkCertificate(*state_.file.certificate.get(),
                               {state_.container.Get(), state_.keySpec, state_.keySet, state_.writeToContainer});
    }();
    if (attempt.result) return true;
    const std::wstring& container = attempt.container.empty() ? state_.containerName : attempt.container;
    MessageBoxFormat(MessageOf(attempt.step), MB_ICONEXCLAMATION, container);
    return false;
}

CWizardInstallPrivateCertificate::CWizardInstallPrivateCertificate(HWND parent)
    : CPropertySheetWizardBase(parent, IDS_WIZARD_INSTALL_CERTIFICATE, IDB_WIZARD_WATERMARK) {
    AddPage(selectFile_);
    AddPage(selectCertificate_);
    AddPage(selectContainer_);
    AddPage(selectStore_);
    AddPage(finish_);
}
