#include "pages/DialogSetTimeout.h"

#include "framework/DataExchange.h"
#include "resources/resource.h"
#include "settings/InputTimeouts.h"

namespace {

constexpr int kMostDigits = 5;

constexpr UINT kUserControls[] = {IDC_TIMEOUT_USER_GROUP,  IDC_TIMEOUT_USER_DEFAULT, IDC_TIMEOUT_USER_INFINITE,
                                  IDC_TIMEOUT_USER_SET,    IDC_TIMEOUT_USER_VALUE,   IDC_TIMEOUT_USER_SPIN,
                                  IDC_TIMEOUT_USER_SECONDS};
constexpr UINT kSystemControls[] = {IDC_TIMEOUT_SYSTEM_GROUP, IDC_TIMEOUT_SYSTEM_INFINITE, IDC_TIMEOUT_SYSTEM_SET,
                                    IDC_TIMEOUT_SYSTEM_VALUE, IDC_TIMEOUT_SYSTEM_SPIN,     IDC_TIMEOUT_SYSTEM_SECONDS};

}  // namespace

CDialogSetTimeout::CDialogSetTimeout()
    : CDialogLang(IDD_TIMEOUT), userSeconds_(InputTimeout().seconds), systemSeconds_(InputTimeout().seconds) {}

std::span<const Route> CDialogSetTimeout::Routes() const {
    static constexpr Route table[] = {
        on<&CDialogSetTimeout::EnableEdits>({IDC_TIMEOUT_USER_DEFAULT, IDC_TIMEOUT_USER_SET}, BN_CLICKED),
        on<&CDialogSetTimeout::EnableEdits>({IDC_TIMEOUT_SYSTEM_INFINITE, IDC_TIMEOUT_SYSTEM_SET}, BN_CLICKED),
    };
    return table;
}

void CDialogSetTimeout::DoDataExchange(CDataExchange* exchange) {
    DDX_Control(exchange, IDC_TIMEOUT_USER_SPIN, userSpin_);
    DDX_Control(exchange, IDC_TIMEOUT_SYSTEM_SPIN, systemSpin_);
    DDX_Radio(exchange, IDC_TIMEOUT_USER_DEFAULT, userChoice_);
    DDX_Text(exchange, IDC_TIMEOUT_USER_VALUE, userSeconds_);
    DDV_MaxChars(exchange, kMostDigits);
    DDV_MinMaxInt(exchange, userSeconds_, kLeastTimeout, kMostTimeout);
    DDX_Radio(exchange, IDC_TIMEOUT_SYSTEM_INFINITE, systemChoice_);
    DDX_Text(exchange, IDC_TIMEOUT_SYSTEM_VALUE, systemSeconds_);
    DDV_MaxChars(exchange, kMostDigits);
    DDV_MinMaxInt(exchange, systemSeconds_, kLeastTimeout, kMostTimeout);
}

bool CDialogSetTimeout::OnInitDialog() {
    CDialogLang::OnInitDialog();
    SetUpSpins();
    CreateTimeoutSection(TimeoutLevel::User);
    CreateTimeoutSection(TimeoutLevel::System);
    mayWriteUser_ = MayWriteTimeout(TimeoutLevel::User);
    mayWriteSystem_ = MayWriteTimeout(TimeoutLevel::System);
    for (const UINT control : kUserControls) EnableControl(control, mayWriteUser_);
    for (const UINT control : kSystemControls) EnableControl(control, mayWriteSystem_);
    ReadTimeouts();
    UpdateData(false);
    EnableEdits();
    return true;
}

void CDialogSetTimeout::SetUpSpins() {
    static constexpr UDACCEL steps[] = {{.nSec = 0, .nInc = 10}, {.nSec = 5, .nInc = 60}};
    const auto setUp = [this](CSpinButtonCtrl& spin, UINT edit) {
        spin.SetBuddy(GetDlgItem(edit));
        spin.SetRange32(kLeastTimeout, kMostTimeout);
        spin.SetAccel(steps);
    };
    setUp(userSpin_, IDC_TIMEOUT_USER_VALUE);
    setUp(systemSpin_, IDC_TIMEOUT_SYSTEM_VALUE);
}

// If no timeout is stored for the user, the user's edit shows the system's.
void CDialogSetTimeout::ReadTimeouts() {
    if (const auto stored = ReadTimeout(TimeoutLevel::System)) {
        systemChoice_ = stored->infinite ? SystemChoice::Infinite : SystemChoice::Timeout;
        systemSeconds_ = stored->seconds;
    }
    userSeconds_ = systemSeconds_;
    if (const auto stored = ReadTimeout(TimeoutLevel::User)) {
        userChoice_ = stored->infinite ? UserChoice::Infinite : UserChoice::Timeout;
        if (!stored->infinite) userSeconds_ = stored->seconds;
    }
}

// The controls of a level that may not be written stay disabled.
void CDialogSetTimeout::EnableEdits() {
    const auto isChecked = [this](int radio) { return IsDlgButtonChecked(m_hWnd, radio) != 0; };
    if (mayWriteUser_) {
        EnableEdit(isChecked(IDC_TIMEOUT_USER_SET), IDC_TIMEOUT_USER_VALUE, userSpin_, userSeconds_);
    }
    if (mayWriteSystem_) {
        EnableEdit(isChecked(IDC_TIMEOUT_SYSTEM_SET), IDC_TIMEOUT_SYSTEM_VALUE, systemSpin_, systemSeconds_);
    }
}

// An edit that is disabled shows its last valid number again: OK checks it, and the user could not correct it.
void CDialogSetTimeout::EnableEdit(bool enable, UINT edit, CSpinButtonCtrl& spin, int& seconds) {
    if (!enable) {
        BOOL isNumber = FALSE;
        const auto typed = static_cast<int>(GetDlgItemInt(m_hWnd, static_cast<int>(edit), &isNumber, TRUE));
        if (isNumber && typed >= kLeastTimeout && typed <= kMostTimeout) seconds = typed;
        SetDlgItemInt(m_hWnd, static_cast<int>(edit), static_cast<UINT>(seconds), FALSE);
    }
    EnableControl(edit, enable);
    spin.EnableWindow(enable);
}

// Both edits must hold valid numbers, disabled ones too. Failed writes are not reported.
void CDialogSetTimeout::OnOK() {
    if (!UpdateData(true)) return;
    if (mayWriteSystem_) {
        static_cast<void>(
            WriteTimeout(TimeoutLevel::System, {systemChoice_ == SystemChoice::Infinite, systemSeconds_}));
    }
    if (mayWriteUser_ && userChoice_ == UserChoice::SystemDefault) {
        static_cast<void>(RemoveTimeout(TimeoutLevel::User));
    } else if (mayWriteUser_) {
        static_cast<void>(WriteTimeout(TimeoutLevel::User, {userChoice_ == UserChoice::Infinite, userSeconds_}));
    }
    EndDialog(IDOK);
}
