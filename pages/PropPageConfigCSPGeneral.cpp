#include "pages/PropPageConfigCSPGeneral.h"

#include <algorithm>

#include "applet/services/MessageBoxes.h"
#include "applet/services/StaticLink.h"
#include "applet/services/Strings.h"
#include "csp/Providers.h"
#include "framework/DataExchange.h"
#include "framework/Module.h"
#include "framework/PropertySheet.h"
#include "resources/resource.h"

namespace {

// The installer components that the management console may belong to.
constexpr const wchar_t* kConsoleComponents[] = {L"{2A6F8D13-E947-4B20-A5C8-91D3F07E46B2}",
                                                 L"{E7C05B94-1D38-4A6E-8F27-C4B9A20D5318}"};

struct LanguageChoice {
    UINT name;  // string id
    int language;
};

// In the order of the combo boxes' items.
constexpr LanguageChoice kUserLanguages[] = {{IDS_LANGUAGE_DEFAULT, LanguageSettings::kSystemDefault},
                                             {IDS_LANGUAGE_RUSSIAN, kRussian},
                                             {IDS_LANGUAGE_ENGLISH, kEnglish}};
constexpr LanguageChoice kMachineLanguages[] = {{IDS_LANGUAGE_RUSSIAN, kRussian}, {IDS_LANGUAGE_ENGLISH, kEnglish}};

void ExchangeLanguage(CDataExchange* exchange, UINT box, std::span<const LanguageChoice> choices, int& language) {
    const auto found = std::find_if(choices.begin(), choices.end(),
                                    [&](const LanguageChoice& choice) { return choice.language == language; });
    auto position = static_cast<int>(found - choices.begin());
    DDX_CBIndex(exchange, box, position);
    if (position >= 0) language = choices[static_cast<size_t>(position)].language;
}

void AddChoices(CComboBox& box, std::span<const LanguageChoice> choices) {
    for (const LanguageChoice& choice : choices) box.AddString(LoadStringLang(choice.name));
}

UniqueIcon SmallShield() {
    constexpr int kSize = 16;
    constexpr WORD kShieldId = 106;  // in user32.dll; older systems lack it
    HANDLE icon = LoadImageW(GetModuleHandleW(L"user32.dll"), MAKEINTRESOURCEW(kShieldId), IMAGE_ICON, kSize, kSize,
                             LR_DEFAULTCOLOR);
    if (!icon) icon = CopyImage(LoadIconW(nullptr, IDI_SHIELD), IMAGE_ICON, kSize, kSize, LR_COPYFROMRESOURCE);
    return UniqueIcon(static_cast<HICON>(icon));
}

}  // namespace

CPropPageConfigCSPGeneral::CPropPageConfigCSPGeneral() : CPropPageConfigBase(IDD_GENERAL) {}

std::span<const Route> CPropPageConfigCSPGeneral::Routes() const {
    static constexpr Route table[] = {
        on<&CPropPageConfigCSPGeneral::OnLanguageSelected>(IDC_GENERAL_USER_LANGUAGE, CBN_SELCHANGE),
        on<&CPropPageConfigCSPGeneral::OnLanguageSelected>(IDC_GENERAL_MACHINE_LANGUAGE, CBN_SELCHANGE),
    };
    return table;
}

void CPropPageConfigCSPGeneral::DoDataExchange(CDataExchange* exchange) {
    DDX_Control(exchange, IDC_GENERAL_USER_LANGUAGE, userLanguages_);
    DDX_Control(exchange, IDC_GENERAL_MACHINE_LANGUAGE, machineLanguages_);
    DDX_Control(exchange, IDC_GENERAL_NOTICE, noticeLink_);
    DDX_Control(exchange, IDC_GENERAL_PRODUCT_NAME, productLink_);
    DDX_Control(exchange, IDC_GENERAL_RUN_AS_ADMIN, administratorLink_);
    DDX_Control(exchange, IDC_GENERAL_PKI_CONSOLE, consoleLink_);
    DDX_Control(exchange, IDC_GENERAL_SHIELD, shield_);
    DDX_Text(exchange, IDC_GENERAL_CORE_VERSION, coreVersion_);
    DDX_Text(exchange, IDC_GENERAL_PRODUCT_VERSION, productVersion_);
    DDX_Text(exchange, IDC_GENERAL_NOTICE, notice_);
    DDX_Text(exchange, IDC_GENERAL_PRODUCT_NAME, productName_);
    ExchangeLanguage(exchange, IDC_GENERAL_USER_LANGUAGE, kUserLanguages, languages_.user.shown);
    ExchangeLanguage(exchange, IDC_GENERAL_MACHINE_LANGUAGE, kMachineLanguages, languages_.machine.shown);
}

bool CPropPageConfigCSPGeneral::OnInitDialog() {
    KeepTemplateTexts();
    CPropPageConfigBase::OnInitDialog();
    ShowLanguages();
    administratorLink_.SetLinkHandler(this);
    consoleLink_.SetLinkHandler(this);
    OfferAdministration();
    UpdateData(false);
    FitLinks();
    return true;
}

