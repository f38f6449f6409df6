#include "pages/PropPageConfigTLS.h"

#include "applet/services/MessageBoxes.h"
#include "applet/services/SupportLibrary.h"
#include "framework/Controls.h"
#include "framework/DataExchange.h"
#include "framework/Wnd.h"
#include "resources/resource.h"
#include "settings/CngRegistration.h"

namespace {

constexpr wchar_t kSection[] = L"\\config\\Parameters";

struct Switch {
    const wchar_t* name;
    UINT box;
    bool needsOcsp = false;  // of no use without the OCSP module
    bool ofCng = false;      // the CNG module registers itself accordingly
};

// In the order in which they are read, compared and written. Only the client's cipher suites are the CNG module's: the
// server's switch registers nothing.
constexpr Switch kSwitches[] = {
    {.name = L"tls_client_use_ocsp_extensions", .box = IDC_TLS_CLIENT_OCSP, .needsOcsp = true},
    {.name = L"tls_client_disable_revocation_check", .box = IDC_TLS_CLIENT_NO_REVOCATION},
    {.name = L"tls_client_disable_self_certificate_usage_validation", .box = IDC_TLS_CLIENT_NO_EKU},
    {.name = L"tls_client_disable_legacy_cipher_suites", .box = IDC_TLS_CLIENT_NO_LEGACY, .ofCng = true},
    {.name = L"tls_server_use_ocsp_extensions", .box = IDC_TLS_SERVER_OCSP, .needsOcsp = true},
    {.name = L"tls_server_disable_revocation_check", .box = IDC_TLS_SERVER_NO_REVOCATION},
    {.name = L"tls_server_disable_self_certificate_usage_validation", .box = IDC_TLS_SERVER_NO_EKU},
    {.name = L"tls_server_disable_legacy_cipher_suites", .box = IDC_TLS_SERVER_NO_LEGACY},
    {.name = L"tls_server_use_renegotiation_info_extension", .box = IDC_TLS_SERVER_RENEGOTIATION},
    {.name = L"tls_server_require_renegotiation_info_extension", .box = IDC_TLS_SERVER_REQUIRE_RENEGOTIATION},
    {.name = L"tls_server_use_default_machine_credential", .box = IDC_TLS_SERVER_MACHINE_CREDENTIAL},
};

struct Limit {
    UINT edit, spin;
    const wchar_t* name;
    LONG missing;  // what holds while nothing is stored, or something out of range
    int least, most;
    UDACCEL steps[2];
};

constexpr Limit kLimits[] = {
    {.edit = IDC_TLS_SESSIONS,
     .spin = IDC_TLS_SESSIONS_SPIN,
     .name = L"tls_server_max_sessions",
     .missing = 64,
     .least = 0,
     .most = 65536,
     .steps = {{.nSec = 0, .nInc = 4}, {.nSec = 2, .nInc = 64}}},
    {.edit = IDC_TLS_CAS,
     .spin = IDC_TLS_CAS_SPIN,
     .name = L"tls_server_max_certificate_request_cas",
     .missing = 100,
     .least = 0,
     .most = 999,
     .steps = {{.nSec = 0, .nInc = 10}, {.nSec = 2, .nInc = 100}}},
};
constexpr WPARAM kMostCharacters = 5;

std::wstring PathOf(const wchar_t* name) {
    return std::wstring(kSection) + L'\\' + name;
}

bool IsOn(const Switch& setting) {
    return FindLong(PathOf(setting.name).c_str(), 0) != 0;
}

LONG StoredValueOf(const Limit& limit) {
    return FindLong(PathOf(limit.name).c_str(), limit.missing);
}

int ValueOf(const Limit& limit) {
    const LONG value = StoredValueOf(limit);
    return value >= limit.least && value <= limit.most ? value : limit.missing;
}

bool Write(const wchar_t* name, LONG value) {
    return support_registry_put_long(PathOf(name).c_str(), value) == 0;
}

bool IsChecked(HWND page, const Switch& setting) {
    return IsDlgButtonChecked(page, static_cast<int>(setting.box)) == BST_CHECKED;
}

}  // namespace

CPropPageConfigTLS::CPropPageConfigTLS() : CPropPageConfigBase(IDD_TLS) {}

std::span<const Route> CPropPageConfigTLS::Routes() const {
    static constexpr Route table[] = {
        on<&CPropPageConfigTLS::OnControlChanged>({IDC_TLS_FIRST_SWITCH, IDC_TLS_LAST_SWITCH}, BN_CLICKED),
        on<&CPropPageConfigTLS::OnControlChanged>(IDC_TLS_SESSIONS, EN_CHANGE),
        on<&CPropPageConfigTLS::OnControlChanged>(IDC_TLS_CAS, EN_CHANGE),
    };
    return table;
}

