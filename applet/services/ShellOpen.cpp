#include "applet/services/ShellOpen.h"

#include <shellapi.h>

bool OpenWithShell(HWND owner, const wchar_t* verb, const std::wstring& target, int show) noexcept {
    wchar_t directory[MAX_PATH] = L"";
    if (GetSystemDirectoryW(directory, MAX_PATH) == 0) return false;
    const HINSTANCE started = ShellExecuteW(owner, verb, target.c_str(), nullptr, directory, show);
    return reinterpret_cast<INT_PTR>(started) > 32;
}
