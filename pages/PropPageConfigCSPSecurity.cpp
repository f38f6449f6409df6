#include "pages/PropPageConfigCSPSecurity.h"

#include <algorithm>
#include <utility>

#include "applet/services/MessageBoxes.h"
#include "applet/services/Strings.h"
#include "framework/DataExchange.h"
#include "framework/Wnd.h"
#include "resources/resource.h"
#include "csp/Providers.h"

namespace {

// Fewer than the largest cache has digits: such a size is reached with the arrows.
constexpr int kMostSizeCharacters = 3;

std::vector<std::wstring> NamesOfType(const std::vector<Provider>& installed, DWORD type) {
    std::vector<std::wstring> names;
    for (const Provider& provider : installed) {
        if (provider.type == type) names.push_back(provider.name);
    }
    return names;
}

// Item 0 of the box is "<Absent>", the others are `names`.
void ExchangeDefault(CDataExchange* exchange, UINT box, const std::vector<std::wstring>& names, std::wstring& shown) {
    const auto found = std::find(names.begin(), names.end(), shown);
    int item = found == names.end() ? 0 : static_cast<int>(found - names.begin()) + 1;
    DDX_CBIndex(exchange, box, item);
    shown = item > 0 ? names[static_cast<size_t>(item) - 1] : std::wstring();
}

}  // namespace

CPropPageConfigCSPSecurity::CPropPageConfigCSPSecurity() : CPropPageConfigBase(IDD_SECURITY) {}

std::span<const Route> CPropPageConfigCSPSecurity::Routes() const {
    using Page = CPropPageConfigCSPSecurity;
    static constexpr Route table[] = {
        on<&Page::OnControlChanged>(IDC_SECURITY_CACHING, BN_CLICKED),
        on<&Page::OnControlChanged>(IDC_SECURITY_DIFFIE_HELLMAN, BN_CLICKED),
        on<&Page::OnControlChanged>(IDC_SECURITY_SAVE_MEDIA, BN_CLICKED),
        on<&Page::OnModeClicked>({IDC_SECURITY_MODE_SERVICE, IDC_SECURITY_MODE_MEMORY}, BN_CLICKED),
        on<&Page::OnControlChanged>(IDC_SECURITY_TYPE75, CBN_SELCHANGE),
        on<&Page::OnControlChanged>(IDC_SECURITY_TYPE71, CBN_SELCHANGE),
        on<&Page::OnProviderSelected>(IDC_SECURITY_CSP, CBN_SELCHANGE),
        on<&Page::OnCacheSizeLeft>(IDC_SECURITY_CACHE_SIZE, EN_KILLFOCUS),
        on<&Page::OnControlChanged>(IDC_SECURITY_CACHE_SIZE, EN_CHANGE),
    };
    return table;
}

void CPropPageConfigCSPSecurity::DoDataExchange(CDataExchange* exchange) {
    DDX_Control(exchange, IDC_SECURITY_CSP, providerBox_);
    DDX_Control(exchange, IDC_SECURITY_TYPE75, default75Box_);
    DDX_Control(exchange, IDC_SECURITY_TYPE71, default71Box_);
    DDX_Control(exchange, IDC_SECURITY_CACHE_SIZE_SPIN, cacheSpin_);
    DDX_Check(exchange, IDC_SECURITY_CACHING, settings_.caching.shown);
    DDX_Check(exchange, IDC_SECURITY_DIFFIE_HELLMAN, settings_.diffieHellman.shown);
    DDX_Check(exchange, IDC_SECURITY_SAVE_MEDIA, settings_.savesMedia.shown);
    ExchangeDefault(exchange, IDC_SECURITY_TYPE71, defaults71_, settings_.default71.shown);
    ExchangeDefault(exchange, IDC_SECURITY_TYPE75, defaults75_, settings_.default75.shown);
    DDX_CBIndex(exchange, IDC_SECURITY_CSP, provider_);
    DDX_Radio(exchange, IDC_SECURITY_MODE_SERVICE, settings_.mode.shown);
    // The last one, since it may end the exchange. An invalid number is not reported: the page corrects it at once, and
    // the text is empty while the user types another size.
    if (!exchange->m_bSaveAndValidate) {
        DDX_Text(exchange, IDC_SECURITY_CACHE_SIZE, settings_.cacheSize.shown);
        DDV_MaxChars(exchange, kMostSizeCharacters);
    } else if (const auto size = ParseCacheSize(WindowText(GetDlgItem(IDC_SECURITY_CACHE_SIZE)))) {
        settings_.cacheSize.shown = *size;
    } else {
        throw CDataExchange::Failed{};
    }
}

