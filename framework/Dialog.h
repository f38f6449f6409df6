// CDialog: a dialog from a template in memory.
#pragma once

#include <windows.h>

#include <span>

#include "framework/Wnd.h"

class CDialog : public CWnd {
  public:
    CDialog() = default;

    // The template and its initialisation data (may be empty); both stay the caller's and must outlive the dialog.
    void InitModalIndirect(std::span<const BYTE> dialogTemplate, std::span<const BYTE> initData = {}) noexcept;

    // Runs the dialog over the thread's active window, or over `owner`; the value given to EndDialog, or -1 when there
    // is no template or the dialog can't be created, its start included.
    INT_PTR DoModal(HWND owner = nullptr);

    void EndDialog(INT_PTR result) noexcept;

  protected:
    // Derived classes call the base first. True: the system sets the focus to the first control.
    virtual bool OnInitDialog();
    virtual void OnOK();      // takes the controls' values; ends with IDOK when they are valid
    virtual void OnCancel();  // ends with IDCANCEL

    // Enables or disables a control and the static text that labels it. Moves the focus on from a control that is being
    // disabled, because a dialog whose focused control is disabled gets no keyboard input.
    void EnableControl(UINT id, bool enable) noexcept;

    MessageResult HandleMessage(const Message& message) override;

    // What a dialog procedure returns for a message to this attached object. Lets nothing out.
    INT_PTR AnswerDialogMessage(const Message& message) noexcept;

    // WM_INITDIALOG: ties the object to its window and runs OnInitDialog.
    INT_PTR Begin(HWND window) noexcept;

    // Begin couldn't be completed (out of memory). The controls may not show what is stored, so nothing may be saved
    // from them. Here: the dialog ends with -1.
    virtual void OnStartFailed(HWND window) noexcept;

    // The object that Begin tied to a dialog window; nullptr before.
    static CDialog* ObjectOf(HWND window) noexcept;

    std::span<const BYTE> template_;
    std::span<const BYTE> initData_;

  private:
    static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept;
};

// Initialisation data of dialog templates (resource type 240): what resource editors store for lists and combo boxes.

constexpr UINT kDialogType = 5;  // RT_DIALOG as a number
constexpr UINT kDialogInitType = 240;

// Sends each entry of `data` to its control. Entries: control id (16 bits), message (16 bits), length in bytes
// (32 bits), text in the ANSI code page with its terminator; a control id of 0 ends the list. Stops at the first entry
// that doesn't fit into the data or that the control refuses; false then.
bool ApplyDialogInit(HWND dialog, std::span<const BYTE> data) noexcept;
