// CComboBox: a combo box's list and selection.
#pragma once

#include "framework/Label.h"
#include "framework/Wnd.h"

class CComboBox : public CWnd {
  public:
    // With its label. Returns whether it was disabled before.
    bool EnableWindow(bool enable = true) noexcept {
        const bool disabled = !::IsWindowEnabled(m_hWnd);
        EnableWithLabel(m_hWnd, enable);
        return disabled;
    }
    int AddString(const std::wstring& text) noexcept {  // the item's position; negative on failure
        return static_cast<int>(SendMessage(CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text.c_str())));
    }
    // Selects the first item that begins with `text`, in whatever case; its position, negative when there is none.
    int SelectString(const std::wstring& text) noexcept {
        return static_cast<int>(
            SendMessage(CB_SELECTSTRING, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(text.c_str())));
    }
    std::wstring GetLBText(int item) const {  // empty when there is no such item
        const LRESULT length = SendMessage(CB_GETLBTEXTLEN, static_cast<WPARAM>(item));
        if (length <= 0) return {};
        std::wstring text(static_cast<size_t>(length), L'\0');
        SendMessage(CB_GETLBTEXT, static_cast<WPARAM>(item), reinterpret_cast<LPARAM>(text.data()));
        return text;
    }
    void ResetContent() noexcept { SendMessage(CB_RESETCONTENT); }
    int GetCount() const noexcept { return static_cast<int>(SendMessage(CB_GETCOUNT)); }
    int GetCurSel() const noexcept { return static_cast<int>(SendMessage(CB_GETCURSEL)); }  // -1: none
    int SetCurSel(int item) noexcept { return static_cast<int>(SendMessage(CB_SETCURSEL, static_cast<WPARAM>(item))); }
    LPARAM GetItemData(int item) const noexcept { return SendMessage(CB_GETITEMDATA, static_cast<WPARAM>(item)); }
    void SetItemData(int item, LPARAM data) noexcept { SendMessage(CB_SETITEMDATA, static_cast<WPARAM>(item), data); }
};
