#include "softcsp/dialogs/Dialogs.h"

#include "softcsp/dialogs/Dialog.h"
#include "softcsp/dialogs/resource.h"

namespace softcsp {
namespace {

constexpr UINT kEdits[] = {IDC_PASSWORD, IDC_NEW_PASSWORD, IDC_CONFIRMATION};

Password ReadEdit(HWND edit) {
    wchar_t typed[Password::kLongest + 1];
    const int length = GetWindowTextW(edit, typed, static_cast<int>(std::size(typed)));
    Password password({typed, static_cast<std::size_t>(length)});
    Wipe(typed, sizeof typed);
    return password;
}

// An edit control that is emptied keeps the characters in its buffer, so they are overwritten first.
void WipeEdit(HWND edit) {
    SetWindowTextW(edit, std::wstring(static_cast<std::size_t>(GetWindowTextLengthW(edit)), L'*').c_str());
    SetWindowTextW(edit, L"");
}

class PasswordDialog : public Dialog {
  protected:
    PasswordDialog(UINT templateId, const wchar_t* time, const std::wstring& container)
        : Dialog(templateId, time), container_(container) {}

    HWND OnInit() override {
        ShowWhole(IDC_CONTAINER, container_);
        for (const UINT edit : kEdits) SendMessageW(Item(edit), EM_LIMITTEXT, Password::kLongest, 0);
        return nullptr;
    }
    void OnClosed() override {
        for (const UINT edit : kEdits)
            if (Item(edit) != nullptr) WipeEdit(Item(edit));
    }

    // The password that was typed twice. False, after a message, if the two differ.
    bool ReadNew(Password& password) {
        Password typed = ReadEdit(Item(IDC_NEW_PASSWORD));
        if (typed.Text() == ReadEdit(Item(IDC_CONFIRMATION)).Text()) {
            password = typed;
            return true;
        }
        ShowMessage(OwnString(IDS_PASSWORDS_DIFFER));
        WipeEdit(Item(IDC_NEW_PASSWORD));
        WipeEdit(Item(IDC_CONFIRMATION));
        SetFocus(Item(IDC_NEW_PASSWORD));
        return false;
    }

  private:
    const std::wstring& container_;  // the caller's
};

class AskDialog final : public PasswordDialog {
  public:
    AskDialog(const PasswordQuestion& question, PasswordAnswer& answer)
        : PasswordDialog(IDD_ASK_PASSWORD, question.refused ? L"retry_time" : L"passwd_time", question.container),
          question_(question),
          answer_(answer) {}

  private:
    HWND OnInit() override {
        PasswordDialog::OnInit();
        if (!question_.maySave) HideRow({IDC_SAVE});
        if (!question_.refused) HideRow({IDC_REFUSED});
        return Item(IDC_PASSWORD);
    }
    bool OnOk() override {
        answer_.password = ReadEdit(Item(IDC_PASSWORD));
        answer_.save = question_.maySave && IsDlgButtonChecked(Window(), IDC_SAVE) == BST_CHECKED;
        return true;
    }

    const PasswordQuestion& question_;
    PasswordAnswer& answer_;
};

class NewDialog final : public PasswordDialog {
  public:
    NewDialog(const std::wstring& container, Password& password)
        : PasswordDialog(IDD_NEW_PASSWORD, L"passwd_time", container), password_(password) {}

  private:
    HWND OnInit() override {
        PasswordDialog::OnInit();
        return Item(IDC_NEW_PASSWORD);
    }
    bool OnOk() override { return ReadNew(password_); }

    Password& password_;
};

class ChangeDialog final : public PasswordDialog {
  public:
    ChangeDialog(const std::wstring& container, bool hasOld, PasswordChange& change)
        : PasswordDialog(IDD_CHANGE_PASSWORD, L"passwd_time", container), hasOld_(hasOld), change_(change) {}

  private:
    HWND OnInit() override {
        PasswordDialog::OnInit();
        if (!hasOld_) {
            HideRow({IDC_PASSWORD_LABEL, IDC_PASSWORD});
            SetWindowTextW(Item(IDC_HINT), OwnString(IDS_NO_PASSWORD_NEEDED).c_str());
        }
        return Item(hasOld_ ? IDC_PASSWORD : IDC_NEW_PASSWORD);
    }
    bool OnOk() override {
        const Password old = ReadEdit(Item(IDC_PASSWORD));
        if (!ReadNew(change_.next)) return false;
        change_.old = old;
        return true;
    }

    bool hasOld_;
    PasswordChange& change_;
};

}  // namespace

DWORD AskPassword(HWND owner, const PasswordQuestion& question, PasswordAnswer& answer) {
    return AskDialog(question, answer).Run(owner);
}

DWORD AskNewPassword(HWND owner, const std::wstring& container, Password& password) {
    return NewDialog(container, password).Run(owner);
}

DWORD AskPasswordChange(HWND owner, const std::wstring& container, bool hasOld, PasswordChange& change) {
    return ChangeDialog(container, hasOld, change).Run(owner);
}

}  // namespace softcsp
