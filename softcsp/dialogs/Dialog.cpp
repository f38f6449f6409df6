#include "softcsp/dialogs/Dialog.h"

#include <commctrl.h>

#include <algorithm>
#include <iterator>
#include <new>
#include <string_view>
#include <vector>

#include "softcsp/common/Language.h"
#include "softcsp/dialogs/DialogTime.h"
#include "softcsp/dialogs/ModuleText.h"

namespace softcsp {
namespace {

constexpr UINT_PTR kTimer = 1;

// Only a window of its own can own others.
HWND OwnerFor(HWND given) {
    return IsWindow(given) ? GetAncestor(given, GA_ROOT) : GetActiveWindow();
}

// Message boxes only: an input method's windows are owned, too.
BOOL CALLBACK CloseOwnedBox(HWND window, LPARAM owner) {
    wchar_t name[8] = L"";
    GetClassNameW(window, name, static_cast<int>(std::size(name)));
    if (GetWindow(window, GW_OWNER) == reinterpret_cast<HWND>(owner) && std::wstring_view(name) == L"#32770")
        PostMessageW(window, WM_CLOSE, 0, 0);
    return TRUE;
}

RECT PlaceOf(HWND dialog, HWND control) {
    RECT place{};
    GetWindowRect(control, &place);
    MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&place), 2);
    return place;
}

bool IsShown(HWND control) {
    return (GetWindowLongPtrW(control, GWL_STYLE) & WS_VISIBLE) != 0;  // the dialog itself isn't yet
}

}  // namespace

DWORD Dialog::Run(HWND owner) {
    Language::Update();
    const DLGTEMPLATE* const dialog = OwnTemplate(template_);
    if (dialog == nullptr) return ERROR_RESOURCE_NAME_NOT_FOUND;
    constexpr INITCOMMONCONTROLSEX needed{sizeof needed, ICC_LISTVIEW_CLASSES | ICC_BAR_CLASSES};
    InitCommonControlsEx(&needed);
    SetLastError(ERROR_SUCCESS);
    const INT_PTR result =
        DialogBoxIndirectParamW(OwnModule(), dialog, OwnerFor(owner), &Procedure, reinterpret_cast<LPARAM>(this));
    if (result == IDOK) return ERROR_SUCCESS;
    if (result == IDCANCEL) return failure_ != ERROR_SUCCESS ? failure_ : ERROR_CANCELLED;
    const DWORD error = GetLastError();
    return error != ERROR_SUCCESS ? error : ERROR_INVALID_WINDOW_HANDLE;
}

INT_PTR CALLBACK Dialog::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept {
    if (message == WM_INITDIALOG) {
        SetWindowLongPtrW(window, DWLP_USER, lParam);
        reinterpret_cast<Dialog*>(lParam)->window_ = window;
    }
    auto* const self = reinterpret_cast<Dialog*>(GetWindowLongPtrW(window, DWLP_USER));
    if (self == nullptr) return FALSE;  // comes before WM_INITDIALOG
    try {
        return self->Handle(message, wParam, lParam);
    } catch (const std::bad_alloc&) {
        self->failure_ = ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        self->failure_ = ERROR_INTERNAL_ERROR;
    }
    EndDialog(window, IDCANCEL);
    return TRUE;
}

INT_PTR Dialog::Handle(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_INITDIALOG: return Init(OnInit());
        case WM_COMMAND:
            if (LOWORD(wParam) == IDCANCEL || (LOWORD(wParam) == IDOK && OnOk())) {
                EndDialog(window_, LOWORD(wParam));
            } else if (LOWORD(wParam) != IDOK && HIWORD(wParam) == BN_CLICKED) {
                OnCommand(LOWORD(wParam));
            }
            return TRUE;
        case WM_NOTIFY: OnNotify(*reinterpret_cast<const NMHDR*>(lParam)); return TRUE;
        case WM_TIMER:
            if (wParam == kTimer) Expire();
            return TRUE;
        case WM_DESTROY: OnClosed(); return TRUE;
        default: return FALSE;
    }
}

INT_PTR Dialog::Init(HWND focus) {
    Centre();
    const DWORD time = time_ != nullptr ? DialogTime(time_) : kNoTimeLimit;
    if (time != kNoTimeLimit) SetTimer(window_, kTimer, time, nullptr);
    if (focus == nullptr) return TRUE;
    SetFocus(focus);
    return FALSE;
}

