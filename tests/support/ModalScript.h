// Drives the modal windows that the calling thread opens: steps run inside their message loops, message boxes are
// noted and closed.
#pragma once

#include <cstdio>
#include <cstdlib>

#include "tests/support/FaultInjection.h"

// What tests ask of and do to windows.
namespace Ui {

inline std::wstring Text(HWND window) {
    std::wstring text(static_cast<size_t>(GetWindowTextLengthW(window)), L'\0');
    text.resize(static_cast<size_t>(GetWindowTextW(window, text.data(), static_cast<int>(text.size()) + 1)));
    return text;
}

inline std::wstring Text(HWND dialog, UINT id) {
    return Text(GetDlgItem(dialog, static_cast<int>(id)));
}

inline bool Enabled(HWND dialog, UINT id) {
    return IsWindowEnabled(GetDlgItem(dialog, static_cast<int>(id))) != FALSE;
}

inline bool Visible(HWND dialog, UINT id) {
    return (GetWindowLongPtrW(GetDlgItem(dialog, static_cast<int>(id)), GWL_STYLE) & WS_VISIBLE) != 0;
}

inline std::vector<std::wstring> Items(HWND dialog, UINT comboId) {
    const HWND combo = GetDlgItem(dialog, static_cast<int>(comboId));
    std::vector<std::wstring> items(static_cast<size_t>(SendMessageW(combo, CB_GETCOUNT, 0, 0)));
    for (WPARAM i = 0; i < items.size(); ++i) {
        items[i].resize(static_cast<size_t>(SendMessageW(combo, CB_GETLBTEXTLEN, i, 0)));
        SendMessageW(combo, CB_GETLBTEXT, i, reinterpret_cast<LPARAM>(items[i].data()));
    }
    return items;
}

inline int Selected(HWND dialog, UINT comboId) {
    return static_cast<int>(SendDlgItemMessageW(dialog, static_cast<int>(comboId), CB_GETCURSEL, 0, 0));
}

// As a user does: with the notification.
inline void Select(HWND dialog, UINT comboId, int item) {
    FaultInjection::ForgetQuestions();
    const HWND combo = GetDlgItem(dialog, static_cast<int>(comboId));
    SendMessageW(combo, CB_SETCURSEL, static_cast<WPARAM>(item), 0);
    SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(comboId, CBN_SELCHANGE), reinterpret_cast<LPARAM>(combo));
}

inline void Type(HWND dialog, UINT editId, const wchar_t* text) {
    FaultInjection::ForgetQuestions();
    SetDlgItemTextW(dialog, static_cast<int>(editId), text);
}

inline void Click(HWND dialog, UINT id) {
    FaultInjection::ForgetQuestions();
    SendDlgItemMessageW(dialog, static_cast<int>(id), BM_CLICK, 0, 0);
}

inline HWND Page(HWND sheet) {
    return PropSheet_GetCurrentPageHwnd(sheet);
}

inline int PageIndex(HWND sheet) {
    return TabCtrl_GetCurSel(PropSheet_GetTabControl(sheet));
}

inline bool ApplyEnabled(HWND sheet) {
    return Enabled(sheet, 0x3021);
}

// PSBTN_…, posted: the effect is there in the next step.
inline void Press(HWND sheet, int button) {
    FaultInjection::ForgetQuestions();
    PostMessageW(sheet, PSM_PRESSBUTTON, static_cast<WPARAM>(button), 0);
}

// Empty when there is none on the clipboard.
inline std::wstring ClipboardText() {
    if (!OpenClipboard(nullptr)) return {};
    const HANDLE memory = GetClipboardData(CF_UNICODETEXT);
    std::wstring text = memory ? static_cast<const wchar_t*>(GlobalLock(memory)) : L"";
    if (memory) GlobalUnlock(memory);
    CloseClipboard();
    return text;
}

// The thread's top-level windows of this class.
inline std::vector<HWND> Windows(const std::wstring& className) {
    std::vector<HWND> windows;
    const auto take = [](HWND window, LPARAM all) -> BOOL {
        reinterpret_cast<std::vector<HWND>*>(all)->push_back(window);
        return TRUE;
    };
    EnumThreadWindows(GetCurrentThreadId(), take, reinterpret_cast<LPARAM>(&windows));
    std::erase_if(windows, [&](HWND window) {
        wchar_t name[32] = L"";
        GetClassNameW(window, name, 32);
        return name != className;
    });
    return windows;
}

