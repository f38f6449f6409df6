#include "softcsp/dialogs/Dialogs.h"

#include <commctrl.h>

#include "softcsp/dialogs/Dialog.h"
#include "softcsp/dialogs/resource.h"

namespace softcsp {
namespace {

// The user selects one row of a list. Subclasses add the rows; the data of a row is the index that is returned.
class ChoiceDialog : public Dialog {
  protected:
    ChoiceDialog(UINT templateId, std::size_t& chosen) : Dialog(templateId, L"choice_time"), chosen_(chosen) {}

    ReportList List() const { return ReportList(Item(IDC_LIST)); }
    virtual LPARAM AddRows() = 0;  // returns the row to select first, or ReportList::kNone

  private:
    HWND OnInit() override {
        List().Select(AddRows());
        const bool empty = List().Count() == 0;
        if (!empty) HideRow({IDC_NONE});
        Enable(IDOK, !empty);
        return Item(empty ? IDCANCEL : IDC_LIST);
    }
    void OnNotify(const NMHDR& header) override {
        if (header.idFrom != IDC_LIST) return;
        if (header.code == static_cast<UINT>(LVN_ITEMCHANGED)) Enable(IDOK, List().Selected() != ReportList::kNone);
        if (header.code == static_cast<UINT>(NM_DBLCLK)) SendMessageW(Window(), WM_COMMAND, IDOK, 0);
    }
    bool OnOk() override {
        const LPARAM selected = List().Selected();
        if (selected == ReportList::kNone) return false;
        chosen_ = static_cast<std::size_t>(selected);
        return true;
    }

    std::size_t& chosen_;
};

class ContainerDialog final : public ChoiceDialog {
  public:
    ContainerDialog(const std::vector<ContainerChoice>& containers, std::size_t& chosen)
        : ChoiceDialog(IDD_CHOOSE_CONTAINER, chosen), containers_(containers) {}

  private:
    LPARAM AddRows() override {
        List().SetColumns({{IDS_COLUMN_CONTAINER, 68}, {IDS_COLUMN_CARRIER, 32}});
        LPARAM index = 0;
        for (const ContainerChoice& container : containers_) List().Add({container.name, container.carrier}, index++);
        return 0;
    }

    const std::vector<ContainerChoice>& containers_;
};

class CarrierDialog final : public ChoiceDialog {
  public:
    CarrierDialog(const std::wstring& container, const std::vector<Carrier>& carriers, std::size_t& chosen)
        : ChoiceDialog(IDD_CHOOSE_CARRIER, chosen), container_(container), carriers_(carriers) {}

  private:
    LPARAM AddRows() override {
        ShowWhole(IDC_CONTAINER, container_);
        List().SetColumns({{IDS_COLUMN_CARRIER, 60}, {IDS_COLUMN_KIND, 40}});
        LPARAM first = ReportList::kNone;
        for (std::size_t i = carriers_.size(); i-- > 0;)
            if (carriers_[i].present) first = static_cast<LPARAM>(i);
        for (std::size_t i = 0; i < carriers_.size(); ++i) {
            const UINT kind = carriers_[i].removable ? IDS_KIND_REMOVABLE : IDS_KIND_REGISTRY;
            if (carriers_[i].present) List().Add({carriers_[i].name, OwnString(kind)}, static_cast<LPARAM>(i));
        }
        return first;
    }

    const std::wstring& container_;
    const std::vector<Carrier>& carriers_;
};

}  // namespace

DWORD ChooseContainer(HWND owner, const std::vector<ContainerChoice>& containers, std::size_t& chosen) {
    return ContainerDialog(containers, chosen).Run(owner);
}

DWORD ChooseCarrier(HWND owner, const std::wstring& container, const std::vector<Carrier>& carriers,
                    std::size_t& chosen) {
    return CarrierDialog(container, carriers, chosen).Run(owner);
}

}  // namespace softcsp
