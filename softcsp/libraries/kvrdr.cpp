// The reader library: the window that lists and changes the carriers, and the window with the carrier types.
#include "softcsp/kvrdr.h"

#include <commctrl.h>

#include <iterator>

#include "softcsp/common/Carriers.h"
#include "softcsp/common/ExportGuard.h"
#include "softcsp/dialogs/Dialog.h"
#include "softcsp/dialogs/resource.h"

namespace softcsp {
namespace {

static_assert(sizeof(RDR_WND_REQUEST) == 16);

constexpr int kLongestName = 32;  // characters

// Asks for the name of a new carrier and adds it. `name` becomes that of the carrier.
DWORD AskNewCarrier(HWND owner, std::wstring& name) {
    Dialog dialog(IDD_NEW_CARRIER);
    dialog.onInit = [&] {
        SendMessageW(dialog.Item(IDC_NAME), EM_LIMITTEXT, kLongestName, 0);
        return IDC_NAME;
    };
    dialog.onOk = [&] {
        wchar_t typed[kLongestName + 2];  // one more than allowed, so that a longer name is refused
        GetWindowTextW(dialog.Item(IDC_NAME), typed, static_cast<int>(std::size(typed)));
        name = typed;
        const DWORD result = AddCarrier({.name = name, .removable = true});
        if (result == ERROR_SUCCESS) return true;
        dialog.ShowMessage(OwnString(result == ERROR_ALREADY_EXISTS ? IDS_NAME_TAKEN
                                     : result == ERROR_INVALID_NAME ? IDS_NAME_WRONG
                                                                    : IDS_NOT_SAVED));
        SetFocus(dialog.Item(IDC_NAME));
        SendMessageW(dialog.Item(IDC_NAME), EM_SETSEL, 0, -1);
        return false;
    };
    return dialog.Run(owner);
}

class ReadersDialog {
  public:
    DWORD Run(HWND owner);

  private:
    ReportList List() const { return ReportList(dialog_.Item(IDC_LIST)); }
    // Reads the carriers again, lists them and selects the one of this name, if there is one.
    void ShowCarriers(const std::wstring& selected);
    void EnableButtons() const;
    const Carrier* Selected() const;  // null if none is
    void Change(UINT button, Carrier carrier);

    Dialog dialog_{IDD_READERS};
    std::vector<Carrier> carriers_;  // as listed
};

DWORD ReadersDialog::Run(HWND owner) {
    dialog_.onInit = [this] {
        List().SetColumns({{IDS_COLUMN_CARRIER, 60}, {IDS_COLUMN_STATE, 40}});
        ShowCarriers({});
        return 0;
    };
    dialog_.onNotify = [this](const NMHDR& header) {
        if (header.idFrom == IDC_LIST && header.code == static_cast<UINT>(LVN_ITEMCHANGED)) EnableButtons();
    };
    dialog_.onCommand = [this](UINT button) {
        std::wstring name;
        const Carrier* const selected = Selected();
        if (button != IDC_ADD && selected != nullptr) Change(button, *selected);
        if (button == IDC_ADD && AskNewCarrier(dialog_.Window(), name) == ERROR_SUCCESS) ShowCarriers(name);
    };
    return dialog_.RunUntilClosed(owner);
}

void ReadersDialog::ShowCarriers(const std::wstring& selected) {
    carriers_ = Carriers();
    std::vector<ReportList::Row> rows;
    for (const Carrier& carrier : carriers_)
        rows.push_back({carrier.name, OwnString(carrier.present ? IDS_PRESENT : IDS_ABSENT)});
    List().SetRows(rows);
    for (std::size_t i = 0; i < carriers_.size(); ++i)
        if (carriers_[i].name == selected) List().Select(static_cast<int>(i));
    EnableButtons();
}

void ReadersDialog::EnableButtons() const {
    const Carrier* const selected = Selected();
    const bool removable = selected != nullptr && selected->removable;
    const HWND focus = GetFocus();
    dialog_.Enable(IDC_REMOVE, removable);
    dialog_.Enable(IDC_INSERT, removable && !selected->present);
    dialog_.Enable(IDC_EJECT, removable && selected->present);
    // A disabled button would keep the focus, and the keyboard would have no effect.
    if (focus != nullptr && GetParent(focus) == dialog_.Window() && !IsWindowEnabled(focus))
        SetFocus(dialog_.Item(IDC_LIST));
}

const Carrier* ReadersDialog::Selected() const {
    const auto row = static_cast<std::size_t>(List().Selected());
    return row < carriers_.size() ? &carriers_[row] : nullptr;
}

void ReadersDialog::Change(UINT button, Carrier carrier) {
    DWORD result = ERROR_SUCCESS;
    if (button == IDC_REMOVE) {
        std::wstring question = OwnString(IDS_REMOVE_QUESTION);
        if (const std::size_t at = question.find(L"%1"); at != question.npos) question.replace(at, 2, carrier.name);
        if (dialog_.ShowMessage(question, MB_YESNO | MB_ICONQUESTION) != IDYES) return;
        result = RemoveCarrier(carrier.name);
    } else {
        carrier.present = button == IDC_INSERT;
        result = UpdateCarrier(carrier);
    }
    if (result != ERROR_SUCCESS) dialog_.ShowMessage(OwnString(IDS_NOT_SAVED));
    ShowCarriers(carrier.name);
}

template <class Show>
DWORD ShowWindows(const RDR_WND_REQUEST* request, Show show) noexcept {
    return Guarded([&] {
        Require(request != nullptr && request->size == sizeof *request, ERROR_INVALID_PARAMETER);
        return show(request->parent);
    });
}

}  // namespace
}  // namespace softcsp

DWORD rdr_wnd_configure(const RDR_WND_REQUEST* request) {
    return softcsp::ShowWindows(request, [](HWND parent) { return softcsp::ReadersDialog().Run(parent); });
}

DWORD rdr_media_wnd_configure(const RDR_WND_REQUEST* request) {
    return softcsp::ShowWindows(request, [](HWND parent) {
        return softcsp::ShowFacts(parent, IDD_CARRIER_TYPES, {{IDS_COLUMN_CARRIER_TYPE, 35}, {IDS_COLUMN_PLACE, 65}},
                                  {{IDS_TYPE_REGISTRY, IDS_PLACE_REGISTRY}, {IDS_TYPE_DIRECTORY, IDS_PLACE_DIRECTORY}});
    });
}

DWORD rdr_register_start(SUPSYS_REGISTRATION* registration) {
    if (registration == nullptr || registration->size != sizeof *registration) return ERROR_INVALID_PARAMETER;
    softcsp::ReaderRegistration* const created = softcsp::ReaderRegistration::Create();
    if (created == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    registration->context = created;
    return ERROR_SUCCESS;
}
