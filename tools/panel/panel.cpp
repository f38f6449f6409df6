// panel.exe drives the configuration sheet that another program shows, for run.sh and the screenshots:
//   panel.exe wait      until the sheet is there and painted (half a minute at most)
//   panel.exe page N    shows the page N, from 0, and waits until it is painted
//   panel.exe close     presses Cancel and waits until the sheet is gone
// and the wizard or dialog in front of it, or the sheet itself when there is none; each waits until what is in front
// then is painted:
//   panel.exe click ID | type ID TEXT     a control of the page or dialog
//   panel.exe down ID                     the Down key in a list
//   panel.exe next | back | finish        a wizard's buttons
//   panel.exe cancel
//   panel.exe away                        closes everything in front of the sheet, without consent
//   panel.exe place                       gives it an active caption and prints where it is: WIDTHxHEIGHT+X+Y
// and shows what a control of the page or dialog in front says, in UTF-8:
//   panel.exe text ID
// Exit code 0, or 1 when there is no sheet or it doesn't follow.
#include <windows.h>

#include <commctrl.h>
#include <prsht.h>

#include <cstdio>
#include <cwchar>
#include <iterator>

#include "tools/panel/SheetWatch.h"

namespace {

constexpr DWORD kPatience = 30'000;  // milliseconds
constexpr DWORD kLook = 10;

template <class Condition>
bool Await(Condition condition) {
    const ULONGLONG end = GetTickCount64() + kPatience;
    while (!condition()) {
        if (GetTickCount64() > end) return false;
        Sleep(kLook);
    }
    return true;
}

bool Ask(HWND sheet, UINT message, WPARAM wParam) {
    DWORD_PTR answer = 0;
    return SendMessageTimeoutW(sheet, message, wParam, 0, SMTO_NORMAL, kPatience, &answer) != 0;
}

BOOL CALLBACK TakeEnabled(HWND window, LPARAM front) {
    wchar_t name[8] = L"";
    GetClassNameW(window, name, 8);
    if (lstrcmpW(name, L"#32770") != 0 || !IsWindowVisible(window) || !IsWindowEnabled(window)) return TRUE;
    *reinterpret_cast<HWND*>(front) = window;
    return FALSE;
}

// The window that takes input: those behind it are disabled while it is open.
HWND Front() {
    HWND front = nullptr;
    if (const HWND sheet = SheetWatch::Find())
        EnumThreadWindows(GetWindowThreadProcessId(sheet, nullptr), &TakeEnabled, reinterpret_cast<LPARAM>(&front));
    return front;
}

// A control of the front window, or of the page that it shows.
HWND Control(const wchar_t* id) {
    const HWND front = Front();
    const int number = _wtoi(id);
    if (const HWND own = GetDlgItem(front, number)) return own;
    return GetDlgItem(reinterpret_cast<HWND>(SendMessageW(front, PSM_GETCURRENTPAGEHWND, 0, 0)), number);
}

// What was posted has had its effect when the window's thread waits for input again.
bool AwaitFront() {
    return Await([] {
        const HWND front = Front();
        return front && Ask(front, WM_NULL, 0) && Front() == front && SheetWatch::IsPainted(front);
    });
}

bool Drive(const wchar_t* command, const wchar_t* id, const wchar_t* text) {
    static constexpr struct {
        const wchar_t* command;
        WPARAM button;
    } kButtons[] = {{L"next", PSBTN_NEXT}, {L"back", PSBTN_BACK}, {L"finish", PSBTN_FINISH}};
    for (const auto& [name, button] : kButtons)
        if (lstrcmpW(command, name) == 0) return PostMessageW(Front(), PSM_PRESSBUTTON, button, 0) && AwaitFront();
    if (lstrcmpW(command, L"cancel") == 0) return PostMessageW(Front(), WM_COMMAND, IDCANCEL, 0) && AwaitFront();
    const HWND control = id ? Control(id) : nullptr;
    if (!control) return false;
    if (lstrcmpW(command, L"click") == 0) return PostMessageW(control, BM_CLICK, 0, 0) && AwaitFront();
    if (lstrcmpW(command, L"down") == 0) return PostMessageW(control, WM_KEYDOWN, VK_DOWN, 0) && AwaitFront();
    SendMessageW(control, EM_SETSEL, 0, -1);
    SendMessageW(control, EM_REPLACESEL, FALSE, reinterpret_cast<LPARAM>(text));
    return AwaitFront();
}

bool ShowText(const wchar_t* id) {
    wchar_t text[256] = L"";
    const HWND control = AwaitFront() ? Control(id) : nullptr;
    if (!control) return false;
    SendMessageW(control, WM_GETTEXT, std::size(text), reinterpret_cast<LPARAM>(text));
    char utf8[3 * std::size(text)];
    WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8, sizeof utf8, nullptr, nullptr);
    return std::puts(utf8) >= 0;
}

