#include "tools/panel/SheetWatch.h"

#include <iterator>

namespace {

struct Search {
    DWORD process;
    HWND sheet;
};

BOOL CALLBACK TakeSheet(HWND window, LPARAM argument) {
    auto& search = *reinterpret_cast<Search*>(argument);
    wchar_t name[32] = L"";
    GetClassNameW(window, name, static_cast<int>(std::size(name)));
    if (lstrcmpW(name, L"#32770") != 0 || !IsWindowVisible(window)) return TRUE;
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (search.process != 0 && process != search.process) return TRUE;
    if (!FindWindowExW(window, nullptr, L"SysTabControl32", nullptr)) return TRUE;
    search.sheet = window;
    return FALSE;
}

BOOL CALLBACK LookForUnpainted(HWND window, LPARAM unpainted) {
    if (!IsWindowVisible(window) || !GetUpdateRect(window, nullptr, FALSE)) return TRUE;
    *reinterpret_cast<bool*>(unpainted) = true;
    return FALSE;
}

}  // namespace

namespace SheetWatch {

HWND Find(DWORD process) {
    Search search{process, nullptr};
    EnumWindows(&TakeSheet, reinterpret_cast<LPARAM>(&search));
    return search.sheet;
}

bool IsPainted(HWND sheet) {
    bool unpainted = GetUpdateRect(sheet, nullptr, FALSE) != FALSE;
    EnumChildWindows(sheet, &LookForUnpainted, reinterpret_cast<LPARAM>(&unpainted));
    return !unpainted;
}

}  // namespace SheetWatch
