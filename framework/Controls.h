// Common controls: combo box, list view, spin button, static and tool tip; enabling a control with its label.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include <iterator>
#include <span>

#include "framework/Wnd.h"

// Whether a window is of a class, such as WC_STATICW.
inline bool IsOfClass(HWND window, const wchar_t* name) noexcept {
    wchar_t found[32] = L"";
    if (window) GetClassNameW(window, found, static_cast<int>(std::size(found)));
    return lstrcmpiW(found, name) == 0;
}

// The static text that labels a control: the window directly before it in the tab order, as for access keys. nullptr
// when that window is not a static text, and for buttons: a text before them is a heading.
inline HWND LabelOf(HWND control) noexcept {
    if (!control || IsOfClass(control, WC_BUTTONW)) return nullptr;
    const HWND before = GetWindow(control, GW_HWNDPREV);
    return IsOfClass(before, WC_STATICW) ? before : nullptr;
}

// Also enables or disables the control's label, because a black label next to a gray control looks usable.
inline void EnableWithLabel(HWND control, bool enable) noexcept {
    EnableWindow(control, enable);
    if (const HWND label = LabelOf(control)) EnableWindow(label, enable);
}

// A combo box. Items are counted from 0.
class CComboBox : public CWnd {
  public:
    int AddString(const std::wstring& text) noexcept {  // the item's position; negative on failure
        return static_cast<int>(SendMessage(CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text.c_str())));
    }
    // Selects the first item that begins with `text`, ignoring case. Returns its position; negative when there is none.
    int SelectString(const std::wstring& text) noexcept {
        return static_cast<int>(
            SendMessage(CB_SELECTSTRING, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(text.c_str())));
    }
    void ResetContent() noexcept { SendMessage(CB_RESETCONTENT); }
    int GetCount() const noexcept { return static_cast<int>(SendMessage(CB_GETCOUNT)); }
    int GetCurSel() const noexcept { return static_cast<int>(SendMessage(CB_GETCURSEL)); }  // -1: none
    int SetCurSel(int item) noexcept { return static_cast<int>(SendMessage(CB_SETCURSEL, static_cast<WPARAM>(item))); }
    LPARAM GetItemData(int item) const noexcept { return SendMessage(CB_GETITEMDATA, static_cast<WPARAM>(item)); }
    void SetItemData(int item, LPARAM data) noexcept { SendMessage(CB_SETITEMDATA, static_cast<WPARAM>(item), data); }
};

