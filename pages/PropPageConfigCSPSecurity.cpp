#include "pages/PropPageConfigCSPSecurity.h"

#include <commctrl.h>

#include <utility>

#include "applet/services/MessageBoxes.h"
#include "applet/services/Strings.h"
#include "applet/services/SupportLibrary.h"
#include "csp/ProductProviders.h"
#include "framework/DataExchange.h"
#include "framework/Handles.h"
#include "framework/Wnd.h"
#include "resources/resource.h"
#include "settings/SecuritySettings.h"

namespace {

constexpr wchar_t kProviderSection[] = L"\\config\\Provider";
constexpr wchar_t kParametersSection[] = L"\\config\\Parameters";
constexpr wchar_t kDisableShortcuts[] = L"\\config\\Parameters\\DisableShortcuts";

constexpr wchar_t kKeyService[] = L"kvcsp1";
constexpr DWORD kManagerAccess = 0x20015;  // STANDARD_RIGHTS_READ, connect, enumerate, query the lock

// Fewer than the largest cache has digits: such a size is reached with the arrows.
constexpr int kMostSizeCharacters = 3;

constexpr UINT kCacheSizeControls[] = {IDC_SECURITY_CACHE_SIZE_LABEL, IDC_SECURITY_CACHE_SIZE,
                                       IDC_SECURITY_CACHE_SIZE_SPIN};

bool IsKeyServiceInstalled() noexcept {
    const UniqueService manager(OpenSCManagerW(nullptr, nullptr, kManagerAccess));
    return manager && UniqueService(OpenServiceW(manager.get(), kKeyService, SERVICE_QUERY_STATUS));
}

bool SetParameter(HCRYPTPROV provider, DWORD parameter, DWORD value) noexcept {
    return CryptSetProvParam(provider, parameter, reinterpret_cast<const BYTE*>(&value), 0) != FALSE;
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
    SecurityValues& now = state_.now;
    DDX_Control(exchange, IDC_SECURITY_CSP, providers_);
    DDX_Control(exchange, IDC_SECURITY_TYPE75, defaults75_);
    DDX_Control(exchange, IDC_SECURITY_TYPE71, defaults71_);
    DDX_Check(exchange, IDC_SECURITY_CACHING, now.caching);
    DDX_Check(exchange, IDC_SECURITY_DIFFIE_HELLMAN, now.diffieHellman);
    DDX_Check(exchange, IDC_SECURITY_SAVE_MEDIA, now.saveMedia);
    DDX_CBIndex(exchange, IDC_SECURITY_TYPE71, now.type71);
    DDX_CBIndex(exchange, IDC_SECURITY_TYPE75, now.type75);
    DDX_CBIndex(exchange, IDC_SECURITY_CSP, provider_);
    DDX_Radio(exchange, IDC_SECURITY_MODE_SERVICE, now.mode);
    // At the end, since it may fail. Without a message: what is no number is corrected at once, and typing another size
    // passes through an empty text.
    if (!exchange->m_bSaveAndValidate) {
        DDX_Text(exchange, IDC_SECURITY_CACHE_SIZE, now.cacheSize);
    } else if (const auto size = CacheSizeIn(WindowText(GetDlgItem(IDC_SECURITY_CACHE_SIZE)))) {
        now.cacheSize = *size;
    } else {
        throw CDataExchange::Failed{};
    }
}

bool CPropPageConfigCSPSecurity::OnInitDialog() {
    {
        const Raised showing(showing_);
        CPropPageConfigBase::OnInitDialog();
        Start();
    }
    OnControlChanged();
    return true;
}

// The sheet takes no mark from a page that is still being made, and what the page shows first may differ already.
bool CPropPageConfigCSPSecurity::OnSetActive() {
    CPropPageConfigBase::OnSetActive();
    PlaceModeTabStop();
    SetModified(IsPageModified());
    return true;
}

void CPropPageConfigCSPSecurity::Start() {
    const HWND size = GetDlgItem(IDC_SECURITY_CACHE_SIZE), arrows = GetDlgItem(IDC_SECURITY_CACHE_SIZE_SPIN);
    ::SendMessageW(arrows, UDM_SETBUDDY, reinterpret_cast<WPARAM>(size), 0);
    ::SendMessageW(arrows, UDM_SETPOS32, 0, static_cast<LPARAM>(state_.now.cacheSize));
    ::SendMessageW(size, EM_LIMITTEXT, kMostSizeCharacters, 0);
    FillProviders();
    LoadSaveMedia();
    LoadDefaults();
    ShowValues();
}

void CPropPageConfigCSPSecurity::FillProviders() {
    ProductProviders providers{.ownDirectoryOnly = true};
    Provider provider;
    while (EnumProductProviders(providers, provider.name, provider.type)) {
        providers_.SetItemData(providers_.AddString(provider.name), static_cast<LPARAM>(provider.type));
    }
    if (providers_.GetCount() <= 0) return;
    provider_ = 0;
    OpenProvider();
}

void CPropPageConfigCSPSecurity::LoadSaveMedia() {
    BOOL disabled = FALSE;
    support_registry_get_bool(kDisableShortcuts, &disabled);
    state_.now.saveMedia = state_.saved.saveMedia = disabled ? BST_UNCHECKED : BST_CHECKED;
    if (MayWrite(kParametersSection)) return;
    ::EnableWindow(GetDlgItem(IDC_SECURITY_SAVE_MEDIA), FALSE);
    ExplainDisabled({IDC_SECURITY_SAVE_MEDIA}, IDS_WHY_RIGHTS);
}

void CPropPageConfigCSPSecurity::LoadDefaults() {
    for (const auto& [type, label] :
         {std::pair{kProviderType75, IDC_SECURITY_TYPE75_LABEL}, {kProviderType71, IDC_SECURITY_TYPE71_LABEL}}) {
        const std::wstring name = ProviderTypeName(type);
        if (!name.empty()) ::SetWindowTextW(GetDlgItem(label), (name + L":").c_str());
    }
    std::vector<Provider> installed;
    Provider provider;
    for (DWORD i = 0; InstalledProvider(i, provider.name, provider.type); ++i) installed.push_back(provider);
    state_.now.type75 = state_.saved.type75 = FillDefaults(defaults75_, kProviderType75, installed);
    state_.now.type71 = state_.saved.type71 = FillDefaults(defaults71_, kProviderType71, installed);
    if (state_.now.type71 != 0) return;
    // The older type is of interest only to those who have a default provider of it.
    defaults71_.ShowWindow(SW_HIDE);
    ::ShowWindow(GetDlgItem(IDC_SECURITY_TYPE71_LABEL), SW_HIDE);
}

// The position of the type's default provider.
int CPropPageConfigCSPSecurity::FillDefaults(CComboBox& box, DWORD type, const std::vector<Provider>& installed) {
    const std::wstring defaultName = DefaultProviderName(type);
    box.AddString(LoadStringLang(IDS_PROVIDER_ABSENT));
    int selected = 0, last = 0;
    for (const Provider& provider : installed) {
        if (provider.type != type) continue;
        box.AddString(provider.name);
        ++last;
        if (provider.name == defaultName) selected = last;
    }
    const bool mayWrite = MayWriteDefaultProvider(type);
    if (last == 0 || !mayWrite) box.EnableWindow(false);
    if (!mayWrite) ExplainDisabled({static_cast<UINT>(GetDlgCtrlID(box.m_hWnd))}, IDS_WHY_RIGHTS);
    return selected;
}

// The provider selected in the list, and what it says of itself.
void CPropPageConfigCSPSecurity::OpenProvider() {
    const std::wstring name = providers_.GetLBText(provider_);
    const auto type = static_cast<DWORD>(providers_.GetItemData(provider_));
    static_cast<void>(context_.Acquire(kContextForSettings, nullptr, name.c_str(), type));  // empty after a failure
    TakeMode(state_, ReadProviderMode(name));
    ReadCache();
    ReadDiffieHellman();
}

void CPropPageConfigCSPSecurity::ReadCache() {
    std::optional<CacheRecord> record;
    if (context_) {
        if (const auto read = ReadParameter<CacheRecord>(context_.Get(), kParameterCache)) record = *read;
    }
    TakeCache(state_, record);
    if (state_.cacheMaximum == 0) return;
    ::SendMessageW(GetDlgItem(IDC_SECURITY_CACHE_SIZE_SPIN), UDM_SETRANGE32, 1,
                   static_cast<LPARAM>(state_.cacheMaximum));
}

void CPropPageConfigCSPSecurity::ReadDiffieHellman() {
    std::optional<DiffieHellmanRecord> record;
    DWORD error = ERROR_SUCCESS;
    if (context_) {
        const auto read = ReadParameter<DiffieHellmanRecord>(context_.Get(), kParameterDiffieHellman);
        if (read) {
            record = *read;
        } else {
            error = read.Failed().code;
        }
    }
    TakeDiffieHellman(state_, record, error);
}

// What is already decided is not asked for.
SecurityRights CPropPageConfigCSPSecurity::ReadRights() const {
    SecurityRights rights;
    rights.mayWriteProvider = MayWrite(kProviderSection);
    if (!rights.mayWriteProvider || state_.now.mode == kModeUnknown || !context_) return rights;
    rights.protectionClass = ReadParameter<DWORD>(context_.Get(), kParameterProtectionClass).ValueOr(0);
    rights.keyServiceInstalled = rights.protectionClass == kClassKc1 && IsKeyServiceInstalled();
    return rights;
}

void CPropPageConfigCSPSecurity::EnableControls() {
    const SecurityRights rights = ReadRights();
    const SecurityEnabled enabled = WhatIsEnabled(state_, rights);
    const std::pair<UINT, bool> controls[] = {{IDC_SECURITY_CSP, enabled.provider},
                                              {IDC_SECURITY_MODE_SERVICE, enabled.serviceMode},
                                              {IDC_SECURITY_MODE_MEMORY, enabled.memoryMode},
                                              {IDC_SECURITY_CACHING, enabled.caching},
                                              {IDC_SECURITY_DIFFIE_HELLMAN, enabled.diffieHellman}};
    for (const auto& [id, enable] : controls) EnableWithLabel(GetDlgItem(id), enable);
    for (const UINT id : kCacheSizeControls) ::EnableWindow(GetDlgItem(id), enabled.cacheSize);
    const UINT reason = rights.mayWriteProvider ? 0 : IDS_WHY_RIGHTS;
    const bool noService = rights.protectionClass == kClassKc1 && !rights.keyServiceInstalled;
    ExplainDisabled({IDC_SECURITY_CSP, IDC_SECURITY_CSP_LABEL, IDC_SECURITY_MODE_MEMORY}, reason);
    ExplainDisabled({IDC_SECURITY_MODE_SERVICE}, noService ? IDS_WHY_SERVICE : reason);
    ::ShowWindow(GetDlgItem(IDC_SECURITY_DIFFIE_HELLMAN), state_.diffieHellmanShown ? SW_SHOW : SW_HIDE);
    PlaceModeTabStop();
}

// Checking a radio button makes it the tab stop of its group. When it is disabled, the other one is the tab stop, and
// must not be clicked by getting the focus alone, or passing it would change the mode.
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
    const Raised showing(showing_);
    UpdateData(false);
}

