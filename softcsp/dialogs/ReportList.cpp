#include "softcsp/dialogs/ReportList.h"

#include <commctrl.h>

#include "softcsp/dialogs/ModuleText.h"

namespace softcsp {

void ReportList::SetColumns(std::initializer_list<Column> columns) const {
    constexpr DWORD look = LVS_EX_FULLROWSELECT | LVS_EX_LABELTIP;  // a text that is cut off is shown in a tool tip
    ListView_SetExtendedListViewStyleEx(list_, look, look);
    RECT client{};
    GetClientRect(list_, &client);
    const int width = client.right - GetSystemMetrics(SM_CXVSCROLL);
    int index = 0;
    for (const Column& column : columns) {
        std::wstring title = OwnString(column.title);
        LVCOLUMNW added{};
        added.mask = LVCF_TEXT | LVCF_WIDTH | LVCF_SUBITEM;
        added.pszText = title.data();
        added.cx = width * column.share / 100;
        added.iSubItem = index;
        ListView_InsertColumn(list_, index, &added);
        ++index;
    }
}

void ReportList::Add(const std::vector<std::wstring>& row, LPARAM data) const {
    LVITEMW item{};
    item.mask = LVIF_PARAM;
    item.iItem = Count();
    item.lParam = data;
    item.iItem = ListView_InsertItem(list_, &item);
    item.mask = LVIF_TEXT;
    for (const std::wstring& text : row) {
        item.pszText = const_cast<wchar_t*>(text.c_str());  // only read when it is set
        ListView_SetItem(list_, &item);
        ++item.iSubItem;
    }
}

void ReportList::Clear() const {
    ListView_DeleteAllItems(list_);
}

int ReportList::Count() const {
    return ListView_GetItemCount(list_);
}

LPARAM ReportList::Chosen(LPARAM none) const {
    LVITEMW item{};
    item.mask = LVIF_PARAM;
    item.iItem = ListView_GetNextItem(list_, -1, LVNI_SELECTED);
    return item.iItem >= 0 && ListView_GetItem(list_, &item) ? item.lParam : none;
}

void ReportList::Choose(LPARAM data) const {
    LVFINDINFOW wanted{};
    wanted.flags = LVFI_PARAM;
    wanted.lParam = data;
    const int row = ListView_FindItem(list_, -1, &wanted);
    if (row < 0) return;
    ListView_SetItemState(list_, row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    ListView_EnsureVisible(list_, row, FALSE);
}

}  // namespace softcsp