// Loading the installer's library and the provider takes noticeable time, so the page is painted first, without texts.
void CPropPageConfigCSPGeneral::OnFirstShown() {
    if (IsDefaultProviderIntercepted()) MessageBoxId(IDS_PROVIDER_INTERCEPTED, MB_ICONERROR);
    if (!m_hWnd) return;  // the sheet ended while the message was open
    ShowProduct();
    UpdateData(false);
    FitLinks();
    for (CStaticLink* link : Links()) link->AnnounceAsLink();
}

std::array<CStaticLink*, 4> CPropPageConfigCSPGeneral::Links() noexcept {
    return {&productLink_, &noticeLink_, &consoleLink_, &administratorLink_};
}

void CPropPageConfigCSPGeneral::FitLinks() {
    for (CStaticLink* link : Links()) link->FitToText();
}

// The texts of the template remain where the installer or the version resource has none.
void CPropPageConfigCSPGeneral::KeepTemplateTexts() {
    notice_ = WindowText(GetDlgItem(IDC_GENERAL_NOTICE));
    productName_ = WindowText(GetDlgItem(IDC_GENERAL_PRODUCT_NAME));
}

void CPropPageConfigCSPGeneral::ShowProduct() {
    const InstalledProduct product;
    coreVersion_ = CoreVersionText(product.ProviderName());
    productVersion_ = product.Property(L"VersionString");
    if (std::wstring name = product.Property(L"InstalledProductName"); !name.empty()) productName_ = std::move(name);
    LoadVersionString(L"LegalCopyright", notice_);
    SetLinkTargets(product);
}

void CPropPageConfigCSPGeneral::SetLinkTargets(const InstalledProduct& product) {
    noticeLink_.SetTarget(product.Property(L"URLInfoAbout"));
    productLink_.SetTarget(product.Property(L"URLUpdateInfo"));
    if (!tips_.Create(*this)) return;
    for (const CStaticLink* link : {&noticeLink_, &productLink_}) {
        if (!link->Target().empty()) tips_.AddTool(link->m_hWnd, link->Target());
    }
}

void CPropPageConfigCSPGeneral::ShowLanguages() {
    languages_.Read();
    AddChoices(userLanguages_, kUserLanguages);
    AddChoices(machineLanguages_, kMachineLanguages);
    EnableControl(IDC_GENERAL_MACHINE_LANGUAGE, languages_.mayWriteMachine);
    EnableControl(IDC_GENERAL_USER_LANGUAGE, languages_.mayWriteUser);
    if (!languages_.mayWriteMachine) ExplainDisabled({IDC_GENERAL_MACHINE_LANGUAGE}, IDS_WHY_RIGHTS);
    if (!languages_.mayWriteUser) ExplainDisabled({IDC_GENERAL_USER_LANGUAGE}, IDS_WHY_RIGHTS);
}

void CPropPageConfigCSPGeneral::OfferAdministration() {
    if (languages_.mayWriteMachine) return;
    shieldIcon_ = SmallShield();
    shield_.SetIcon(shieldIcon_.get());
    shield_.ShowWindow(SW_SHOW);
    administratorLink_.ShowWindow(SW_SHOW);
}

bool CPropPageConfigCSPGeneral::OnSetActive() {
    if (!firstActivation_) {
        UpdateData(false);
        return true;
    }
    firstActivation_ = false;
    // The sheet ignores a modified mark set before the first activation.
    if (languages_.storedInvalid) OnControlChanged();
    return true;
}

void CPropPageConfigCSPGeneral::OnLanguageSelected() {
    UpdateData(true);
    OnControlChanged();
}

bool CPropPageConfigCSPGeneral::IsPageModified() {
    return languages_.Changed();
}

// The user's own language decides what is shown: once it is written the sheet is rebuilt, even if the machine's
// language could not be written.
SaveResult CPropPageConfigCSPGeneral::SavePage() {
    if (!IsPageModified()) return SaveResult::Saved;
    SaveResult result = SaveResult::Saved;
    if (languages_.mayWriteMachine) {
        result = languages_.WriteMachine() ? SaveResult::SavedRebuild : SaveResult::Failed;
    }
    if (!languages_.mayWriteUser) return result;
    return languages_.WriteUser() ? SaveResult::SavedRebuild : SaveResult::Failed;
}

void CPropPageConfigCSPGeneral::OnLinkClicked(HWND link) {
    if (link == administratorLink_.m_hWnd) RunAsAdministrator();
    if (link == consoleLink_.m_hWnd) OpenConsole();
}

void CPropPageConfigCSPGeneral::RunAsAdministrator() {
    const std::wstring self = Module::FileName();
    if (!self.empty() && OpenWithShell(m_hWnd, L"runas", self, SW_SHOW)) {
        GetParentSheet()->PressButton(PSBTN_CANCEL);
    } else {
        MessageBoxId(IDS_RUN_AS_ADMIN_FAILED, MB_ICONERROR);
    }
}

void CPropPageConfigCSPGeneral::OpenConsole() {
    const InstalledProduct product;
    std::wstring console;
    for (const wchar_t* component : kConsoleComponents) {
        if (console.empty()) console = product.ComponentFile(component);
    }
    if (console.empty() || !OpenWithShell(m_hWnd, L"open", console, SW_SHOW))
        MessageBoxId(IDS_PKI_CONSOLE_FAILED, MB_ICONERROR);
}
