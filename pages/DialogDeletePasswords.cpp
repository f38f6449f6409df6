#include "pages/DialogDeletePasswords.h"

#include "framework/DataExchange.h"
#include "resources/resource.h"
#include "settings/SavedPasswords.h"

namespace {

struct Scope {
    SavedPasswords saved;
    UINT passwordsBox, mediaBox;
};

constexpr Scope kScopes[] = {
    {SavedPasswords(L"\\local\\KeyDevices\\passwords"), IDC_PASSWORDS_USER, IDC_PASSWORDS_USER_MEDIA},
    {SavedPasswords(L"\\global\\KeyDevices\\passwords"), IDC_PASSWORDS_COMPUTER, IDC_PASSWORDS_COMPUTER_MEDIA}};

}  // namespace

CDialogDeletePasswords::CDialogDeletePasswords() : CDialogLang(IDD_DELETE_PASSWORDS) {}

std::span<const Route> CDialogDeletePasswords::Routes() const {
    static constexpr Route table[] = {
        on<&CDialogDeletePasswords::OnBoxClicked>({IDC_PASSWORDS_USER, IDC_PASSWORDS_COMPUTER_MEDIA}, BN_CLICKED),
    };
    return table;
}

void CDialogDeletePasswords::DoDataExchange(CDataExchange* exchange) {
    for (size_t i = 0; i < choices_.size(); ++i) {
        DDX_Check(exchange, kScopes[i].passwordsBox, choices_[i].passwords);
        DDX_Check(exchange, kScopes[i].mediaBox, choices_[i].mediaRecords);
    }
}

bool CDialogDeletePasswords::OnInitDialog() {
    CDialogLang::OnInitDialog();
    for (size_t i = 0; i < choices_.size(); ++i) {
        const Scope& scope = kScopes[i];
        const bool mayDelete = scope.saved.MayDelete();
        choices_[i].mayDeleteMediaRecords = mayDelete && scope.saved.HasMediaRecords();
        EnableControl(scope.passwordsBox, mayDelete);
        EnableControl(scope.mediaBox, choices_[i].mayDeleteMediaRecords);
    }
    ShowChoices();
    return true;
}

void CDialogDeletePasswords::OnBoxClicked() {
    UpdateData(true);
    ShowChoices();
}

// Deleting the passwords deletes the records too.
void CDialogDeletePasswords::ShowChoices() {
    for (size_t i = 0; i < choices_.size(); ++i) {
        Choice& choice = choices_[i];
        if (!choice.mayDeleteMediaRecords) continue;
        if (choice.passwords) choice.mediaRecords = true;
        EnableControl(kScopes[i].mediaBox, !choice.passwords);
    }
    UpdateData(false);
}

void CDialogDeletePasswords::OnOK() {
    UpdateData(true);
    for (size_t i = 0; i < choices_.size(); ++i) {
        if (choices_[i].passwords) {
            kScopes[i].saved.DeleteAll();
        } else if (choices_[i].mediaRecords) {
            kScopes[i].saved.DeleteMediaRecords();
        }
    }
    EndDialog(IDOK);
}
