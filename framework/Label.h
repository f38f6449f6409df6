// The static text that names a control: the window directly before it in the tab order, as for access keys.
#pragma once

#include <windows.h>

#include <iterator>

// nullptr when there is no static text before the control.
inline HWND LabelOf(HWND control) noexcept {
    const HWND before = control ? GetWindow(control, GW_HWNDPREV) : nullptr;
    wchar_t kind[8] = L"";
    if (before) GetClassNameW(before, kind, static_cast<int>(std::size(kind)));
    return lstrcmpiW(kind, L"Static") == 0 ? before : nullptr;
}

// A label in black beside a gray control would promise that the control can be used.
inline void EnableWithLabel(HWND control, bool enable) noexcept {
    EnableWindow(control, enable);
    if (const HWND label = LabelOf(control)) EnableWindow(label, enable);
}
