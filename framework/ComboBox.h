// CComboBox: a combo box's list and selection.
#pragma once

#include "framework/Wnd.h"

class CComboBox : public CWnd {
  public:
    int AddString(const std::wstring& text) noexcept {  // the item's position; negative on failure
        return static_cast<int>(SendMessage(CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text.c_str())));
    }
    void ResetContent() noexcept { SendMessage(CB_RESETCONTENT); }
    int GetCount() const noexcept { return static_cast<int>(SendMessage(CB_GETCOUNT)); }
    int GetCurSel() const noexcept { return static_cast<int>(SendMessage(CB_GETCURSEL)); }  // -1: none
    int SetCurSel(int item) noexcept { return static_cast<int>(SendMessage(CB_SETCURSEL, static_cast<WPARAM>(item))); }
    LPARAM GetItemData(int item) const noexcept { return SendMessage(CB_GETITEMDATA, static_cast<WPARAM>(item)); }
    void SetItemData(int item, LPARAM data) noexcept { SendMessage(CB_SETITEMDATA, static_cast<WPARAM>(item), data); }
};
