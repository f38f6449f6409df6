#include "softcsp/dialogs/Dialogs.h"

#include <commctrl.h>

#include "softcsp/dialogs/Dialog.h"
#include "softcsp/dialogs/ModuleText.h"
#include "softcsp/dialogs/ReportList.h"
#include "softcsp/dialogs/resource.h"

namespace softcsp {
namespace {

constexpr LPARAM kNone = -1;

// One of a list. Subclasses fill it; a row's data is the index that its choice gives.
class ChoiceDialog : public Dialog {
  protected:
    ChoiceDialog(UINT templateId, std::size_t& chosen) : Dialog(templateId, L"choice_time"), chosen_(chosen) {}

    ReportList List() const { return ReportList(Item(IDC_LIST)); }
    virtual void Fill() = 0;

  private:
    HWND OnInit() override {
        Fill();
        if (List().Count() > 0) RemoveRow({IDC_NONE});
        Enable(IDOK, false);
        return Item(List().Count() > 0 ? IDC_LIST : IDCANCEL);
    }
    void OnNotify(const NMHDR& header) override {
        if (header.idFrom != IDC_LIST) return;
        if (header.code == static_cast<UINT>(LVN_ITEMCHANGED)) Enable(IDOK, List().Chosen(kNone) != kNone);
        if (header.code == static_cast<UINT>(NM_DBLCLK)) PressOk();
    }
    bool OnOk() override {
        const LPARAM chosen = List().Chosen(kNone);
        if (chosen == kNone) return false;
        chosen_ = static_cast<std::size_t>(chosen);
        return true;
    }

    std::size_t& chosen_;
};

class ContainerDialog final : public ChoiceDialog {
  public:
    ContainerDialog(const std::vector<ContainerChoice>& containers, std::size_t& chosen)
        : ChoiceDialog(IDD_CHOOSE_CONTAINER, chosen), containers_(containers) {}

  private:
    void Fill() override {
        List().SetColumns({{IDS_COLUMN_CONTAINER, 68}, {IDS_COLUMN_CARRIER, 32}});
        LPARAM index = 0;
        for (const ContainerChoice& container : containers_) List().Add({container.name, container.carrier}, index++);
    }

    const std::vector<ContainerChoice>& containers_;
};

class CarrierDialog final : public ChoiceDialog {
  public:
    CarrierDialog(const std::wstring& container, const std::vector<Carrier>& carriers, std::size_t& chosen)
        : ChoiceDialog(IDD_CHOOSE_CARRIER, chosen), container_(container), carriers_(carriers) {}

  private:
    void Fill() override {
        ShowWhole(IDC_CONTAINER, container_);
        List().SetColumns({{IDS_COLUMN_CARRIER, 60}, {IDS_COLUMN_KIND, 40}});
        LPARAM index = 0;
        for (const Carrier& carrier : carriers_) {
            if (carrier.present)
                List().Add({carrier.name, OwnString(carrier.removable ? IDS_KIND_REMOVABLE : IDS_KIND_REGISTRY)},
                           index);
            ++index;
        }
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
