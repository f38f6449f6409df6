#include "applet/services/MessageBoxes.h"

#include "applet/services/ErrorText.h"
#include "applet/services/Strings.h"
#include "framework/Module.h"

namespace {

BOOL CALLBACK FindUsableWindow(HWND window, LPARAM found) noexcept {
    if (!IsWindowVisible(window) || !IsWindowEnabled(window)) return TRUE;
    *reinterpret_cast<HWND*>(found) = window;
    return FALSE;
}

// Without an owner, the user could go on using the window that the box is about.
HWND OwnerWindow() noexcept {
    if (const HWND active = GetActiveWindow()) return active;
    HWND window = nullptr;
    EnumThreadWindows(GetCurrentThreadId(), &FindUsableWindow, reinterpret_cast<LPARAM>(&window));
    return window;
}

}  // namespace

int MessageBoxText(const std::wstring& text, UINT type, UINT helpId) {
    const std::wstring caption = DisplayName();
    MSGBOXPARAMSW box{};
    box.cbSize = sizeof box;
    box.hwndOwner = OwnerWindow();
    box.lpszText = text.c_str();
    box.lpszCaption = caption.c_str();
    box.dwStyle = type;
    box.dwContextHelpId = helpId;
    box.dwLanguageId = UserLanguage();
    const int pressed = MessageBoxIndirectW(&box);
    return pressed == IDYES && text.empty() ? IDNO : pressed;
}

int MessageBoxId(UINT id, UINT type) {
    return MessageBoxText(LoadStringLang(id), type, id);
}

int MessageBoxFormat(UINT id, UINT type, const Insert& insert1, const Insert& insert2) {
    return MessageBoxText(FormatStringId(id, insert1, insert2), type, id);
}

int ErrorMessageBox(DWORD code) {
    return MessageBoxText(ErrorMessageText(code), MB_ICONERROR);
}