// Dialogs and wizards take Cancel, questions without it take No.
bool CloseAllBeforeSheet() {
    return Await([] {
        const HWND front = Front();
        if (!front) return false;
        // A wizard is a sheet whose tabs are hidden.
        if (IsWindowVisible(FindWindowExW(front, nullptr, WC_TABCONTROLW, nullptr))) return AwaitFront();
        PostMessageW(front, WM_COMMAND, IDCANCEL, 0);
        PostMessageW(front, WM_COMMAND, IDNO, 0);
        Ask(front, WM_NULL, 0);
        return false;
    });
}

// Another program is active while this one runs, so the caption is painted active by its message alone.
bool PrintPlace() {
    const HWND front = Front();
    RECT place;
    if (!front || !Ask(front, WM_NCACTIVATE, TRUE) || !GetWindowRect(front, &place)) return false;
    std::printf("%ldx%ld+%ld+%ld\n", place.right - place.left, place.bottom - place.top, place.left, place.top);
    return true;
}

bool AwaitSheet(HWND& sheet) {
    return Await([&] { return (sheet = SheetWatch::Find()) != nullptr; }) &&
           Await([&] { return SheetWatch::IsPainted(sheet); });
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    const wchar_t* command = count > 1 ? arguments[1] : L"";
    const auto is = [command](const wchar_t* name) { return lstrcmpW(command, name) == 0; };
    HWND sheet = nullptr;
    bool done = false;
    if (is(L"wait")) {
        done = AwaitSheet(sheet);
    } else if (is(L"page") && count > 2) {
        const auto page = static_cast<WPARAM>(_wtoi(arguments[2]));
        done = AwaitSheet(sheet) && SetForegroundWindow(sheet) && Ask(sheet, PSM_SETCURSEL, page) &&
               Await([&] { return SheetWatch::IsPainted(sheet); });
    } else if (is(L"close")) {
        sheet = SheetWatch::Find();
        done =
            sheet && PostMessageW(sheet, PSM_PRESSBUTTON, PSBTN_CANCEL, 0) && Await([&] { return !IsWindow(sheet); });
    } else if (is(L"text") && count > 2) {
        done = ShowText(arguments[2]);
    } else if (is(L"away")) {
        done = CloseAllBeforeSheet();
    } else if (is(L"place")) {
        done = AwaitFront() && PrintPlace();
    } else if (is(L"next") || is(L"back") || is(L"finish") || is(L"cancel") ||
               ((is(L"click") || is(L"down")) && count > 2) || (is(L"type") && count > 3)) {
        done = Drive(command, count > 2 ? arguments[2] : nullptr, count > 3 ? arguments[3] : nullptr);
    } else {
        std::fputs(
            "usage: panel.exe wait | page N | close | click ID | down ID | type ID TEXT | text ID | next | back | "
            "finish | cancel | away | place\n",
            stderr);
        return 2;
    }
    if (!done) std::fputs("panel: there is no sheet, or it doesn't follow\n", stderr);
    return done ? 0 : 1;
}