void CPropPageConfigCSPSecurity::OnControlChanged() {
    if (showing_) return;
    SecurityValues& now = state_.now;
    const bool noSize = !UpdateData(true) || now.cacheSize == 0;
    if (noSize) now.cacheSize = 1;
    const bool noCache = now.mode != kModeService && now.caching != BST_UNCHECKED;  // only the service has one
    if (noCache) now.caching = BST_UNCHECKED;
    if (noSize || noCache) ShowValues();
    const HWND size = GetDlgItem(IDC_SECURITY_CACHE_SIZE);
    if (noSize && GetFocus() == size) ::SendMessageW(size, EM_SETSEL, 0, -1);  // the next digit takes its place
    EnableControls();
    CPropPageConfigBase::OnControlChanged();
}

// The provider is asked anew, for what is stored now; the marks stay as the user has set them. The system doesn't take
// the mark of a button that is disabled.
void CPropPageConfigCSPSecurity::OnModeClicked(const Message& message) {
    CheckRadioButton(m_hWnd, IDC_SECURITY_MODE_SERVICE, IDC_SECURITY_MODE_MEMORY, LOWORD(message.wParam));
    ReadCache();
    ReadDiffieHellman();
    OnControlChanged();
}

void CPropPageConfigCSPSecurity::OnProviderSelected() {
    UpdateData(true);
    OpenProvider();
    ShowValues();
    OnControlChanged();
}