void Dialog::Expire() {
    KillTimer(window_, kTimer);
    expired_ = true;
    if (telling_) {  // the box runs inside of one of our handlers, so it goes first
        EnumThreadWindows(GetCurrentThreadId(), &CloseOwnedBox, reinterpret_cast<LPARAM>(window_));
    } else {
        EndDialog(window_, IDCANCEL);
    }
}

void Dialog::Tell(const std::wstring& text) {
    wchar_t caption[128] = L"";
    GetWindowTextW(window_, caption, static_cast<int>(std::size(caption)));
    telling_ = true;
    MessageBoxW(window_, text.c_str(), caption, MB_OK | MB_ICONEXCLAMATION);
    telling_ = false;
    if (expired_) EndDialog(window_, IDCANCEL);
}

void Dialog::ShowWhole(UINT id, const std::wstring& text) const {
    SetWindowTextW(Item(id), text.c_str());
    const HWND tip = CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_NOPREFIX | TTS_ALWAYSTIP,
                                     0, 0, 0, 0, window_, nullptr, OwnModule(), nullptr);  // goes with the dialog
    std::wstring shown = text;
    TOOLINFOW tool{};
    tool.cbSize = TTTOOLINFOW_V1_SIZE;  // the older common controls take no other
    tool.uFlags = TTF_IDISHWND | TTF_SUBCLASS;
    tool.hwnd = window_;
    tool.uId = reinterpret_cast<UINT_PTR>(Item(id));
    tool.lpszText = shown.data();
    SendMessageW(tip, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&tool));
    RECT client{};
    GetClientRect(window_, &client);
    SendMessageW(tip, TTM_SETMAXTIPWIDTH, 0, client.right);  // long texts go on in a second line
}

void Dialog::RemoveRow(std::initializer_list<UINT> ids) const {
    RECT row{0, LONG_MAX, 0, 0};
    for (const UINT id : ids) {
        const RECT place = PlaceOf(window_, Item(id));
        row.top = std::min(row.top, place.top);
        row.bottom = std::max(row.bottom, place.bottom);
        ShowWindow(Item(id), SW_HIDE);
    }
    std::vector<HWND> beneath;
    LONG above = 0;  // where the row above ends
    for (HWND control = GetWindow(window_, GW_CHILD); control != nullptr; control = GetWindow(control, GW_HWNDNEXT)) {
        const RECT place = PlaceOf(window_, control);
        if (place.top >= row.bottom) beneath.push_back(control);
        if (place.bottom <= row.top && IsShown(control)) above = std::max(above, place.bottom);
    }
    const LONG height = row.bottom - above;
    for (HWND control : beneath) {
        const RECT place = PlaceOf(window_, control);
        SetWindowPos(control, nullptr, place.left, place.top - height, 0, 0,
                     SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    }
    RECT whole{};
    GetWindowRect(window_, &whole);
    SetWindowPos(window_, nullptr, 0, 0, whole.right - whole.left, whole.bottom - whole.top - height,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

// Over the owner or, when there is none to be seen, on the screen; wholly on the screen in both cases.
void Dialog::Centre() const {
    const HWND owner = GetWindow(window_, GW_OWNER);
    MONITORINFO monitor{};
    monitor.cbSize = sizeof monitor;
    if (!GetMonitorInfoW(MonitorFromWindow(owner != nullptr ? owner : window_, MONITOR_DEFAULTTONEAREST), &monitor))
        return;
    const RECT& screen = monitor.rcWork;
    RECT whole{}, around = screen;
    GetWindowRect(window_, &whole);
    if (owner != nullptr && IsWindowVisible(owner) && !IsIconic(owner)) GetWindowRect(owner, &around);
    const LONG width = whole.right - whole.left, height = whole.bottom - whole.top;
    const LONG x = (around.left + around.right - width) / 2, y = (around.top + around.bottom - height) / 2;
    SetWindowPos(window_, nullptr, std::max(screen.left, std::min(x, screen.right - width)),
                 std::max(screen.top, std::min(y, screen.bottom - height)), 0, 0,
                 SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

}  // namespace softcsp
