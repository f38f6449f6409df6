#include "softcsp/dialogs/Dialogs.h"

#include <commctrl.h>

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

// The first one of the dialog's password fields gets the focus. All are wiped when the dialog is closed.
void PrepareFields(Dialog& dialog, const std::wstring& container) {
    dialog.onInit = [&] {
        dialog.SetText(IDC_CONTAINER, container);
        for (const UINT edit : kEdits) SendMessageW(dialog.Item(edit), EM_LIMITTEXT, Password::kLongest, 0);
        return dialog.Item(IDC_PASSWORD) != nullptr ? IDC_PASSWORD : IDC_NEW_PASSWORD;
    };
    dialog.onClosed = [&] {
        for (const UINT edit : kEdits)
            if (dialog.Item(edit) != nullptr) WipeEdit(dialog.Item(edit));
    };
}

// The password that was typed twice. False, after a message, if the two differ.
bool ReadNew(Dialog& dialog, Password& password) {
    const HWND first = dialog.Item(IDC_NEW_PASSWORD), second = dialog.Item(IDC_CONFIRMATION);
    const Password typed = ReadEdit(first);
    if (typed.Text() == ReadEdit(second).Text()) {
        password = typed;
        return true;
    }
    dialog.ShowMessage(OwnString(IDS_PASSWORDS_DIFFER));
    WipeEdit(first);
    WipeEdit(second);
    SetFocus(first);
    return false;
}

// Shows the rows or, if there are none, a text instead of them. `chosen` becomes the index of the selected row.
DWORD Choose(HWND owner, UINT templateId, const std::wstring& container,
             std::initializer_list<ReportList::Column> columns, const std::vector<ReportList::Row>& rows, int& chosen) {
    Dialog dialog(templateId, L"choice_time");
    const auto list = [&] { return ReportList(dialog.Item(IDC_LIST)); };
    dialog.onInit = [&]() -> UINT {
        dialog.SetText(IDC_CONTAINER, container);
        list().SetColumns(columns);
        list().SetRows(rows);
        list().Select(0);
        dialog.Show(IDC_LIST, !rows.empty());
        dialog.Show(IDC_NONE, rows.empty());
        dialog.Enable(IDOK, !rows.empty());
        return rows.empty() ? IDCANCEL : IDC_LIST;
    };
    dialog.onNotify = [&](const NMHDR& header) {
        if (header.idFrom != IDC_LIST) return;
        if (header.code == static_cast<UINT>(LVN_ITEMCHANGED)) dialog.Enable(IDOK, list().Selected() >= 0);
        if (header.code == static_cast<UINT>(NM_DBLCLK)) SendMessageW(dialog.Window(), WM_COMMAND, IDOK, 0);
    };
    dialog.onOk = [&] {
        const int selected = list().Selected();
        if (selected >= 0) chosen = selected;
        return selected >= 0;
    };
    return dialog.Run(owner);
}

}  // namespace

DWORD AskPassword(HWND owner, const std::wstring& container, bool refused, PasswordAnswer& answer) {
    Dialog dialog(IDD_ASK_PASSWORD, refused ? L"retry_time" : L"passwd_time");
    PrepareFields(dialog, container);
    dialog.onInit = [&, init = dialog.onInit] {
        dialog.Show(IDC_REFUSED, refused);
        return init();
    };
    dialog.onOk = [&] {
        answer.password = ReadEdit(dialog.Item(IDC_PASSWORD));
        answer.save = IsDlgButtonChecked(dialog.Window(), IDC_SAVE) == BST_CHECKED;
        return true;
    };
    return dialog.Run(owner);
}

DWORD AskNewPassword(HWND owner, const std::wstring& container, Password& password) {
    Dialog dialog(IDD_NEW_PASSWORD, L"passwd_time");
    PrepareFields(dialog, container);
    dialog.onOk = [&] { return ReadNew(dialog, password); };
    return dialog.Run(owner);
}

DWORD AskPasswordChange(HWND owner, const std::wstring& container, bool hasOld, PasswordChange& change) {
    if (!hasOld) return AskNewPassword(owner, container, change.next);
    Dialog dialog(IDD_CHANGE_PASSWORD, L"passwd_time");
    PrepareFields(dialog, container);
    dialog.onOk = [&] {
        const Password old = ReadEdit(dialog.Item(IDC_PASSWORD));
        const bool typed = ReadNew(dialog, change.next);
        if (typed) change.old = old;
        return typed;
    };
    return dialog.Run(owner);
}

DWORD ChooseContainer(HWND owner, const std::vector<ContainerChoice>& containers, std::size_t& chosen) {
    std::vector<ReportList::Row> rows;
    rows.reserve(containers.size());
    for (const ContainerChoice& container : containers) rows.push_back({container.name, container.carrier});
    int row = 0;
    const DWORD result =
        Choose(owner, IDD_CHOOSE_CONTAINER, {}, {{IDS_COLUMN_CONTAINER, 68}, {IDS_COLUMN_CARRIER, 32}}, rows, row);
    if (result == ERROR_SUCCESS) chosen = static_cast<std::size_t>(row);
    return result;
}

DWORD ChooseCarrier(HWND owner, const std::wstring& container, const std::vector<Carrier>& carriers,
                    std::size_t& chosen) {
    std::vector<ReportList::Row> rows;
    std::vector<std::size_t> present;  // the carriers of the rows
    for (std::size_t i = 0; i < carriers.size(); ++i) {
        if (!carriers[i].present) continue;
        present.push_back(i);
        rows.push_back({carriers[i].name, OwnString(carriers[i].removable ? IDS_KIND_REMOVABLE : IDS_KIND_REGISTRY)});
    }
    int row = 0;
    const DWORD result =
        Choose(owner, IDD_CHOOSE_CARRIER, container, {{IDS_COLUMN_CARRIER, 60}, {IDS_COLUMN_KIND, 40}}, rows, row);
    if (result == ERROR_SUCCESS) chosen = present[static_cast<std::size_t>(row)];
    return result;
}

}  // namespace softcsp