void CPropPageConfigTLS::DoDataExchange(CDataExchange* exchange) {
    static_assert(std::size(kLimits) == kLimitCount);
    for (size_t i = 0; i < kLimitCount; ++i) {
        DDX_Control(exchange, kLimits[i].spin, spins_[i]);
        int value = limits_[i];
        DDX_Text(exchange, kLimits[i].edit, value);
        DDV_MinMaxInt(exchange, value, kLimits[i].least, kLimits[i].most);
        limits_[i] = value;
    }
}

bool CPropPageConfigTLS::OnInitDialog() {
    {
        const Raised raised(ownChange_);
        CPropPageConfigBase::OnInitDialog();
        DisableWhatMayNotChange();
        SetUpLimits();
        ReadSettings();
    }
    OnControlChanged();
    return true;
}

void CPropPageConfigTLS::DisableWhatMayNotChange() {
    mayWrite_ = MayWrite(kSection);
    const bool ocsp = IsOcspInstalled();
    for (const Switch& setting : kSwitches) {
        if (mayWrite_ && (ocsp || !setting.needsOcsp)) continue;
        ::EnableWindow(GetDlgItem(setting.box), FALSE);
        ExplainDisabled({setting.box}, mayWrite_ ? IDS_WHY_MODULE : IDS_WHY_RIGHTS);
    }
    if (mayWrite_) return;
    for (const Limit& limit : kLimits) {
        EnableWithLabel(GetDlgItem(limit.edit), false);
        ::EnableWindow(GetDlgItem(limit.spin), FALSE);  // it would go on moving the number
        ExplainDisabled({limit.edit}, IDS_WHY_RIGHTS);
    }
}

void CPropPageConfigTLS::SetUpLimits() {
    for (size_t i = 0; i < kLimitCount; ++i) {
        const HWND edit = GetDlgItem(kLimits[i].edit);
        ::SendMessageW(edit, EM_LIMITTEXT, kMostCharacters, 0);
        spins_[i].SetBuddy(edit);
        spins_[i].SetRange32(kLimits[i].least, kLimits[i].most);
        spins_[i].SetAccel(kLimits[i].steps);
    }
}

void CPropPageConfigTLS::ReadSettings() {
    for (const Switch& setting : kSwitches) {
        CheckDlgButton(m_hWnd, static_cast<int>(setting.box), IsOn(setting) ? BST_CHECKED : BST_UNCHECKED);
    }
    for (size_t i = 0; i < kLimitCount; ++i) limits_[i] = ValueOf(kLimits[i]);
    UpdateData(false);
}

// A text that is no number in the range, even an empty one on the way to another number, is told and replaced by the
// last good number at once.
void CPropPageConfigTLS::OnControlChanged() {
    if (ownChange_) return;
    const Raised raised(ownChange_);
    const bool good = UpdateData(true);
    if (!m_hWnd) return;  // the message ended with the sheet
    UpdateData(false);
    if (!good) ::SendMessageW(GetFocus(), EM_SETSEL, 0, -1);  // ready to be typed over
    CPropPageConfigBase::OnControlChanged();
}

// The page keeps no copies: what is stored is read again.
bool CPropPageConfigTLS::IsPageModified() {
    for (const Switch& setting : kSwitches) {
        if (IsChecked(m_hWnd, setting) != IsOn(setting)) return initialised_;
    }
    for (size_t i = 0; i < kLimitCount; ++i) {
        if (limits_[i] != ValueOf(kLimits[i])) return initialised_;
    }
    return false;
}

SaveResult CPropPageConfigTLS::SavePage() {
    bool saved = true;
    const bool switched = SaveSwitches(saved);
    if (!SaveLimits()) saved = false;
    if (!saved) return SaveResult::Failed;
    // Limits take effect by themselves, switches with the next start of Windows.
    if (!switched || MessageBoxId(IDS_REBOOT_QUESTION, MB_YESNO | MB_ICONEXCLAMATION) != IDYES) {
        return SaveResult::Saved;
    }
    // A restart that is refused is told as an error of saving, though all is saved.
    return RebootSystem() ? SaveResult::Saved : SaveResult::Failed;
}

// Whether any switch differed from what is stored. `saved` becomes false when one isn't written; the others are still.
bool CPropPageConfigTLS::SaveSwitches(bool& saved) const {
    bool switched = false;
    for (const Switch& setting : kSwitches) {
        const bool checked = IsChecked(m_hWnd, setting);
        if (checked == IsOn(setting)) continue;
        switched = true;
        if (!Write(setting.name, checked ? 1 : 0)) saved = false;
        if (!setting.ofCng) continue;
        // What comes of the registration counts instead of all that was written up to here, failures too.
        const Registration registration = RenewCngRegistration();
        if (registration != Registration::Untouched) saved = registration == Registration::Renewed;
    }
    return switched;
}

// A stored number that is out of range differs from everything that can be shown, the default included.
bool CPropPageConfigTLS::SaveLimits() const {
    if (!mayWrite_) return true;
    bool saved = true;
    for (size_t i = 0; i < kLimitCount; ++i) {
        if (limits_[i] != StoredValueOf(kLimits[i]) && !Write(kLimits[i].name, limits_[i])) saved = false;
    }
    return saved;
}
