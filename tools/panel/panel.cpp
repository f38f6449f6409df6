// panel.exe drives the configuration sheet that another program shows, for run.sh and the screenshots:
//   panel.exe wait      until the sheet is there and painted (half a minute at most)
//   panel.exe page N    shows the page N, from 0, and waits until it is painted
//   panel.exe close     presses Cancel and waits until the sheet is gone
// Exit code 0, or 1 when there is no sheet or it doesn't follow.
#include <windows.h>

#include <prsht.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

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

bool AwaitSheet(HWND& sheet) {
    return Await([&] { return (sheet = SheetWatch::Find()) != nullptr; }) &&
           Await([&] { return SheetWatch::IsPainted(sheet); });
}

}  // namespace

int main(int count, char** arguments) {
    const char* command = count > 1 ? arguments[1] : "";
    HWND sheet = nullptr;
    bool done = false;
    if (std::strcmp(command, "wait") == 0) {
        done = AwaitSheet(sheet);
    } else if (std::strcmp(command, "page") == 0 && count > 2) {
        const auto page = static_cast<WPARAM>(std::atoi(arguments[2]));
        done = AwaitSheet(sheet) && SetForegroundWindow(sheet) && Ask(sheet, PSM_SETCURSEL, page) &&
               Await([&] { return SheetWatch::IsPainted(sheet); });
    } else if (std::strcmp(command, "close") == 0) {
        sheet = SheetWatch::Find();
        done =
            sheet && PostMessageW(sheet, PSM_PRESSBUTTON, PSBTN_CANCEL, 0) && Await([&] { return !IsWindow(sheet); });
    } else {
        std::fputs("usage: panel.exe wait | page N | close\n", stderr);
        return 2;
    }
    if (!done) std::fputs("panel: there is no sheet, or it doesn't follow\n", stderr);
    return done ? 0 : 1;
}