// The tip that the mouse finds over the middle of a control that is disabled, which lets it through to the dialog.
inline std::wstring TipBehind(HWND dialog, UINT id) {
    const HWND control = GetDlgItem(dialog, static_cast<int>(id));
    if (IsWindowEnabled(control)) return {};
    RECT place;
    GetWindowRect(control, &place);
    wchar_t text[300] = L"";
    TTHITTESTINFOW search{dialog, {(place.left + place.right) / 2, (place.top + place.bottom) / 2}, {}};
    ScreenToClient(dialog, &search.pt);
    search.ti.cbSize = sizeof search.ti;
    search.ti.lpszText = text;
    for (const HWND tips : Windows(TOOLTIPS_CLASSW))
        if (SendMessageW(tips, TTM_HITTESTW, 0, reinterpret_cast<LPARAM>(&search))) break;
    return text;
}

constexpr UINT kBoxText = 0xFFFF;  // in a message box

// The frontmost property sheet or dialog of this thread that takes input and is a message box, or isn't.
inline HWND Current(bool box = false) {
    for (const HWND window : Windows(L"#32770"))
        if (IsWindowVisible(window) && IsWindowEnabled(window) && (GetDlgItem(window, kBoxText) != nullptr) == box)
            return window;
    return nullptr;
}

}  // namespace Ui

class ModalScript {
  public:
    using Step = std::function<void(HWND window)>;
    enum class Messages { Closed, Left };

    // `steps` run one after another, each in a message loop's turn of its own, with the property sheet or dialog that
    // is on the screen (a sheet that was built anew is the new one). After the last step a window that is still open is
    // cancelled. Message boxes are closed with their default button.
    explicit ModalScript(std::vector<Step> steps = {}, Messages messages = Messages::Closed)
        : steps_(std::move(steps)),
          messages_(messages),
          crashes_(AddVectoredExceptionHandler(TRUE, &NoteCrash)),
          timer_(SetTimer(nullptr, 0, USER_TIMER_MINIMUM, &TimerProc)) {
        current_ = this;
    }
    ~ModalScript() {
        KillTimer(nullptr, timer_);
        RemoveVectoredExceptionHandler(crashes_);
        current_ = nullptr;
    }
    ModalScript(ModalScript&&) = delete;

    const std::vector<std::wstring>& Boxes() const { return boxes_; }  // their texts
    // All steps have run, unless there was no memory, and nothing crashed meanwhile: in a window procedure not every
    // system lets that end the program.
    bool Finished() const { return (next_ >= steps_.size() || FaultInjection::LacksMemory()) && !crashed_; }

  private:
    static void CALLBACK TimerProc(HWND, UINT, UINT_PTR, DWORD) {
        const HWND box = current_ && current_->messages_ == Messages::Closed ? Ui::Current(true) : nullptr;
        if (box) {
            current_->boxes_.push_back(Ui::Text(box, Ui::kBoxText));
            PostMessageW(box, WM_COMMAND, LOWORD(SendMessageW(box, DM_GETDEFID, 0, 0)), 0);
        } else if (current_ && !current_->running_) {
            current_->RunNext();
        }
    }
    static LONG WINAPI NoteCrash(EXCEPTION_POINTERS* raised) {
        if (raised->ExceptionRecord->ExceptionCode != EXCEPTION_ACCESS_VIOLATION) return EXCEPTION_CONTINUE_SEARCH;
        std::fputs("a window procedure crashed\n", stderr);
        current_->crashed_ = true;
        return EXCEPTION_CONTINUE_SEARCH;
    }
    void RunNext() {
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

    static inline ModalScript* current_;  // timers have no argument of their own
    std::vector<Step> steps_;
    const Messages messages_;
    std::vector<std::wstring> boxes_;
    size_t next_ = 0;
    int waited_ = 0;
    bool running_ = false, crashed_ = false;
    const PVOID crashes_;
    const UINT_PTR timer_;
};
