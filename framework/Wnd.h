// CWnd, the object that handles a window's messages, and the message tables that list its handlers.
#pragma once

#include <windows.h>

#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <utility>

#include "framework/Handles.h"

class CDataExchange;
class CWnd;

// Message tables. A window class lists its handlers in one constant table. Each row connects a message, or a
// notification of some controls, to a member function, which is a template argument.
//
//   std::span<const Route> CMyPage::Routes() const {
//       static constexpr Route table[] = {
//           on<&CMyPage::OnBrowse>(IDC_BROWSE, BN_CLICKED),
//           onMessage<&CMyPage::OnSetCursor>(WM_SETCURSOR),
//       };
//       return table;
//   }

struct Message {
    UINT id;
    WPARAM wParam;
    LPARAM lParam;
};

// A control's id, or all ids from `first` to `last`.
struct IdRange {
    UINT first;
    UINT last;
    // NOLINTNEXTLINE(google-explicit-constructor): a single id is the usual row.
    constexpr IdRange(UINT id) : first(id), last(id) {}
    constexpr IdRange(UINT from, UINT to) : first(from), last(to) {}
};

// A handler's result. Without a value, the message gets its default processing.
using MessageResult = std::optional<LRESULT>;

struct Route {
    UINT message;
    UINT code;  // notification code of WM_COMMAND and WM_NOTIFY, else 0
    IdRange ids;
    MessageResult (*handler)(CWnd&, const Message&);

    bool Takes(const Message& message) const noexcept;
};

namespace RouteDetail {

template <class Member>
struct MemberOf;
template <class Class, class Result, class... Arguments>
struct MemberOf<Result (Class::*)(Arguments...)> {
    using Owner = Class;
};

// Handlers are `void()`, `void(const Message&)`, `LRESULT(const Message&)` or `MessageResult(const Message&)`.
template <auto Handler>
MessageResult Call(CWnd& window, const Message& message) {
    using Owner = typename MemberOf<decltype(Handler)>::Owner;
    auto& owner = static_cast<Owner&>(window);
    if constexpr (std::is_invocable_v<decltype(Handler), Owner&>) {
        (owner.*Handler)();
        return 0;
    } else if constexpr (std::is_void_v<std::invoke_result_t<decltype(Handler), Owner&, const Message&>>) {
        (owner.*Handler)(message);
        return 0;
    } else {
        return (owner.*Handler)(message);
    }
}

}  // namespace RouteDetail

// A control's command notification (BN_CLICKED, CBN_SELCHANGE, EN_CHANGE, …).
template <auto Handler>
constexpr Route on(IdRange ids, UINT code) {
    return {WM_COMMAND, code, ids, &RouteDetail::Call<Handler>};
}

// A common control's notification (LVN_…, NM_…).
template <auto Handler>
constexpr Route onNotify(IdRange ids, UINT code) {
    return {WM_NOTIFY, code, ids, &RouteDetail::Call<Handler>};
}

// Any other message.
template <auto Handler>
constexpr Route onMessage(UINT message) {
    return {message, 0, IdRange(0), &RouteDetail::Call<Handler>};
}

// A message that a control sends to its parent (WM_CTLCOLORSTATIC, …), passed on to the control's object.
constexpr UINT kReflected = 0xBC00;
template <auto Handler>
constexpr Route onReflected(UINT message) {
    return onMessage<Handler>(kReflected + message);
}

// The whole text of any window of this process.
std::wstring WindowText(HWND window);

class CWnd : NonCopyable {
  public:
    CWnd() = default;
    virtual ~CWnd();

    HWND m_hWnd = nullptr;

    // The object attached to a window by this module; nullptr when there is none.
    static CWnd* FromHandlePermanent(HWND window) noexcept;

    // Subclasses an existing window. The object does not own the window, and is detached when the window or the object
    // is destroyed.
    bool SubclassWindow(HWND window) noexcept;
    bool SubclassDlgItem(UINT id, const CWnd& parent) noexcept;
    void UnsubclassWindow() noexcept;

