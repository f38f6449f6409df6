// What the provider's dialogs have in common: language, owner, place, time limit, and a procedure that nothing is
// thrown through.
#pragma once

#include <windows.h>

#include <initializer_list>
#include <string>

namespace softcsp {

class Dialog {
  public:
    Dialog(const Dialog&) = delete;
    Dialog& operator=(const Dialog&) = delete;
    virtual ~Dialog() = default;

    // Shows it until it is closed, above the owner or, without one, above the thread's active window.
    // 0 for OK, ERROR_CANCELLED for everything else that closes it, or why it couldn't be shown.
    DWORD Run(HWND owner);

  protected:
    // `time` names the setting of the time limit (DialogTime.h), nullptr = none.
    explicit Dialog(UINT templateId, const wchar_t* time = nullptr) : template_(templateId), time_(time) {}

    // The control that gets the focus; nullptr = the template's first.
    virtual HWND OnInit() { return nullptr; }
    // False: the dialog stays open.
    virtual bool OnOk() { return true; }
    virtual void OnCommand(UINT /*id*/) {}
    virtual void OnNotify(const NMHDR& /*header*/) {}
    // The dialog goes, whatever closed it; its controls are still there.
    virtual void OnClosed() {}

    HWND Window() const { return window_; }
    HWND Item(UINT id) const { return GetDlgItem(window_, static_cast<int>(id)); }
    void Enable(UINT id, bool enabled) const { EnableWindow(Item(id), enabled); }

    // A message box. The dialog's time goes on and closes the box, too.
    void Tell(const std::wstring& text);
    // Gives a label that may be too narrow its text; a tool tip shows the whole. The label needs SS_NOTIFY.
    void ShowWhole(UINT id, const std::wstring& text) const;
    // Takes controls that lie in one row away, and its room with them. For OnInit.
    void RemoveRow(std::initializer_list<UINT> ids) const;
    void PressOk() const { SendMessageW(window_, WM_COMMAND, IDOK, 0); }

  private:
    static INT_PTR CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept;
    INT_PTR Handle(UINT message, WPARAM wParam, LPARAM lParam);
    INT_PTR Init(HWND focus);
    void Expire();
    void Centre() const;

    UINT template_;
    const wchar_t* time_;
    HWND window_ = nullptr;
    bool telling_ = false;  // a message box is open
    bool expired_ = false;
    DWORD failure_ = ERROR_SUCCESS;  // what a handler threw
};

}  // namespace softcsp
