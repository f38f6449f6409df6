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

// Asks for the name of a new carrier and adds it.
class NewCarrierDialog final : public Dialog {
  public:
    // `name` becomes that of the carrier added.
    explicit NewCarrierDialog(std::wstring& name) : Dialog(IDD_NEW_CARRIER), name_(name) {}

  private:
    HWND OnInit() override {
        SendMessageW(Item(IDC_NAME), EM_LIMITTEXT, kLongestName, 0);
        return Item(IDC_NAME);
    }
    bool OnOk() override {
        wchar_t typed[kLongestName + 2];  // one more than allowed, so that a longer name is refused
        GetWindowTextW(Item(IDC_NAME), typed, static_cast<int>(std::size(typed)));
        const DWORD result = AddCarrier({.name = typed, .removable = true});
        if (result == ERROR_SUCCESS) {
            name_ = typed;
            return true;
        }
        ShowMessage(OwnString(result == ERROR_ALREADY_EXISTS ? IDS_NAME_TAKEN
                              : result == ERROR_INVALID_NAME ? IDS_NAME_WRONG
                                                             : IDS_NOT_SAVED));
        SetFocus(Item(IDC_NAME));
        SendMessageW(Item(IDC_NAME), EM_SETSEL, 0, -1);
        return false;
    }

    std::wstring& name_;
};

class ReadersDialog final : public Dialog {
  public:
    ReadersDialog() : Dialog(IDD_READERS) {}

  private:
    HWND OnInit() override {
        List().SetColumns({{IDS_COLUMN_CARRIER, 60}, {IDS_COLUMN_STATE, 40}});
        ShowCarriers({});
        return nullptr;
    }
    void OnNotify(const NMHDR& header) override {
        if (header.idFrom == IDC_LIST && header.code == static_cast<UINT>(LVN_ITEMCHANGED)) EnableButtons();
    }
    void OnCommand(UINT id) override;

    ReportList List() const { return ReportList(Item(IDC_LIST)); }
    // Reads the carriers again, lists them and selects the one of this name, if there is one.
    void ShowCarriers(const std::wstring& selected);
    void EnableButtons() const;
    const Carrier* Selected() const;  // null if none is
    void Insert(Carrier carrier, bool present);
    void Remove(const Carrier& carrier);
    // Shows the carriers as they are now, whether the change succeeded or not.
    void Report(DWORD result, const std::wstring& selected);

    std::vector<Carrier> carriers_;  // as listed; the data of a row is its index
};

void ReadersDialog::OnCommand(UINT id) {
    if (id == IDC_ADD) {
        std::wstring name;
        if (NewCarrierDialog(name).Run(Window()) == ERROR_SUCCESS) ShowCarriers(name);
        return;
    }
    const Carrier* const selected = Selected();
    if (selected == nullptr) return;
    const Carrier carrier = *selected;
    if (id == IDC_REMOVE) Remove(carrier);
    if (id == IDC_INSERT || id == IDC_EJECT) Insert(carrier, id == IDC_INSERT);
}

void ReadersDialog::ShowCarriers(const std::wstring& selected) {
    List().Clear();
    carriers_ = Carriers();
    for (std::size_t i = 0; i < carriers_.size(); ++i) {
        const auto data = static_cast<LPARAM>(i);
        List().Add({carriers_[i].name, OwnString(carriers_[i].present ? IDS_PRESENT : IDS_ABSENT)}, data);
        if (carriers_[i].name == selected) List().Select(data);
    }
    EnableButtons();
}

void ReadersDialog::EnableButtons() const {
    const Carrier* const selected = Selected();
    const bool removable = selected != nullptr && selected->removable;
    const HWND focus = GetFocus();
    Enable(IDC_REMOVE, removable);
    Enable(IDC_INSERT, removable && !selected->present);
    Enable(IDC_EJECT, removable && selected->present);
    // A disabled button would keep the focus, and the keyboard would have no effect.
    if (focus != nullptr && GetParent(focus) == Window() && !IsWindowEnabled(focus)) SetFocus(Item(IDC_LIST));
}

const Carrier* ReadersDialog::Selected() const {
    const LPARAM row = List().Selected();
    return row != ReportList::kNone ? &carriers_[static_cast<std::size_t>(row)] : nullptr;
}

void ReadersDialog::Insert(Carrier carrier, bool present) {
    carrier.present = present;
    Report(UpdateCarrier(carrier), carrier.name);
}

void ReadersDialog::Remove(const Carrier& carrier) {
    std::wstring question = OwnString(IDS_REMOVE_QUESTION);
    if (const std::size_t at = question.find(L"%1"); at != question.npos) question.replace(at, 2, carrier.name);
    if (ShowMessage(question, MB_YESNO | MB_ICONQUESTION) == IDYES) Report(RemoveCarrier(carrier.name), {});
}

void ReadersDialog::Report(DWORD result, const std::wstring& selected) {
    if (result != ERROR_SUCCESS) ShowMessage(OwnString(IDS_NOT_SAVED));
    ShowCarriers(selected);
}

template <class Show>
DWORD ShowWindows(const RDR_WND_REQUEST* request, Show show) noexcept {
    if (request == nullptr || request->size != sizeof *request) return ERROR_INVALID_PARAMETER;
    return Guarded([&] {
        const DWORD result = show(request->parent);
        return result == ERROR_CANCELLED ? ERROR_SUCCESS : result;  // their only button closes them
    });
}

}  // namespace
}  // namespace softcsp

DWORD rdr_wnd_configure(const RDR_WND_REQUEST* request) {
    return softcsp::ShowWindows(request, [](HWND parent) { return softcsp::ReadersDialog().Run(parent); });
}

DWORD rdr_media_wnd_configure(const RDR_WND_REQUEST* request) {
    return softcsp::ShowWindows(request, [](HWND parent) {
        return softcsp::FactsDialog(
                   IDD_CARRIER_TYPES, {IDS_COLUMN_CARRIER_TYPE, IDS_COLUMN_PLACE},
                   {{IDS_TYPE_REGISTRY, IDS_PLACE_REGISTRY}, {IDS_TYPE_DIRECTORY, IDS_PLACE_DIRECTORY}})
            .Run(parent);
    });
}

DWORD rdr_register_start(SUPSYS_REGISTRATION* registration) {
    if (registration == nullptr || registration->size != sizeof *registration) return ERROR_INVALID_PARAMETER;
    softcsp::ReaderRegistration* const created = softcsp::ReaderRegistration::Create();
    if (created == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    registration->context = created;
    return ERROR_SUCCESS;
}