void CPropPageConfigCSPSecurity::OnCacheSizeLeft() {
    if (!UpdateData(true)) state_.now.cacheSize = 0;
    state_.now.cacheSize = AllowedCacheSize(state_.now.cacheSize, state_.cacheMaximum);
    ShowValues();
    OnControlChanged();
}

bool CPropPageConfigCSPSecurity::IsPageModified() {
    return initialised_ && WhatChanged(state_).Any();
}

SaveResult CPropPageConfigCSPSecurity::SavePage() {
    const bool saved = SaveSecurity(state_, *this);
    ShowValues();  // the cache size may have been corrected
    return saved ? SaveResult::Saved : SaveResult::Failed;
}

bool CPropPageConfigCSPSecurity::SetCache(DWORD size) {
    return SetParameter(context_.Get(), kParameterCache, size);
}

bool CPropPageConfigCSPSecurity::SetDiffieHellman(DiffieHellmanControl control) {
    return SetParameter(context_.Get(), kParameterDiffieHellman, control);
}

bool CPropPageConfigCSPSecurity::WriteDefault(DWORD providerType, int selection) {
    const CComboBox& box = providerType == kProviderType75 ? defaults75_ : defaults71_;
    return WriteDefaultProvider(providerType, selection > 0 ? box.GetLBText(selection) : std::wstring()) == 0;
}

LONG CPropPageConfigCSPSecurity::WriteMode(int mode) {
    return WriteProviderMode(providers_.GetLBText(provider_), mode);
}

std::optional<bool> CPropPageConfigCSPSecurity::OfferRestart() {
    if (MessageBoxId(IDS_REBOOT_QUESTION, MB_YESNO | MB_ICONEXCLAMATION) != IDYES) return {};
    return RebootSystem();
}

bool CPropPageConfigCSPSecurity::WriteSaveMedia(bool save) {
    return support_registry_put_bool(kDisableShortcuts, !save) == 0;
}
