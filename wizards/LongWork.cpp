#include "wizards/LongWork.h"

#include <cstddef>

namespace {

struct MessageRange {
    UINT first, last;
};

constexpr int kWizardButtons[] = {0x3023, 0x3024, 0x3025};  // the sheet's Back, Next and Finish

constexpr MessageRange kInput[] = {{WM_KEYFIRST, WM_KEYLAST},
                                   {WM_MOUSEFIRST, WM_MOUSELAST},
                                   {WM_NCMOUSEMOVE, WM_NCXBUTTONDBLCLK},
                                   {BM_CLICK, BM_CLICK}};

bool IsCancelKey(const MSG& message, HWND cancel) {
    switch (message.message) {
        case WM_KEYDOWN:
            return message.wParam == VK_ESCAPE ||
                   (message.hwnd == cancel && (message.wParam == VK_RETURN || message.wParam == VK_SPACE));
        case WM_SYSKEYDOWN: return message.wParam == VK_F4;
        default: return false;
    }
}

bool IsKey(const MSG& message) {
    return message.message >= WM_KEYFIRST && message.message <= WM_KEYLAST;
}

// Of the sheet's frame only the Close button is processed: moving and sizing would suspend the work.
bool IsForClosing(const MSG& message, HWND sheet, HWND cancel) {
    const bool frame = message.message >= WM_NCMOUSEMOVE && message.message <= WM_NCXBUTTONDBLCLK;
    return frame ? message.hwnd == sheet && message.wParam == HTCLOSE : message.hwnd == cancel;
}

// Removes the sheet's input from the queue. Input for the Cancel and Close buttons is dispatched, so the page receives
// PSN_QUERYCANCEL before this returns. Other input is discarded: the user made it for an earlier state of the sheet.
// True when the user pressed Esc, or when WM_QUIT has been posted.
bool ProcessCancelInput(HWND sheet) noexcept {
    const HWND cancel = GetDlgItem(sheet, IDCANCEL);
    bool pressed = false;
    for (const MessageRange& range : kInput) {
        MSG message;
        while (PeekMessageW(&message, sheet, range.first, range.last, PM_REMOVE)) {
            if (message.message == WM_QUIT) {
                PostQuitMessage(static_cast<int>(message.wParam));  // for the message loop of the sheet
                return true;
            }
            if (IsKey(message)) {
                pressed |= IsCancelKey(message, cancel);
            } else if (IsForClosing(message, sheet, cancel)) {
                DispatchMessageW(&message);
            }
        }
    }
    return pressed;
}

}  // namespace

LongWork::LongWork(HWND sheet, PageActivity& activity) noexcept
    : sheet_(sheet), activity_(activity), before_(activity), buttons_() {
    activity_ = {true, this};
    for (std::size_t i = 0; i < buttons_.size(); ++i) {
        buttons_[i].window = GetDlgItem(sheet_, kWizardButtons[i]);
        buttons_[i].enabled = IsWindowEnabled(buttons_[i].window) != FALSE;
        EnableWindow(buttons_[i].window, FALSE);
    }
}

LongWork::~LongWork() {
    ProcessCancelInput(sheet_);
    for (const Button& button : buttons_) EnableWindow(button.window, button.enabled);
    activity_ = before_;
}

bool LongWork::GoOn() noexcept {
    RedrawWindow(sheet_, nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN);
    // After painting: some systems update the screen only when a thread reads its input.
    if (ProcessCancelInput(sheet_)) cancelled_ = true;
    return !cancelled_;
}
