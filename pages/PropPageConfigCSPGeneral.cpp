#include "pages/PropPageConfigCSPGeneral.h"

#include <algorithm>

#include "applet/services/Language.h"
#include "applet/services/MessageBoxes.h"
#include "applet/services/StaticLink.h"
#include "applet/services/Strings.h"
#include "applet/services/SupportLibrary.h"
#include "csp/ProductProviders.h"
#include "framework/DataExchange.h"
#include "framework/Module.h"
#include "framework/PropertySheet.h"
#include "resources/resource.h"

namespace {

constexpr wchar_t kConfigSection[] = L"\\config";
constexpr wchar_t kLocalSection[] = L"\\local";
constexpr wchar_t kConfigLanguage[] = L"\\config\\Language";
constexpr wchar_t kLocalLanguage[] = L"\\local\\Language";

// The management console, by the two installer components that may have brought it.
constexpr const wchar_t* kConsoleComponents[] = {L"{2A6F8D13-E947-4B20-A5C8-91D3F07E46B2}",
                                                 L"{E7C05B94-1D38-4A6E-8F27-C4B9A20D5318}"};

struct Choice {
    UINT name;      // string id
    LONG language;  // as it is stored; 0: not stored, the system's default
};

// In the order of the combo boxes' items.
constexpr Choice kUserLanguages[] = {
    {IDS_LANGUAGE_DEFAULT, 0}, {IDS_LANGUAGE_RUSSIAN, kRussian}, {IDS_LANGUAGE_ENGLISH, kEnglish}};
constexpr Choice kMachineLanguages[] = {{IDS_LANGUAGE_RUSSIAN, kRussian}, {IDS_LANGUAGE_ENGLISH, kEnglish}};
constexpr int kMachineEnglish = 1;

// The choice that stands for a stored language, or `otherwise`.
int FindChoice(std::span<const Choice> choices, LONG language, int otherwise) {
    const auto found =
        std::find_if(choices.begin(), choices.end(), [&](const Choice& choice) { return choice.language == language; });
    return language != 0 && found != choices.end() ? static_cast<int>(found - choices.begin()) : otherwise;
}

bool Differs(std::span<const Choice> choices, int chosen, LONG stored) {
    return chosen >= 0 && choices[static_cast<size_t>(chosen)].language != stored;
}

void Fill(CComboBox& box, std::span<const Choice> choices) {
    for (const Choice& choice : choices) box.AddString(LoadStringLang(choice.name));
}

UniqueIcon SmallShield() {
    constexpr int kSize = 16;
    constexpr WORD kShieldId = 106;  // where user32 keeps it; not on every system
    const auto load = [](HMODULE module, LPCWSTR id, UINT flags) {
        return static_cast<HICON>(LoadImageW(module, id, IMAGE_ICON, kSize, kSize, flags));
    };
    UniqueIcon icon(load(GetModuleHandleW(L"user32.dll"), MAKEINTRESOURCEW(kShieldId), LR_DEFAULTCOLOR));
    if (icon) return icon;
    const HICON shared = load(nullptr, reinterpret_cast<LPCWSTR>(IDI_SHIELD), LR_SHARED);
    icon.reset(shared ? CopyIcon(shared) : nullptr);
    return icon;
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
    DDX_CBIndex(exchange, IDC_GENERAL_USER_LANGUAGE, userChoice_);
    DDX_CBIndex(exchange, IDC_GENERAL_MACHINE_LANGUAGE, machineChoice_);
}

bool CPropPageConfigCSPGeneral::OnInitDialog() {
    TakeTemplateTexts();
    CPropPageConfigBase::OnInitDialog();
    LoadLanguages();
    administratorLink_.SetLinkHandler(this);
    consoleLink_.SetLinkHandler(this);
    OfferAdministration();
    machineLanguages_.EnableWindow(mayWriteConfig_);
    userLanguages_.EnableWindow(mayWriteLocal_);
    if (!mayWriteConfig_) ExplainDisabled({IDC_GENERAL_MACHINE_LANGUAGE}, IDS_WHY_RIGHTS);
    if (!mayWriteLocal_) ExplainDisabled({IDC_GENERAL_USER_LANGUAGE}, IDS_WHY_RIGHTS);
    UpdateData(false);
    FitLinks();
    return true;
}

// Loading the installer's library and the provider takes noticeable time. The page is painted before it, without texts.
void CPropPageConfigCSPGeneral::OnFirstShown() {
    WarnOfInterception();
    if (!m_hWnd) return;
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

// What can't be read stays as the template has it.
void CPropPageConfigCSPGeneral::TakeTemplateTexts() {
    notice_ = WindowText(GetDlgItem(IDC_GENERAL_NOTICE));
    productName_ = WindowText(GetDlgItem(IDC_GENERAL_PRODUCT_NAME));
}

void CPropPageConfigCSPGeneral::WarnOfInterception() {
    if (IsDefaultProviderIntercepted()) MessageBoxId(IDS_PROVIDER_INTERCEPTED, MB_ICONERROR);
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

void CPropPageConfigCSPGeneral::LoadLanguages() {
    Fill(userLanguages_, kUserLanguages);
    Fill(machineLanguages_, kMachineLanguages);
    mayWriteConfig_ = MayWrite(kConfigSection);
    mayWriteLocal_ = MayWrite(kLocalSection);

    LONG language = 0;
    machineChoice_ = kMachineEnglish;
    const int machine =
        support_registry_get_long(kConfigLanguage, &language) == 0 ? FindChoice(kMachineLanguages, language, -1) : -1;
    if (machine >= 0) {
        machineChoice_ = machine;
        storedMachine_ = language;
    } else {
        // What the user can't change must not count as a change: the page would stay modified, and each save would
        // build the sheet anew.
        storedMachine_ = mayWriteConfig_ ? 0 : kMachineLanguages[machineChoice_].language;
        forceModified_ = mayWriteConfig_;
    }

    userChoice_ = 0;
    storedUser_ = 0;
    if (support_registry_get_long(kLocalLanguage, &language) != 0) return;
    userChoice_ = FindChoice(kUserLanguages, language, 0);
    const bool invalid = userChoice_ == 0;
    storedUser_ = !invalid ? language : mayWriteLocal_ ? -1 : 0;
    if (invalid) forceModified_ = true;
}

void CPropPageConfigCSPGeneral::OfferAdministration() {
    if (mayWriteConfig_) return;
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
    if (forceModified_) OnControlChanged();
    forceModified_ = false;
    return true;
}

void CPropPageConfigCSPGeneral::OnLanguageSelected() {
    UpdateData(true);
    OnControlChanged();
}

bool CPropPageConfigCSPGeneral::IsPageModified() {
    return Differs(kMachineLanguages, machineChoice_, storedMachine_) ||
           Differs(kUserLanguages, userChoice_, storedUser_);
}

SaveResult CPropPageConfigCSPGeneral::SavePage() {
    if (!IsPageModified()) return SaveResult::Saved;
    SaveResult result = SaveResult::Saved;
    if (mayWriteConfig_) {
        const LONG language = machineChoice_ > 0 ? kEnglish : kRussian;
        if (support_registry_put_long(kConfigLanguage, language) == 0) {
            storedMachine_ = language;
            result = SaveResult::SavedRebuild;
        } else {
            result = SaveResult::Failed;
        }
    }
    if (!mayWriteLocal_) return result;
    // The user's own language decides what is shown: once it is written the sheet is built anew, even if the machine's
    // could not be written.
    return SaveUserLanguage() ? SaveResult::SavedRebuild : SaveResult::Failed;
}

bool CPropPageConfigCSPGeneral::SaveUserLanguage() {
    const LONG language = userChoice_ > 0 ? kUserLanguages[userChoice_].language : 0;
    if (language == 0) {
        support_registry_delete_param(kLocalLanguage);  // there may have been none
    } else if (support_registry_put_long(kLocalLanguage, language) != 0) {
        return false;
    }
    storedUser_ = language;
    return true;
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