bool CPropPageConfigCSPSecurity::OnInitDialog() {
    {
        const FlagScope change = OwnChange();
        CPropPageConfigBase::OnInitDialog();
        SetUpControls();
    }
    OnControlChanged();
    return true;
}

// The sheet ignores a modified mark set before this, and the values shown first may differ from the stored ones
// already.
bool CPropPageConfigCSPSecurity::OnSetActive() {
    CPropPageConfigBase::OnSetActive();
    PlaceModeTabStop();
    SetModified(IsModified());
    return true;
}

void CPropPageConfigCSPSecurity::SetUpControls() {
    cacheSpin_.SetBuddy(GetDlgItem(IDC_SECURITY_CACHE_SIZE));
    const std::vector<Provider> installed = ListInstalledProviders();
    ShowProviders(installed);
    settings_.ReadSavesMedia();
    if (!MayWriteSavesMedia()) {
        EnableControl(IDC_SECURITY_SAVE_MEDIA, false);
        ExplainDisabled({IDC_SECURITY_SAVE_MEDIA}, IDS_WHY_RIGHTS);
    }
    ShowDefaults(installed);
    ShowValues();
}

void CPropPageConfigCSPSecurity::ShowProviders(const std::vector<Provider>& installed) {
    providers_ = ListOwnProviders(installed);
    for (const Provider& provider : providers_) providerBox_.AddString(provider.name);
    if (providers_.empty()) return;
    provider_ = 0;
    OpenProvider();
}

void CPropPageConfigCSPSecurity::ShowDefaults(const std::vector<Provider>& installed) {
    defaults75_ = NamesOfType(installed, kProviderType75);
    defaults71_ = NamesOfType(installed, kProviderType71);
    settings_.ReadDefaults(installed);
    ShowDefaultsOfType(kProviderType75, IDC_SECURITY_TYPE75_LABEL, default75Box_, defaults75_);
    ShowDefaultsOfType(kProviderType71, IDC_SECURITY_TYPE71_LABEL, default71Box_, defaults71_);
    if (!settings_.default71.shown.empty()) return;
    // Only users who have a default provider of the older type need it.
    default71Box_.ShowWindow(SW_HIDE);
    ::ShowWindow(GetDlgItem(IDC_SECURITY_TYPE71_LABEL), SW_HIDE);
}

void CPropPageConfigCSPSecurity::ShowDefaultsOfType(DWORD type, UINT label, CComboBox& box,
                                                    const std::vector<std::wstring>& names) {
    const std::wstring typeName = ReadProviderTypeName(type).value_or(std::wstring());
    if (!typeName.empty()) ::SetWindowTextW(GetDlgItem(label), (typeName + L":").c_str());
    box.AddString(LoadStringLang(IDS_PROVIDER_ABSENT));
    for (const std::wstring& name : names) box.AddString(name);
    const bool mayWrite = MayWriteDefaultProvider(type);
    const auto id = static_cast<UINT>(GetDlgCtrlID(box.m_hWnd));
    EnableControl(id, mayWrite && !names.empty());
    if (!mayWrite) ExplainDisabled({id}, IDS_WHY_RIGHTS);
}

void CPropPageConfigCSPSecurity::OpenProvider() {
    const auto position = static_cast<size_t>(provider_);
    if (position < providers_.size()) settings_.Open(providers_[position]);
    ShowCacheRange();
}

void CPropPageConfigCSPSecurity::ShowCacheRange() {
    if (settings_.cacheMaximum != 0) cacheSpin_.SetRange32(1, static_cast<int>(settings_.cacheMaximum));
}

void CPropPageConfigCSPSecurity::EnableControls() {
    const SecurityRights rights = ReadSecurityRights(settings_);
    const SecurityEnabled enabled = EnabledControls(settings_, rights);
    const std::pair<UINT, bool> controls[] = {{IDC_SECURITY_CSP, enabled.provider},
                                              {IDC_SECURITY_MODE_SERVICE, enabled.serviceMode},
                                              {IDC_SECURITY_MODE_MEMORY, enabled.memoryMode},
                                              {IDC_SECURITY_CACHING, enabled.caching},
                                              {IDC_SECURITY_CACHE_SIZE, enabled.cacheSize},
                                              {IDC_SECURITY_CACHE_SIZE_SPIN, enabled.cacheSize},
                                              {IDC_SECURITY_DIFFIE_HELLMAN, enabled.diffieHellman}};
    for (const auto& [id, enable] : controls) EnableControl(id, enable);
    const UINT reason = rights.mayWriteProvider ? 0 : IDS_WHY_RIGHTS;
    const bool noService = rights.protectionClass == kClassKc1 && !rights.keyServiceInstalled;
    ExplainDisabled({IDC_SECURITY_CSP, IDC_SECURITY_CSP_LABEL, IDC_SECURITY_MODE_MEMORY}, reason);
    ExplainDisabled({IDC_SECURITY_MODE_SERVICE}, noService ? IDS_WHY_SERVICE : reason);
    ::ShowWindow(GetDlgItem(IDC_SECURITY_DIFFIE_HELLMAN), settings_.diffieHellmanShown ? SW_SHOW : SW_HIDE);
    PlaceModeTabStop();
}

