#include "wizards/CancelInput.h"

namespace {

struct MessageRange {
    UINT first, last;
};

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

// Of the sheet's frame only the Close button is let through; moving and sizing would hold up what goes on.
bool IsForClosing(const MSG& message, HWND sheet, HWND cancel) {
    const bool frame = message.message >= WM_NCMOUSEMOVE && message.message <= WM_NCXBUTTONDBLCLK;
    return frame ? message.hwnd == sheet && message.wParam == HTCLOSE : message.hwnd == cancel;
}

}  // namespace

bool TakeCancelInput(HWND sheet) {
    const HWND cancel = GetDlgItem(sheet, IDCANCEL);
    bool pressed = false;
    for (const MessageRange& range : kInput) {
        MSG message;
        while (PeekMessageW(&message, sheet, range.first, range.last, PM_REMOVE)) {
            if (message.message == WM_QUIT) {
                PostQuitMessage(static_cast<int>(message.wParam));  // the sheet's own loop must see it
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
