// A dialog of the provider (language, owner, time limit) with what it does at its events, and lists in dialogs. The
// templates are resources of the module that this code is linked into.
#pragma once

#include <windows.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "softcsp/common/Resources.h"

namespace softcsp {

constexpr DWORD kNoTimeLimit = MAXDWORD;

// How long a dialog waits for the user: the value of "\local\KeyDevices\<name>", else "\global\KeyDevices\<name>", else
// ten minutes. In milliseconds, or kNoTimeLimit. The store has seconds; -1 is no limit, 0 and other negative numbers
// are 1.
DWORD DialogTime(const wchar_t* name);

class Dialog {
  public:
    // `time` is the name of the setting for the time limit; null: no limit.
    explicit Dialog(UINT templateId, const wchar_t* time = nullptr) : template_(templateId), time_(time) {}
    Dialog(const Dialog&) = delete;
    Dialog& operator=(const Dialog&) = delete;

    // What the dialog does; set before Run.
    std::function<UINT()> onInit;                      // returns the control that gets the focus; 0: the first one
    std::function<bool()> onOk = [] { return true; };  // false keeps the dialog open
    std::function<void(UINT id)> onCommand = [](UINT) {};
    std::function<void(const NMHDR& header)> onNotify = [](const NMHDR&) {};
    std::function<void()> onClosed = [] {};  // its controls still exist

    // Shows the dialog until it is closed. Its owner is the window's top-level window or, for null, the thread's active
    // window. 0 for OK, ERROR_CANCELLED for Cancel or an elapsed time limit, or why it could not be shown.
    DWORD Run(HWND owner);
    // The same for a dialog whose only button closes it by Cancel: 0 then, too.
    DWORD RunUntilClosed(HWND owner);

    HWND Window() const { return window_; }
    HWND Item(UINT id) const { return GetDlgItem(window_, static_cast<int>(id)); }
    void Enable(UINT id, bool enabled) const { EnableWindow(Item(id), enabled); }
    void Show(UINT id, bool shown) const { ShowWindow(Item(id), shown ? SW_SHOW : SW_HIDE); }
    void SetText(UINT id, const std::wstring& text) const { SetWindowTextW(Item(id), text.c_str()); }

    // Shows a message box and returns its result. The dialog's time limit continues and closes the box, too.
    int ShowMessage(const std::wstring& text, UINT type = MB_OK | MB_ICONEXCLAMATION);

  private:
    static INT_PTR CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept;
    INT_PTR Handle(UINT message, WPARAM wParam, LPARAM lParam);
    INT_PTR Init();
    void Expire();

    UINT template_;
    const wchar_t* time_;
    HWND window_ = nullptr;
    bool showsMessage_ = false;
    bool expired_ = false;
    DWORD failure_ = ERROR_SUCCESS;  // of an exception in a handler
};

// A list of rows in columns, of which one row can be selected.
class ReportList {
  public:
    struct Column {
        UINT title;  // a string of the own module
        int share;   // of the list's width, in percent
    };
    using Row = std::vector<std::wstring>;  // texts by column

    explicit ReportList(HWND list) : list_(list) {}

    void SetColumns(std::initializer_list<Column> columns) const;
    void SetRows(const std::vector<Row>& rows) const;
    // The index of the selected row; -1: none is.
    int Selected() const;
    void Select(int row) const;

  private:
    HWND list_;
};

// Shows rows of facts until the user closes the window. All numbers are strings of the own module.
DWORD ShowFacts(HWND owner, UINT templateId, std::initializer_list<ReportList::Column> columns,
                std::initializer_list<std::initializer_list<UINT>> rows);

}  // namespace softcsp