// A list view in report view. Items and columns are counted from 0.
class CListCtrl : public CWnd {
  public:
    // Adds a left-aligned column; `width` in pixels.
    int InsertColumn(int column, const std::wstring& heading, int width) noexcept {
        LVCOLUMNW request{};
        request.mask = LVCF_TEXT | LVCF_FMT | LVCF_WIDTH | LVCF_SUBITEM;
        request.fmt = LVCFMT_LEFT;
        request.pszText = const_cast<wchar_t*>(heading.c_str());
        request.cx = width;
        request.iSubItem = column;
        return static_cast<int>(SendMessage(LVM_INSERTCOLUMNW, static_cast<WPARAM>(column), Pointer(request)));
    }
    int InsertItem(int item, const std::wstring& text) noexcept {  // its position; negative on failure
        LVITEMW request{};
        request.mask = LVIF_TEXT;
        request.iItem = item;
        request.pszText = const_cast<wchar_t*>(text.c_str());
        return static_cast<int>(SendMessage(LVM_INSERTITEMW, 0, Pointer(request)));
    }
    bool SetItemText(int item, int column, const std::wstring& text) noexcept {
        LVITEMW request{};
        request.iSubItem = column;
        request.pszText = const_cast<wchar_t*>(text.c_str());
        return SendMessage(LVM_SETITEMTEXTW, static_cast<WPARAM>(item), Pointer(request)) != 0;
    }
    bool DeleteAllItems() noexcept { return SendMessage(LVM_DELETEALLITEMS) != 0; }
    int GetItemCount() const noexcept { return static_cast<int>(SendMessage(LVM_GETITEMCOUNT)); }
    bool SetItemData(int item, LPARAM data) noexcept {
        LVITEMW request{};
        request.mask = LVIF_PARAM;
        request.iItem = item;
        request.lParam = data;
        return SendMessage(LVM_SETITEMW, 0, Pointer(request)) != 0;
    }
    LPARAM GetItemData(int item) const noexcept {  // 0 when there is none
        LVITEMW request{};
        request.mask = LVIF_PARAM;
        request.iItem = item;
        return SendMessage(LVM_GETITEMW, 0, Pointer(request)) ? request.lParam : 0;
    }
    // `compare` receives the data of two items and `argument`. A negative result sorts the first item before the
    // second.
    bool SortItems(PFNLVCOMPARE compare, LPARAM argument) noexcept {
        return SendMessage(LVM_SORTITEMS, static_cast<WPARAM>(argument), reinterpret_cast<LPARAM>(compare)) != 0;
    }
    // The list view destroys the images.
    void SetStateImages(HIMAGELIST images) noexcept {
        SendMessage(LVM_SETIMAGELIST, LVSIL_STATE, reinterpret_cast<LPARAM>(images));
    }
    void SetStateImage(int item, UINT image) noexcept {  // counted from 1; 0: none
        LVITEMW request{};
        request.stateMask = LVIS_STATEIMAGEMASK;
        request.state = INDEXTOSTATEIMAGEMASK(image);
        SendMessage(LVM_SETITEMSTATE, static_cast<WPARAM>(item), Pointer(request));
    }
    int GetColumnWidth(int column) const noexcept {  // pixels
        return static_cast<int>(SendMessage(LVM_GETCOLUMNWIDTH, static_cast<WPARAM>(column)));
    }
    HWND GetHeader() const noexcept { return reinterpret_cast<HWND>(SendMessage(LVM_GETHEADER)); }
    void EnsureVisible(int item) noexcept { SendMessage(LVM_ENSUREVISIBLE, static_cast<WPARAM>(item), FALSE); }
    void SetColumnWidth(int column, int width) noexcept {  // pixels, or LVSCW_…
        SendMessage(LVM_SETCOLUMNWIDTH, static_cast<WPARAM>(column), MAKELPARAM(width, 0));
    }
    void SetExtendedStyle(DWORD style) noexcept {  // LVS_EX_…
        SendMessage(LVM_SETEXTENDEDLISTVIEWSTYLE, 0, static_cast<LPARAM>(style));
    }

  private:
    template <class Request>
    static LPARAM Pointer(Request& request) noexcept {
        return reinterpret_cast<LPARAM>(&request);
    }
};

// An up-down control that changes the number in an edit control.
class CSpinButtonCtrl : public CWnd {
  public:
    void SetBuddy(HWND edit) noexcept { SendMessage(UDM_SETBUDDY, reinterpret_cast<WPARAM>(edit)); }
    void SetRange32(int least, int most) noexcept {
        SendMessage(UDM_SETRANGE32, static_cast<WPARAM>(least), static_cast<LPARAM>(most));
    }
    // The step after the button has been held for a number of seconds, in ascending order of the seconds.
    void SetAccel(std::span<const UDACCEL> steps) noexcept {
        SendMessage(UDM_SETACCEL, steps.size(), reinterpret_cast<LPARAM>(steps.data()));
    }
};

// A static text or picture.
class CStatic : public CWnd {
  public:
    // The caller keeps ownership of the icon. Returns the icon shown before.
    HICON SetIcon(HICON icon) noexcept {
        return reinterpret_cast<HICON>(SendMessage(STM_SETICON, reinterpret_cast<WPARAM>(icon)));
    }
};

// Tips for a window's controls.
class CToolTipCtrl : public CWnd {
  public:
    ~CToolTipCtrl() override;

    // Creates the tip window. It is destroyed together with this object or with `owner`, whichever is destroyed first.
    bool Create(const CWnd& owner) noexcept;

    // Shows `text` while the mouse rests over the control; the text is copied.
    bool AddTool(HWND control, const std::wstring& text) noexcept;

    // Shows `text` while the mouse is over the rectangle of a control of `owner` and the control does not receive mouse
    // messages, which is the case while it is disabled. The text is copied; an empty one shows no tip.
    void SetTextBehind(const CWnd& owner, UINT control, const std::wstring& text) noexcept;
};
