#include "pages/PropPageConfigTLS.h"

#include "applet/services/MessageBoxes.h"
#include "framework/DataExchange.h"
#include "framework/Wnd.h"
#include "resources/resource.h"

namespace {

struct SwitchControl {
    UINT box;
    Setting<bool> TlsSettings::*setting;
};

constexpr SwitchControl kSwitches[] = {
    {IDC_TLS_CLIENT_OCSP, &TlsSettings::clientUsesOcsp},
    {IDC_TLS_CLIENT_NO_REVOCATION, &TlsSettings::clientSkipsRevocation},
    {IDC_TLS_CLIENT_NO_EKU, &TlsSettings::clientSkipsUsageCheck},
    {IDC_TLS_CLIENT_NO_LEGACY, &TlsSettings::clientRefusesLegacySuites},
    {IDC_TLS_SERVER_OCSP, &TlsSettings::serverUsesOcsp},
    {IDC_TLS_SERVER_NO_REVOCATION, &TlsSettings::serverSkipsRevocation},
    {IDC_TLS_SERVER_NO_EKU, &TlsSettings::serverSkipsUsageCheck},
    {IDC_TLS_SERVER_NO_LEGACY, &TlsSettings::serverRefusesLegacySuites},
    {IDC_TLS_SERVER_RENEGOTIATION, &TlsSettings::serverOffersRenegotiationInfo},
    {IDC_TLS_SERVER_REQUIRE_RENEGOTIATION, &TlsSettings::serverRequiresRenegotiationInfo},
    {IDC_TLS_SERVER_MACHINE_CREDENTIAL, &TlsSettings::serverUsesMachineCredential},
};
static_assert(std::size(kSwitches) == std::size(kTlsSwitches));

struct LimitControl {
    UINT edit, spin;
    UDACCEL steps[2];
};

// In the order of kTlsLimits.
constexpr LimitControl kLimits[] = {
    {IDC_TLS_SESSIONS, IDC_TLS_SESSIONS_SPIN, {{.nSec = 0, .nInc = 4}, {.nSec = 2, .nInc = 64}}},
    {IDC_TLS_CAS, IDC_TLS_CAS_SPIN, {{.nSec = 0, .nInc = 10}, {.nSec = 2, .nInc = 100}}},
};
static_assert(std::size(kLimits) == std::size(kTlsLimits));
constexpr int kMostDigits = 5;

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

// The limits come last: an invalid number ends the exchange.
void CPropPageConfigTLS::DoDataExchange(CDataExchange* exchange) {
    for (const SwitchControl& control : kSwitches) {
        DDX_Check(exchange, control.box, (settings_.*control.setting).shown);
    }
    for (size_t i = 0; i < std::size(kLimits); ++i) {
        const Range range = kTlsLimits[i].range;
        Setting<int>& limit = settings_.*kTlsLimits[i].number;
        DDX_Control(exchange, kLimits[i].spin, spins_[i]);
        int number = limit.shown;
        DDX_Text(exchange, kLimits[i].edit, number);
        DDV_MaxChars(exchange, kMostDigits);
        DDV_MinMaxInt(exchange, number, range.least, range.most);
        limit.shown = number;  // only a valid one
    }
}

bool CPropPageConfigTLS::OnInitDialog() {
    {
        const FlagScope change = OwnChange();
        CPropPageConfigBase::OnInitDialog();
        settings_.Read();
        DisableControls();
        SetUpSpins();
        UpdateData(false);
    }
    OnControlChanged();
    return true;
}

void CPropPageConfigTLS::DisableControls() {
    const bool mayWrite = settings_.mayWrite, ocsp = IsOcspInstalled();
    for (const SwitchControl& control : kSwitches) {
        if (mayWrite && (ocsp || !NeedsOcsp(control.setting))) continue;
        EnableControl(control.box, false);
        ExplainDisabled({control.box}, mayWrite ? IDS_WHY_MODULE : IDS_WHY_RIGHTS);
    }
    if (mayWrite) return;
    for (const LimitControl& limit : kLimits) {
        EnableControl(limit.edit, false);
        EnableControl(limit.spin, false);  // an enabled one would still change the number
        ExplainDisabled({limit.edit}, IDS_WHY_RIGHTS);
    }
}

void CPropPageConfigTLS::SetUpSpins() {
    for (size_t i = 0; i < std::size(kLimits); ++i) {
        spins_[i].SetBuddy(GetDlgItem(kLimits[i].edit));
        spins_[i].SetRange32(kTlsLimits[i].range.least, kTlsLimits[i].range.most);
        spins_[i].SetAccel(kLimits[i].steps);
    }
}

// An invalid number, or an empty text while the user types another number, is reported and replaced by the last valid
// number at once.
void CPropPageConfigTLS::OnControlChanged() {
    if (ChangesItself()) return;
    const FlagScope change = OwnChange();
    const bool valid = UpdateData(true);
    if (!m_hWnd) return;  // the sheet ended while the message was open
    UpdateData(false);
    if (!valid) ::SendMessageW(GetFocus(), EM_SETSEL, 0, -1);  // the next digit typed replaces the number
    CPropPageConfigBase::OnControlChanged();
}

bool CPropPageConfigTLS::IsPageModified() {
    return settings_.DiffersFromStore();
}

SaveResult CPropPageConfigTLS::SavePage() {
    const WriteReport report = settings_.Write();
    if (!report.result) return SaveResult::Failed;
    if (!report.restartNeeded || MessageBoxId(IDS_REBOOT_QUESTION, MB_YESNO | MB_ICONEXCLAMATION) != IDYES) {
        return SaveResult::Saved;
    }
    // A restart that is refused is reported as an error of saving, although everything is saved.
    return RebootSystem() ? SaveResult::Saved : SaveResult::Failed;
}
