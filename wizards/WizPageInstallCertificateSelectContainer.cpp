#include "wizards/WizPageInstallCertificateSelectContainer.h"

#include <utility>

#include "applet/services/MessageBoxes.h"
#include "applet/services/Strings.h"
#include "csp/ClientWindow.h"
#include "csp/KeyMatch.h"
#include "framework/WaitCursor.h"
#include "resources/resource.h"

namespace {

constexpr ULONGLONG kBetweenTexts = 50;  // milliseconds; texts that change faster can't be read

// To be seen while the search goes on.
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
    ChooseByHand();
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
        ChooseByHand();
        ClearName();
    }
}

void CWizPageInstallCertificateSelectContainer::ChooseByHand() {
    CheckDlgButton(m_hWnd, IDC_SELECT_AUTOMATICALLY, BST_UNCHECKED);
    EnableChoice(true);
}

// A search that the user stops leaves the page as it was before.
void CWizPageInstallCertificateSelectContainer::SearchAndShow() {
    const ClientWindow client(m_hWnd);
    const std::wstring named = ContainerName();
    EnableChoice(false);
    EnableOwner(false);
    SearchResult result;
    try {
        result = Search();
    } catch (...) {
        EnableOwner(true);
        ChooseByHand();  // out of memory; the page stays usable
        throw;
    }
    EnableOwner(true);
    if (result.end == SearchEnd::Found) {
        ShowContainer(std::move(result.container), static_cast<int>(result.provider));
        return;
    }
    ChooseByHand();
    if (result.end == SearchEnd::Stopped) {
        ShowContainer(named, SelectedProvider());
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
    if (!container.empty()) TakeCandidate(container);
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
