// CWnd: the object that handles a window's messages.
#pragma once

#include <windows.h>

#include <span>
#include <string>
#include <utility>

#include "framework/Handles.h"
#include "framework/Route.h"

class CDataExchange;

// The whole text of any window of this process.
std::wstring WindowText(HWND window);

class CWnd {
  public:
    CWnd() = default;
    virtual ~CWnd();
    CWnd(const CWnd&) = delete;
    CWnd& operator=(const CWnd&) = delete;

    HWND m_hWnd = nullptr;

    HWND GetSafeHwnd() const noexcept { return m_hWnd; }

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
class CWaitCursor {
  public:
    CWaitCursor() noexcept : before_(SetCursor(LoadCursorW(nullptr, IDC_WAIT))) {}
    ~CWaitCursor() {
        const LastErrorKeeper keeper;
        SetCursor(before_);
    }
    CWaitCursor(const CWaitCursor&) = delete;
    CWaitCursor& operator=(const CWaitCursor&) = delete;

  private:
    HCURSOR before_;  // shared
};

// Sets a flag until the end of the scope, which restores its previous value.
class FlagScope {
  public:
    explicit FlagScope(bool& flag) noexcept : flag_(flag), before_(std::exchange(flag, true)) {}
    ~FlagScope() { flag_ = before_; }
    FlagScope(const FlagScope&) = delete;
    FlagScope& operator=(const FlagScope&) = delete;

  private:
    bool& flag_;
    bool before_;
};
