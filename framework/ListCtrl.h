// CListCtrl: a list view in its report form. Items and columns are counted from 0.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include "framework/Wnd.h"

class CListCtrl : public CWnd {
  public:
    // A column at the left edge of its text, `width` in pixels.
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
    // `compare` gets the data of two items and `argument`; negative: the first one goes before the second.
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