    HWND GetDlgItem(UINT id) const noexcept { return ::GetDlgItem(m_hWnd, static_cast<int>(id)); }
    HWND GetParent() const noexcept { return ::GetParent(m_hWnd); }
    std::wstring GetWindowText() const { return WindowText(m_hWnd); }
    bool SetWindowText(const std::wstring& text) noexcept { return ::SetWindowTextW(m_hWnd, text.c_str()) != FALSE; }
    bool EnableWindow(bool enable = true) noexcept { return ::EnableWindow(m_hWnd, enable) != FALSE; }
    bool ShowWindow(int command) noexcept { return ::ShowWindow(m_hWnd, command) != FALSE; }
    void Invalidate() noexcept {
        if (m_hWnd) ::InvalidateRect(m_hWnd, nullptr, TRUE);  // NULL would invalidate all windows on the screen
    }
    LRESULT SendMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) const noexcept {
        return ::SendMessageW(m_hWnd, message, wParam, lParam);
    }
    bool PostMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) const noexcept {
        return m_hWnd && ::PostMessageW(m_hWnd, message, wParam, lParam);  // NULL would post to the thread
    }

    // Copies members to controls (false) or controls to members (true), as DoDataExchange lists them. False when the
    // content of a control is not valid: the user has seen a message, and the control has the focus. False also when
    // the window no longer exists, for example after a nested message loop; the members are unchanged then.
    bool UpdateData(bool saveAndValidate = true);

    // A text of the framework (FrameworkText in DataExchange.h) in the user's language. Default: from the module's
    // string table in the thread's language.
    virtual std::wstring LoadText(UINT id) const;

    // Shows a message box. Default: owned by the top-level window and with its caption.
    virtual int ShowMessage(const std::wstring& text, UINT type);

  protected:
    // The class's message table. A derived class's table replaces its base's.
    virtual std::span<const Route> Routes() const { return {}; }

    virtual void DoDataExchange(CDataExchange* exchange);

    // Called after the window has been destroyed and the object detached; the object may delete itself here.
    virtual void PostNcDestroy() {}

    // Called on WM_NCDESTROY, after the object has been detached. Default: calls PostNcDestroy.
    virtual void OnNcDestroyed() { PostNcDestroy(); }

    // Handles a message: reflects colour requests to the control's object, then searches the message table. Derived
    // framework classes add their own handling.
    virtual MessageResult HandleMessage(const Message& message);

    // What delivers the messages of an attached object: the subclass procedure, or a dialog procedure. In the second
    // case the subclass procedure only notices the window's destruction.
    enum class Source { Subclass, DialogProcedure };

    // The result of a notification during whose handling the dialog's window was destroyed. The system cannot supply
    // one.
    virtual LRESULT AnswerWhenDestroyed(const Message&) noexcept { return 0; }

    // Connects the object to its window, so that FromHandlePermanent finds it.
    bool Attach(HWND window, Source source) noexcept;

  private:
    // Passes a WM_CTLCOLOR… message, which a control sends to its parent, to the control's object.
    static MessageResult Reflect(const Message& message);

    static LRESULT CALLBACK SubclassProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR id,
                                         DWORD_PTR object) noexcept;

    Source source_ = Source::Subclass;
};

// Centers the window over its owner, within the work area of the owner's monitor. Does nothing when the owner is
// hidden or minimized.
void CenterOverOwner(HWND window) noexcept;

// Shows the wait cursor while the object exists and no window sets another cursor.
class CWaitCursor : NonCopyable {
  public:
    CWaitCursor() noexcept : before_(SetCursor(LoadCursorW(nullptr, IDC_WAIT))) {}
    ~CWaitCursor() {
        const LastErrorKeeper keeper;
        SetCursor(before_);
    }

  private:
    HCURSOR before_;  // shared
};

// Sets a flag until the end of the scope, which restores its previous value.
class FlagScope : NonCopyable {
  public:
    explicit FlagScope(bool& flag) noexcept : flag_(flag), before_(std::exchange(flag, true)) {}
    ~FlagScope() { flag_ = before_; }

  private:
    bool& flag_;
    bool before_;
};
