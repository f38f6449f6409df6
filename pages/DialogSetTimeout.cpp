#include "pages/DialogSetTimeout.h"

#include "framework/DataExchange.h"
#include "resources/resource.h"
#include "settings/InputTimeouts.h"

namespace {

constexpr InputTimeouts kUser(L"\\local\\KeyDevices"), kSystem(L"\\global\\KeyDevices");
constexpr int kMissing = 600;  // seconds
constexpr WPARAM kMostCharacters = 5;

constexpr UINT kUserControls[] = {IDC_TIMEOUT_USER_GROUP,  IDC_TIMEOUT_USER_DEFAULT, IDC_TIMEOUT_USER_INFINITE,
                                  IDC_TIMEOUT_USER_SET,    IDC_TIMEOUT_USER_VALUE,   IDC_TIMEOUT_USER_SPIN,
                                  IDC_TIMEOUT_USER_SECONDS};
constexpr UINT kSystemControls[] = {IDC_TIMEOUT_SYSTEM_GROUP, IDC_TIMEOUT_SYSTEM_INFINITE, IDC_TIMEOUT_SYSTEM_SET,
                                    IDC_TIMEOUT_SYSTEM_VALUE, IDC_TIMEOUT_SYSTEM_SPIN,     IDC_TIMEOUT_SYSTEM_SECONDS};

void Enable(HWND dialog, std::span<const UINT> controls, bool enable) {
    for (const UINT control : controls) ::EnableWindow(GetDlgItem(dialog, static_cast<int>(control)), enable);
}

}  // namespace

CDialogSetTimeout::CDialogSetTimeout() : CDialogLang(IDD_TIMEOUT), userSeconds_(kMissing), systemSeconds_(kMissing) {}

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
    DDV_MinMaxInt(exchange, userSeconds_, kLeastTimeout, kMostTimeout);
    DDX_Radio(exchange, IDC_TIMEOUT_SYSTEM_INFINITE, systemChoice_);
    DDX_Text(exchange, IDC_TIMEOUT_SYSTEM_VALUE, systemSeconds_);
    DDV_MinMaxInt(exchange, systemSeconds_, kLeastTimeout, kMostTimeout);
}

bool CDialogSetTimeout::OnInitDialog() {
    CDialogLang::OnInitDialog();
    SetUpEdits();
    kUser.MakeSection();
    kSystem.MakeSection();
    mayWriteUser_ = kUser.MayWrite();
    mayWriteSystem_ = kSystem.MayWrite();
    Enable(m_hWnd, kUserControls, mayWriteUser_);
    Enable(m_hWnd, kSystemControls, mayWriteSystem_);
    ReadSystem();
    ReadUser();
    UpdateData(false);
    EnableEdits();
    return true;
}

void CDialogSetTimeout::SetUpEdits() {
    static constexpr UDACCEL steps[] = {{.nSec = 0, .nInc = 10}, {.nSec = 5, .nInc = 60}};
    const auto setUp = [this](CSpinButtonCtrl& spin, UINT edit) {
        ::SendMessageW(GetDlgItem(edit), EM_LIMITTEXT, kMostCharacters, 0);
        spin.SetBuddy(GetDlgItem(edit));
        spin.SetRange32(kLeastTimeout, kMostTimeout);
        spin.SetAccel(steps);
    };
    setUp(userSpin_, IDC_TIMEOUT_USER_VALUE);
    setUp(systemSpin_, IDC_TIMEOUT_SYSTEM_VALUE);
}

void CDialogSetTimeout::ReadSystem() {
    LONG stored = 0;
    if (!kSystem.Read(stored)) return;
    systemChoice_ = stored == InputTimeouts::kInfinite ? kSystemInfinite : kSystemTimeout;
    if (systemChoice_ == kSystemTimeout) systemSeconds_ = ShownTimeout(stored);
}

void CDialogSetTimeout::ReadUser() {
    userSeconds_ = systemSeconds_;
    LONG stored = 0;
    if (!kUser.Read(stored)) return;
    userChoice_ = stored == InputTimeouts::kInfinite ? kUserInfinite : kUserTimeout;
    if (userChoice_ == kUserTimeout) userSeconds_ = ShownTimeout(stored);
}

// Where a level may not be written, all its controls stay disabled.
void CDialogSetTimeout::EnableEdits() {
    if (mayWriteUser_) EnableEdit(IDC_TIMEOUT_USER_SET, IDC_TIMEOUT_USER_VALUE, IDC_TIMEOUT_USER_SPIN, userSeconds_);
    if (mayWriteSystem_) {
        EnableEdit(IDC_TIMEOUT_SYSTEM_SET, IDC_TIMEOUT_SYSTEM_VALUE, IDC_TIMEOUT_SYSTEM_SPIN, systemSeconds_);
    }
}

// An edit that is disabled gets its last valid number back: OK checks it, and the user couldn't correct it.
void CDialogSetTimeout::EnableEdit(int radio, int edit, int spin, int& seconds) {
    const bool enable = IsDlgButtonChecked(m_hWnd, radio) != 0;
    if (!enable) {
        BOOL isNumber = FALSE;
        const auto typed = static_cast<int>(GetDlgItemInt(m_hWnd, edit, &isNumber, TRUE));
        if (isNumber && typed >= kLeastTimeout && typed <= kMostTimeout) seconds = typed;
        SetDlgItemInt(m_hWnd, edit, static_cast<UINT>(seconds), FALSE);
    }
    for (const int control : {edit, spin}) ::EnableWindow(::GetDlgItem(m_hWnd, control), enable);
}

// Both edits must hold valid numbers, disabled ones too. What isn't written isn't reported.
void CDialogSetTimeout::OnOK() {
    if (!UpdateData(true)) return;
    if (mayWriteSystem_) SaveSystem();
    if (mayWriteUser_) SaveUser();
    EndDialog(IDOK);
}

void CDialogSetTimeout::SaveSystem() const {
    kSystem.Write(systemChoice_ == kSystemTimeout ? systemSeconds_ : InputTimeouts::kInfinite);
}

void CDialogSetTimeout::SaveUser() const {
    if (userChoice_ == kUserDefault) {
        kUser.Remove();
    } else {
        kUser.Write(userChoice_ == kUserTimeout ? userSeconds_ : InputTimeouts::kInfinite);
    }
}
