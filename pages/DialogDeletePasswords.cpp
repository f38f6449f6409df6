#include "pages/DialogDeletePasswords.h"

#include "resources/resource.h"
#include "settings/SavedPasswords.h"

namespace {

struct Scope {
    SavedPasswords saved;
    int passwordsBox, mediaBox;
};

constexpr Scope kScopes[] = {
    {SavedPasswords(L"\\local\\KeyDevices\\passwords"), IDC_PASSWORDS_USER, IDC_PASSWORDS_USER_MEDIA},
    {SavedPasswords(L"\\global\\KeyDevices\\passwords"), IDC_PASSWORDS_COMPUTER, IDC_PASSWORDS_COMPUTER_MEDIA}};

bool IsChecked(HWND dialog, int box) noexcept {
    return IsDlgButtonChecked(dialog, box) == BST_CHECKED;
}

}  // namespace

CDialogDeletePasswords::CDialogDeletePasswords() : CDialogLang(IDD_DELETE_PASSWORDS) {}

std::span<const Route> CDialogDeletePasswords::Routes() const {
    static constexpr Route table[] = {
        on<&CDialogDeletePasswords::Couple>({IDC_PASSWORDS_USER, IDC_PASSWORDS_COMPUTER_MEDIA}, BN_CLICKED),
    };
    return table;
}

bool CDialogDeletePasswords::OnInitDialog() {
    CDialogLang::OnInitDialog();
    for (size_t i = 0; i < std::size(kScopes); ++i) {
        const Scope& scope = kScopes[i];
        const bool mayDelete = scope.saved.MayDelete();
        media_[i] = mayDelete && scope.saved.HasMediaRecords();
        ::EnableWindow(::GetDlgItem(m_hWnd, scope.passwordsBox), mayDelete);
        ::EnableWindow(::GetDlgItem(m_hWnd, scope.mediaBox), media_[i]);
    }
    Couple();
    return true;
}

// Whoever deletes the passwords deletes the records with them.
void CDialogDeletePasswords::Couple() {
    for (size_t i = 0; i < std::size(kScopes); ++i) {
        if (!media_[i]) continue;
        const bool all = IsChecked(m_hWnd, kScopes[i].passwordsBox);
        if (all) CheckDlgButton(m_hWnd, kScopes[i].mediaBox, BST_CHECKED);
        ::EnableWindow(::GetDlgItem(m_hWnd, kScopes[i].mediaBox), !all);
    }
}

void CDialogDeletePasswords::OnOK() {
    for (const Scope& scope : kScopes) {
        if (IsChecked(m_hWnd, scope.passwordsBox)) {
            scope.saved.DeleteAll();
        } else if (IsChecked(m_hWnd, scope.mediaBox)) {
            scope.saved.DeleteMediaRecords();
        }
    }
    EndDialog(IDOK);
}
