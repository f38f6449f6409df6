#include "framework/WindowPlacement.h"

#include <algorithm>

namespace {

// The start of a range of `length` in the middle of another, but within the bounds. A range that is too long begins
// with the bounds, so that a window's caption can be reached.
LONG Centered(LONG from, LONG to, LONG length, LONG least, LONG most) noexcept {
    return std::max(least, std::min(from + (to - from - length) / 2, most - length));
}

}  // namespace

void CenterOverOwner(HWND window) noexcept {
    const HWND owner = GetWindow(window, GW_OWNER);
    RECT over, own;
    if (!IsWindowVisible(owner) || IsIconic(owner)) return;
    if (!GetWindowRect(owner, &over) || !GetWindowRect(window, &own)) return;
    MONITORINFO monitor{};
    monitor.cbSize = sizeof monitor;
    if (!GetMonitorInfoW(MonitorFromWindow(owner, MONITOR_DEFAULTTONEAREST), &monitor)) return;
    const RECT& bounds = monitor.rcWork;
    const LONG left = Centered(over.left, over.right, own.right - own.left, bounds.left, bounds.right);
    const LONG top = Centered(over.top, over.bottom, own.bottom - own.top, bounds.top, bounds.bottom);
    SetWindowPos(window, nullptr, left, top, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}
