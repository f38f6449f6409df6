#include "softcsp/kvrdr/ReadersDialog.h"

#include <commctrl.h>

#include "softcsp/dialogs/ModuleText.h"
#include "softcsp/dialogs/ReportList.h"
#include "softcsp/kvrdr/NewCarrierDialog.h"
#include "softcsp/kvrdr/resource.h"

namespace softcsp {
namespace {

constexpr LPARAM kNone = -1;

}  // namespace

ReadersDialog::ReadersDialog() : Dialog(IDD_READERS) {}

HWND ReadersDialog::OnInit() {
    ReportList(Item(IDC_LIST)).SetColumns({{IDS_COLUMN_CARRIER, 60}, {IDS_COLUMN_STATE, 40}});
    Refresh({});
    return nullptr;
}

void ReadersDialog::Refresh(const std::wstring& chosen) {
    const ReportList list(Item(IDC_LIST));
    list.Clear();
    carriers_ = Carriers();
    for (std::size_t i = 0; i < carriers_.size(); ++i) {
        const Carrier& carrier = carriers_[i];
        const auto data = static_cast<LPARAM>(i);
        list.Add({carrier.name, OwnString(carrier.present ? IDS_PRESENT : IDS_ABSENT)}, data);
        if (carrier.name == chosen) list.Choose(data);
    }
    EnableButtons();
}

void ReadersDialog::EnableButtons() const {
    const Carrier* const chosen = Chosen();
    const bool removable = chosen != nullptr && chosen->removable;
    const HWND focus = GetFocus();
    Enable(IDC_REMOVE, removable);
    Enable(IDC_INSERT, removable && !chosen->present);
    Enable(IDC_EJECT, removable && chosen->present);
    // A disabled button would keep the keyboard.
    if (focus != nullptr && GetParent(focus) == Window() && !IsWindowEnabled(focus)) SetFocus(Item(IDC_LIST));
}

const Carrier* ReadersDialog::Chosen() const {
    const LPARAM row = ReportList(Item(IDC_LIST)).Chosen(kNone);
    return row != kNone ? &carriers_[static_cast<std::size_t>(row)] : nullptr;
}

void ReadersDialog::OnNotify(const NMHDR& header) {
    if (header.idFrom == IDC_LIST && header.code == static_cast<UINT>(LVN_ITEMCHANGED)) EnableButtons();
}

void ReadersDialog::OnCommand(UINT id) {
    if (id == IDC_ADD) {
        std::wstring name;
        if (NewCarrierDialog(name).Run(Window()) == ERROR_SUCCESS) Refresh(name);
        return;
    }
    const Carrier* const chosen = Chosen();
    if (chosen == nullptr) return;
    if (id == IDC_REMOVE) Remove(std::wstring(chosen->name));
    if (id == IDC_INSERT || id == IDC_EJECT) Plug(*chosen, id == IDC_INSERT);
}

void ReadersDialog::Plug(Carrier carrier, bool present) {
    carrier.present = present;
    Report(UpdateCarrier(carrier), carrier.name);
}

void ReadersDialog::Remove(const std::wstring& name) {
    Report(RemoveCarrier(name), {});
}

void ReadersDialog::Report(DWORD result, const std::wstring& chosen) {
    if (result != ERROR_SUCCESS) Tell(OwnString(IDS_NOT_SAVED));
    Refresh(chosen);
}

}  // namespace softcsp
