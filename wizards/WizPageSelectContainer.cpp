#include "wizards/WizPageSelectContainer.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "applet/services/ErrorText.h"
#include "applet/services/MessageBoxes.h"
#include "applet/services/SupportLibrary.h"
#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"
#include "csp/KeyLink.h"
#include "csp/Providers.h"
#include "csp/ProviderParameters.h"
#include "framework/DataExchange.h"
#include "framework/PropertySheet.h"
#include "framework/Wnd.h"
#include "resources/resource.h"
#include "wizards/CertificateDialogs.h"

namespace {

constexpr int kLongestName = 260;  // characters

// Users who may write this section of the configuration may use the computer's containers.
constexpr wchar_t kComputerSection[] = L"\\global";

// Shows the provider's dialog in which the user chooses one of its containers. Empty when the user cancels, or when the
// provider has no such dialog.
std::optional<std::wstring> ChooseContainer(HCRYPTPROV provider) {
    char name[513] = "";  // one call with a buffer: a query for the length would show the dialog, too
    DWORD size = sizeof name;
    if (!CryptGetProvParam(provider, kParameterChooseContainer, reinterpret_cast<BYTE*>(name), &size, 0)) return {};
    return FromAnsi(std::string_view(name, strnlen(name, sizeof name)));
}

// Hides a button, and extends the field beside it to the button's right edge.
void HideButton(HWND button, HWND field) noexcept {
    RECT hidden, place;
    GetWindowRect(button, &hidden);
    GetWindowRect(field, &place);
    SendMessageW(field, CB_GETDROPPEDCONTROLRECT, 0,
                 reinterpret_cast<LPARAM>(&place));  // includes the list of a combo box
    SetWindowPos(field, nullptr, 0, 0, hidden.right - place.left, place.bottom - place.top,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    ShowWindow(button, SW_HIDE);
}

}  // namespace

CWizPageSelectContainer::CWizPageSelectContainer(const Options& options, WizardState& state)
    : CWizardPageBase(IDD_SELECT_CONTAINER, options.caption, IDS_CONTAINER, options.subtitle),
      options_(options),
      state_(state) {}

std::span<const Route> CWizPageSelectContainer::Routes() const {
    static constexpr Route table[] = {
        on<&CWizPageSelectContainer::OnBrowse>(IDC_SELECT_BROWSE, BN_CLICKED),
        on<&CWizPageSelectContainer::OnByCertificate>(IDC_SELECT_BY_CERTIFICATE, BN_CLICKED),
        on<&CWizPageSelectContainer::UpdateWizardButtons>(IDC_SELECT_NAME, EN_CHANGE),
    };
    return table;
}

void CWizPageSelectContainer::DoDataExchange(CDataExchange* exchange) {
    DDX_Control(exchange, IDC_SELECT_BY_CERTIFICATE, byCertificate_);
    DDX_Control(exchange, IDC_SELECT_BROWSE, browse_);
    DDX_Control(exchange, IDC_SELECT_PROVIDER, providerList_);
    DDX_Control(exchange, IDC_SELECT_COMPUTER, computer_);
    DDX_Control(exchange, IDC_SELECT_USER, user_);
    DDX_Control(exchange, IDC_SELECT_NAME, name_);
    DDX_Text(exchange, IDC_SELECT_NAME, containerName_);
    DDV_MaxChars(exchange, containerName_, kLongestName);
    DDX_Radio(exchange, IDC_SELECT_USER, keySet_);
    DDX_CBIndex(exchange, IDC_SELECT_PROVIDER, provider_);
}

bool CWizPageSelectContainer::OnInitDialog() {
    CWizardPageBase::OnInitDialog();
    if (!FillProviders()) {
        MessageBoxId(IDS_CSP_ACCESS_FAILED, MB_ICONEXCLAMATION);
        GetParentSheet()->EndDialog(IDCANCEL);
    }
    if (!options_.browse) HideButton(browse_.m_hWnd, name_.m_hWnd);
    if (!options_.byCertificate) HideButton(byCertificate_.m_hWnd, providerList_.m_hWnd);
    mayUseComputer_ = MayWrite(kComputerSection);
    EnableKeySet(true);
    UpdateData(false);
    return true;
}

// Selects the default provider of type 75, otherwise the first one.
bool CWizPageSelectContainer::FillProviders() {
    providers_ = options_.ownProviders ? ListOwnProviders() : ListProductProviders();
    for (const Provider& provider : providers_) providerList_.AddString(provider.name);
    SelectProvider(DefaultProviderName(kProviderType75));
    return !providers_.empty();
}

bool CWizPageSelectContainer::OnSetActive() {
    keySet_ = state_.keySet;
    UpdateData(false);
    UpdateWizardButtons();
    return CWizardPageBase::OnSetActive();
}

void CWizPageSelectContainer::UpdateWizardButtons() {
    if (activity_.work) return;  // a search, which shows names in the control, has disabled the buttons
    CPropertySheet& sheet = *GetParentSheet();
    const int page = sheet.GetPageIndex(*this);
    const bool last = page == sheet.GetPageCount() - 1;
    const bool named = GetWindowTextLengthW(name_.m_hWnd) > 0;
    sheet.SetWizardButtons(named ? PSWIZB_NEXT : 0);  // the sheet replaces Finish only after Next has been set
    DWORD buttons = page > 0 ? PSWIZB_BACK : 0;
    if (last) {
        buttons |= named ? PSWIZB_FINISH : PSWIZB_DISABLEDFINISH;
    } else if (named) {
        buttons |= PSWIZB_NEXT;
    }
    SetWizardButtons(buttons);
}

bool CWizPageSelectContainer::ReadSelection() {
    if (!UpdateData(true) || containerName_.empty()) return false;
    state_.keySet = SelectedKeySet();
    return true;
}

LRESULT CWizPageSelectContainer::OnWizardNext() {
    return ReadSelection() ? 0 : -1;
}

bool CWizPageSelectContainer::OnWizardFinish() {
    return ReadSelection();
}

Result<> CWizPageSelectContainer::AcquireSelectedProvider(CCryptProvContext& context, DWORD flags,
                                                          const wchar_t* container) {
    const CWaitCursor wait;
    const Provider provider = SelectedProvider();
    return context.Acquire(flags | FlagOf(keySet_), container, provider.name.c_str(), provider.type);
}

bool CWizPageSelectContainer::AcquireSelectedContainer(CCryptProvContext& context, DWORD flags) {
    const Result<> acquired = AcquireSelectedProvider(context, flags, containerName_.c_str());
    if (!acquired) ShowAccessFailure(acquired.Failed());
    return static_cast<bool>(acquired);
}

void CWizPageSelectContainer::ShowAccessFailure(Failure failure) const {
    MessageBoxFormat(IDS_CONTAINER_ACCESS_FAILED, MB_ICONERROR, containerName_,
                     Insert::AsItIs(ErrorMessageText(failure.code)));
}

Provider CWizPageSelectContainer::SelectedProvider() const {
    const auto position = static_cast<std::size_t>(provider_);
    return position < providers_.size() ? providers_[position] : Provider();
}

void CWizPageSelectContainer::ShowContainer(std::wstring name) {
    containerName_ = std::move(name);
    UpdateData(false);
    UpdateWizardButtons();
}

void CWizPageSelectContainer::ShowCandidate() {
    name_.SetWindowText(containerName_);
}

void CWizPageSelectContainer::ClearName() {
    name_.SetWindowText({});
    UpdateData(true);
    UpdateWizardButtons();
}

void CWizPageSelectContainer::EnableSelection(bool enable) {
    for (CWnd* control : std::initializer_list<CWnd*>{&name_, &browse_, &providerList_}) control->EnableWindow(enable);
}

void CWizPageSelectContainer::EnableKeySet(bool enable) {
    user_.EnableWindow(enable);
    computer_.EnableWindow(enable && mayUseComputer_);
}

void CWizPageSelectContainer::SelectProvider(const std::wstring& name) {
    const auto found = std::ranges::find(providers_, name, &Provider::name);
    provider_ = found == providers_.end() ? 0 : static_cast<int>(found - providers_.begin());
}

void CWizPageSelectContainer::OnBrowse() {
    if (!UpdateData(true)) return;
    const ClientWindow client(m_hWnd);
    CCryptProvContext context;
    if (!AcquireSelectedProvider(context, CRYPT_VERIFYCONTEXT, nullptr)) {
        MessageBoxId(IDS_CSP_ACCESS_FAILED, MB_ICONEXCLAMATION);
        return;
    }
    std::optional<std::wstring> chosen = ChooseContainer(context.Get());
    if (chosen) ShowContainer(std::move(*chosen));
}

void CWizPageSelectContainer::OnByCertificate() {
    const UniqueCertificate certificate = ChooseCertificate(m_hWnd, MayWrite(kComputerSection));
    if (!certificate) return;
    std::optional<KeyLink> link = ReadKeyLink(*certificate.get());
    if (!link) return;
    if (providerList_.SelectString(link->provider) < 0) providerList_.SetCurSel(0);
    provider_ = providerList_.GetCurSel();
    keySet_ = link->keySet;
    ShowContainer(std::move(link->container));
}
