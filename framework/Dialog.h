// CDialog: a dialog from a template in memory.
#pragma once

#include <windows.h>

#include <span>

#include "framework/Wnd.h"

class CDialog : public CWnd {
  public:
    CDialog() = default;

    // The template and its initialisation data (may be empty), which are not copied and must outlive the dialog.
    void InitModalIndirect(std::span<const BYTE> dialogTemplate, std::span<const BYTE> initData = {}) noexcept;

    // Runs the dialog, owned by `owner` or else by the thread's active window. Returns the value passed to EndDialog,
    // or -1 when there is no template or the dialog could not be created or initialised.
    INT_PTR DoModal(HWND owner = nullptr);

    void EndDialog(INT_PTR result) noexcept;

  protected:
    // Derived classes call the base first. True: the system sets the focus to the first control.
    virtual bool OnInitDialog();
    virtual void OnOK();      // calls UpdateData(true) and ends with IDOK when it succeeds
    virtual void OnCancel();  // ends with IDCANCEL

    // Enables or disables a control and the static text that labels it. Moves the focus on from a control that is being
    // disabled, because a dialog whose focused control is disabled gets no keyboard input.
    void EnableControl(UINT id, bool enable) noexcept;

    MessageResult HandleMessage(const Message& message) override;

    // The result of the dialog procedure for a message to this attached object.
    INT_PTR AnswerDialogMessage(const Message& message) noexcept;

    // WM_INITDIALOG: attaches the object to its window and calls OnInitDialog.
    INT_PTR Begin(HWND window) noexcept;

    // Called when Begin failed (out of memory). The controls may not show the stored values, so nothing may be saved.
    // Default: ends the dialog with -1.
    virtual void OnStartFailed(HWND window) noexcept;

    // The object attached to a dialog window by Begin; nullptr before.
    static CDialog* ObjectOf(HWND window) noexcept;

    std::span<const BYTE> template_;
    std::span<const BYTE> initData_;

  private:
    static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept;
};

// Initialisation data of dialog templates: the items that resource editors store for list boxes and combo boxes.
constexpr UINT kDialogType = 5;        // RT_DIALOG as a number
constexpr UINT kDialogInitType = 240;  // RT_DLGINIT

// Sends each entry of `data` to its control. Entries: control id (16 bits), message (16 bits), length in bytes
// (32 bits), text in the ANSI code page with its terminator; a control id of 0 ends the list. Returns false at the
// first entry that is longer than the remaining data or that the control rejects.
bool ApplyDialogInit(HWND dialog, std::span<const BYTE> data) noexcept;
