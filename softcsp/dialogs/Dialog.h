// The base of the provider's dialogs (language, owner, position, time limit), lists in them, and the texts and
// templates of the module that this code is linked into.
#pragma once

#include <windows.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace softcsp {

HINSTANCE OwnModule();

// In the language of softcsp::Language; empty if the string is missing in it.
std::wstring OwnString(UINT id);

constexpr DWORD kNoTimeLimit = MAXDWORD;

// How long a dialog waits for the user: the value of "\local\KeyDevices\<name>", else "\global\KeyDevices\<name>", else
// ten minutes. In milliseconds, or kNoTimeLimit. The store has seconds; -1 is no limit, 0 and other negative numbers
// are 1.
DWORD DialogTime(const wchar_t* name);

class Dialog {
  public:
    Dialog(const Dialog&) = delete;
    Dialog& operator=(const Dialog&) = delete;
    virtual ~Dialog() = default;

    // Shows the dialog until it is closed. Its owner is the window's top-level window or, for null, the thread's active
    // window. 0 for OK, ERROR_CANCELLED for Cancel or an elapsed time limit, or why it could not be shown.
    DWORD Run(HWND owner);

  protected:
    // `time` is the name of the setting for the time limit; null: no limit.
    explicit Dialog(UINT templateId, const wchar_t* time = nullptr) : template_(templateId), time_(time) {}

    // Returns the control that gets the focus; null: the first one of the template.
    virtual HWND OnInit() { return nullptr; }
    // False keeps the dialog open.
    virtual bool OnOk() { return true; }
    virtual void OnCommand(UINT /*id*/) {}
    virtual void OnNotify(const NMHDR& /*header*/) {}
    // The dialog is being destroyed; its controls still exist.
    virtual void OnClosed() {}

    HWND Window() const { return window_; }
    HWND Item(UINT id) const { return GetDlgItem(window_, static_cast<int>(id)); }
    void Enable(UINT id, bool enabled) const { EnableWindow(Item(id), enabled); }

    // Shows a message box and returns its result. The dialog's time limit continues and closes the box, too.
    int ShowMessage(const std::wstring& text, UINT type = MB_OK | MB_ICONEXCLAMATION);
    // Sets the text of a label that may be too narrow; a tool tip shows all of it. The label needs SS_NOTIFY.
    void ShowWhole(UINT id, const std::wstring& text) const;
    // Hides controls of one row and moves the others up. For OnInit.
    void HideRow(std::initializer_list<UINT> ids) const;

  private:
    static INT_PTR CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept;
    INT_PTR Handle(UINT message, WPARAM wParam, LPARAM lParam);
    INT_PTR Init(HWND focus);
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
        int share;   // of the list's width, in percent; the last column has the rest
    };
    static constexpr LPARAM kNone = -1;

    explicit ReportList(HWND list) : list_(list) {}

    void SetColumns(std::initializer_list<Column> columns) const;
    // Texts by column; `data` is the caller's own.
    void Add(const std::vector<std::wstring>& row, LPARAM data) const;
    void Clear() const;

    int Count() const;
    // The data of the selected row, or kNone.
    LPARAM Selected() const;
    // Selects the row with this data, if there is one.
    void Select(LPARAM data) const;

  private:
    HWND list_;
};

// A list without choices and a button that closes it.
class FactsDialog final : public Dialog {
  public:
    // Strings of the own module: the titles of the two columns and the texts of the rows.
    using Row = std::pair<UINT, UINT>;
    FactsDialog(UINT templateId, Row titles, std::vector<Row> rows)
        : Dialog(templateId), titles_(titles), rows_(std::move(rows)) {}

  private:
    HWND OnInit() override;

    Row titles_;
    std::vector<Row> rows_;
};

}  // namespace softcsp
