#include "softcsp/dialogs/FactsDialog.h"

#include "softcsp/dialogs/ModuleText.h"
#include "softcsp/dialogs/ReportList.h"
#include "softcsp/dialogs/resource.h"

namespace softcsp {

HWND FactsDialog::OnInit() {
    const ReportList list(Item(IDC_LIST));
    list.SetColumns({{titles_.first, 35}, {titles_.second, 65}});
    for (const Row& row : rows_) list.Add({OwnString(row.first), OwnString(row.second)}, 0);
    return nullptr;
}

}  // namespace softcsp
