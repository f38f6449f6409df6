#include "tests/support/ModalScript.h"

#include <commctrl.h>
#include <prsht.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "tests/support/FaultInjection.h"
#include "tests/support/MemoryFaults.h"

namespace {

constexpr int kBoxText = 0xFFFF;  // the id of a message box's text
constexpr int kApplyButton = 0x3021;

bool crashed = false;
ModalScript* current = nullptr;  // hooks and timers have no argument of their own

bool IsDialog(HWND window) {
    wchar_t name[16] = L"";
    GetClassNameW(window, name, static_cast<int>(std::size(name)));
    return lstrcmpW(name, L"#32770") == 0;
}

bool IsMessageBox(HWND window) {
    return IsDialog(window) && GetDlgItem(window, kBoxText);
}

BOOL CALLBACK TakeDialog(HWND window, LPARAM found) {
    if (!IsWindowVisible(window) || !IsWindowEnabled(window) || !IsDialog(window) || IsMessageBox(window)) return TRUE;
    *reinterpret_cast<HWND*>(found) = window;
    return FALSE;
}

LONG WINAPI NoteCrash(EXCEPTION_POINTERS* raised) {
    if (raised->ExceptionRecord->ExceptionCode == EXCEPTION_ACCESS_VIOLATION) {
        std::fputs("a window procedure crashed\n", stderr);
        crashed = true;
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

ModalScript::ModalScript(std::vector<Step> steps, std::deque<int> answers)
    : steps_(std::move(steps)),
      answers_(std::move(answers)),
      crashes_(AddVectoredExceptionHandler(TRUE, &NoteCrash)),
      hook_(SetWindowsHookExW(WH_CBT, &HookProc, nullptr, GetCurrentThreadId())),
      timer_(SetTimer(nullptr, 0, USER_TIMER_MINIMUM, &TimerProc)) {
    current = this;
    crashed = false;
}

bool ModalScript::Finished() const noexcept {
    return (next_ >= steps_.size() || MemoryFaults::HasFailed()) && !crashed;
}

ModalScript::~ModalScript() {
    KillTimer(nullptr, timer_);
    UnhookWindowsHookEx(hook_);
    RemoveVectoredExceptionHandler(crashes_);
    current = nullptr;
}

LRESULT CALLBACK ModalScript::HookProc(int code, WPARAM wParam, LPARAM lParam) {
    if (code == HCBT_ACTIVATE && current) current->Note(reinterpret_cast<HWND>(wParam));
    return CallNextHookEx(nullptr, code, wParam, lParam);
}

void ModalScript::Note(HWND box) {
    if (!IsMessageBox(box) || std::find(answered_.begin(), answered_.end(), box) != answered_.end()) return;
    answered_.push_back(box);
    boxes_.push_back({Ui::Text(box), Ui::Text(box, kBoxText), GetWindow(box, GW_OWNER)});
    if (answers_.empty()) answers_.push_back(LOWORD(SendMessageW(box, DM_GETDEFID, 0, 0)));
    PostMessageW(box, WM_COMMAND, static_cast<WPARAM>(answers_.front()), 0);
    answers_.pop_front();
}

void CALLBACK ModalScript::TimerProc(HWND, UINT, UINT_PTR, DWORD) {
    if (current && !current->running_) current->RunNext();
}

void ModalScript::RunNext() {
    const HWND window = Ui::Current();
    const bool isEnd = next_ >= steps_.size();
    constexpr int kPatience = 6'000;  // turns of the timer, which only idle message loops take: at least a minute
    if ((!window || isEnd) && ++waited_ == kPatience) {  // the message loop would wait for ever
        std::fprintf(stderr, "after step %zu of %zu: no window opens or closes\n", next_, steps_.size());
        std::fflush(nullptr);
        TerminateProcess(GetCurrentProcess(), EXIT_FAILURE);
    }
    if (!window) return;
    FaultInjection::ForgetQuestions();
    answered_.clear();  // a destroyed box's handle may come again
    running_ = true;
    if (!isEnd) {
        waited_ = 0;
        steps_[next_++](window);
    } else if (Ui::Page(window)) {
        Ui::Press(window, PSBTN_CANCEL);
    } else {
        PostMessageW(window, WM_COMMAND, IDCANCEL, 0);
    }
    running_ = false;
}

namespace Ui {

std::wstring Text(HWND window) {
    std::wstring text(static_cast<size_t>(GetWindowTextLengthW(window)), L'\0');
    text.resize(static_cast<size_t>(GetWindowTextW(window, text.data(), static_cast<int>(text.size()) + 1)));
    return text;
}

std::wstring Text(HWND dialog, UINT id) {
    return Text(GetDlgItem(dialog, static_cast<int>(id)));
}

bool Enabled(HWND dialog, UINT id) {
    return IsWindowEnabled(GetDlgItem(dialog, static_cast<int>(id))) != FALSE;
}

bool Visible(HWND dialog, UINT id) {
    return (GetWindowLongPtrW(GetDlgItem(dialog, static_cast<int>(id)), GWL_STYLE) & WS_VISIBLE) != 0;
}

std::vector<std::wstring> Items(HWND dialog, UINT comboId) {
    const HWND combo = GetDlgItem(dialog, static_cast<int>(comboId));
    std::vector<std::wstring> items;
    const auto count = static_cast<WPARAM>(SendMessageW(combo, CB_GETCOUNT, 0, 0));
    for (WPARAM item = 0; item < count; ++item) {
        std::wstring text(static_cast<size_t>(SendMessageW(combo, CB_GETLBTEXTLEN, item, 0)), L'\0');
        SendMessageW(combo, CB_GETLBTEXT, item, reinterpret_cast<LPARAM>(text.data()));
        items.push_back(text);
    }
    return items;
}

int Selected(HWND dialog, UINT comboId) {
    return static_cast<int>(SendDlgItemMessageW(dialog, static_cast<int>(comboId), CB_GETCURSEL, 0, 0));
}

void Select(HWND dialog, UINT comboId, int item) {
    FaultInjection::ForgetQuestions();
    const HWND combo = GetDlgItem(dialog, static_cast<int>(comboId));
    SendMessageW(combo, CB_SETCURSEL, static_cast<WPARAM>(item), 0);
    SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(comboId, CBN_SELCHANGE), reinterpret_cast<LPARAM>(combo));
}

void Type(HWND dialog, UINT editId, const wchar_t* text) {
    FaultInjection::ForgetQuestions();
    SetDlgItemTextW(dialog, static_cast<int>(editId), text);
}

void Click(HWND dialog, UINT id) {
    FaultInjection::ForgetQuestions();
    SendDlgItemMessageW(dialog, static_cast<int>(id), BM_CLICK, 0, 0);
}

HWND Page(HWND sheet) {
    return PropSheet_GetCurrentPageHwnd(sheet);
}

int PageIndex(HWND sheet) {
    return TabCtrl_GetCurSel(PropSheet_GetTabControl(sheet));
}

int PageCount(HWND sheet) {
    return TabCtrl_GetItemCount(PropSheet_GetTabControl(sheet));
}

bool ApplyEnabled(HWND sheet) {
    return Enabled(sheet, kApplyButton);
}

void Press(HWND sheet, int button) {
    FaultInjection::ForgetQuestions();
    PostMessageW(sheet, PSM_PRESSBUTTON, static_cast<WPARAM>(button), 0);
}

std::wstring TipBehind(HWND dialog, UINT id) {
    static wchar_t text[300];
    static TTHITTESTINFOW search;
    const HWND control = GetDlgItem(dialog, static_cast<int>(id));
    if (IsWindowEnabled(control)) return {};
    RECT place;
    GetWindowRect(control, &place);
    search = {dialog, {(place.left + place.right) / 2, (place.top + place.bottom) / 2}, {}};
    ScreenToClient(dialog, &search.pt);
    text[0] = L'\0';
    const auto ask = [](HWND window, LPARAM) -> BOOL {
        wchar_t name[32] = L"";
        GetClassNameW(window, name, 32);
        if (lstrcmpW(name, TOOLTIPS_CLASSW) != 0) return TRUE;
        search.ti.cbSize = sizeof search.ti;
        search.ti.lpszText = text;
        return !SendMessageW(window, TTM_HITTESTW, 0, reinterpret_cast<LPARAM>(&search));
    };
    EnumThreadWindows(GetCurrentThreadId(), ask, 0);
    return text;
}

HWND Current() {
    HWND window = nullptr;
    EnumThreadWindows(GetCurrentThreadId(), &TakeDialog, reinterpret_cast<LPARAM>(&window));
    return window;
}

}  // namespace Ui