// Checking a radio button makes it the tab stop of its group. If it is disabled, the other one becomes the tab stop. A
// radio button clicks itself when it receives the focus; this is prevented, since the Tab key would change the mode.
void CPropPageConfigCSPSecurity::PlaceModeTabStop() {
    const HWND service = GetDlgItem(IDC_SECURITY_MODE_SERVICE), memory = GetDlgItem(IDC_SECURITY_MODE_MEMORY);
    for (const auto& [radio, other] : {std::pair{service, memory}, {memory, service}}) {
        const bool instead = ::IsWindowEnabled(radio) && !::IsWindowEnabled(other);
        const bool chosen = ::SendMessageW(radio, BM_GETCHECK, 0, 0) == BST_CHECKED;
        const bool stop = instead || (chosen && (::IsWindowEnabled(radio) || !::IsWindowEnabled(other)));
        const LONG_PTR style = GetWindowLongPtrW(radio, GWL_STYLE) & ~LONG_PTR{WS_TABSTOP};
        SetWindowLongPtrW(radio, GWL_STYLE, stop ? style | WS_TABSTOP : style);
        ::SendMessageW(radio, BM_SETDONTCLICK, instead && !chosen, 0);
    }
}

void CPropPageConfigCSPSecurity::ShowValues() {
    const FlagScope change = OwnChange();
    UpdateData(false);
}

void CPropPageConfigCSPSecurity::OnControlChanged() {
    if (ChangesItself()) return;
    const bool noSize = !UpdateData(true) || settings_.cacheSize.shown == 0;
    if (noSize) settings_.cacheSize.shown = 1;
    // Only the keys storage service has a cache.
    const bool noCache = settings_.mode.shown != ProviderMode::Service && settings_.caching.shown;
    if (noCache) settings_.caching.shown = false;
    if (noSize || noCache) ShowValues();
    const HWND size = GetDlgItem(IDC_SECURITY_CACHE_SIZE);
    if (noSize && GetFocus() == size) ::SendMessageW(size, EM_SETSEL, 0, -1);  // the next digit typed replaces it
    EnableControls();
    CPropPageConfigBase::OnControlChanged();
}

// The provider's values are read again, but the controls keep what the user has set. The button is checked here because
// the system does not check a disabled one.
void CPropPageConfigCSPSecurity::OnModeClicked(const Message& message) {
    CheckRadioButton(m_hWnd, IDC_SECURITY_MODE_SERVICE, IDC_SECURITY_MODE_MEMORY, LOWORD(message.wParam));
    settings_.ReadCache();
    ShowCacheRange();
    settings_.ReadDiffieHellman();
    OnControlChanged();
}

void CPropPageConfigCSPSecurity::OnProviderSelected() {
    UpdateData(true);
    OpenProvider();
    ShowValues();
    OnControlChanged();
}

void CPropPageConfigCSPSecurity::OnCacheSizeLeft() {
    UINT& size = settings_.cacheSize.shown;
    if (!UpdateData(true)) size = 0;
    size = AllowedCacheSize(size, settings_.cacheMaximum);
    ShowValues();
    OnControlChanged();
}

bool CPropPageConfigCSPSecurity::IsPageModified() {
    return FindChanges(settings_).Any();
}

SaveResult CPropPageConfigCSPSecurity::SavePage() {
    const bool saved = WriteSecurity(settings_, *this);
    ShowValues();  // the cache size may have been corrected
    return saved ? SaveResult::Saved : SaveResult::Failed;
}

std::optional<bool> CPropPageConfigCSPSecurity::OfferRestart() {
    if (MessageBoxId(IDS_REBOOT_QUESTION, MB_YESNO | MB_ICONEXCLAMATION) != IDYES) return {};
    return RebootSystem();
}
