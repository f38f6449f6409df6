// CWnd: a window and the object that answers its messages.
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

    // Puts this object in front of an existing window. The window stays its creator's; the object lets go when the
    // window is destroyed, or when the object is.
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
        if (m_hWnd) ::InvalidateRect(m_hWnd, nullptr, TRUE);  // without a window: all windows of the screen
    }
    LRESULT SendMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) const noexcept {
        return ::SendMessageW(m_hWnd, message, wParam, lParam);
    }
    bool PostMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) const noexcept {
        return m_hWnd && ::PostMessageW(m_hWnd, message, wParam, lParam);  // without a window: to the thread
    }

    // Moves members into controls (false) or controls into members (true), as DoDataExchange lists them. False when a
    // control's content doesn't fit its member; the user has been told, and the control has the focus. False also when
    // the window is gone, which a message box or another nested loop can end with: the members stay as they are.
    bool UpdateData(bool saveAndValidate = true);

    // A text of the framework's own (FrameworkText.h) in the user's language. Here: the module's string table in the
    // thread's language.
    virtual std::wstring LoadText(UINT id) const;

    // A message box over this window. Here: captioned as the window's top-level owner.
    virtual int ShowMessage(const std::wstring& text, UINT type);

  protected:
    // The class's message table. A derived class's table replaces its base's.
    virtual std::span<const Route> Routes() const { return {}; }

    virtual void DoDataExchange(CDataExchange* exchange);

    // Called once the window is gone and the object holds no handle; the object may delete itself here.
    virtual void PostNcDestroy() {}

    // WM_NCDESTROY, with no handle held any more. Here: PostNcDestroy follows at once.
    virtual void OnNcDestroyed() { PostNcDestroy(); }

    // Everything an object does with a message: a control's own answer first, then the table; derived framework
    // classes add what they do themselves.
    virtual MessageResult HandleMessage(const Message& message);

    // Where an attached object's messages come from: the subclass procedure itself, or a dialog procedure, which then
    // answers them, while the subclass only keeps the tie.
    enum class Source { Subclass, DialogProcedure };

    // The answer to a notification during which a dialog's window was destroyed: the system has none then.
    virtual LRESULT AnswerWhenDestroyed(const Message&) noexcept { return 0; }

    // Ties the object to its window: from here FromHandlePermanent finds it.
    bool Attach(HWND window, Source source) noexcept;

  private:
    // Hands a message that a parent got about one of its controls (WM_CTLCOLOR…) to that control's object.
    static MessageResult Reflect(const Message& message);

    static LRESULT CALLBACK SubclassProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR id,
                                         DWORD_PTR object) noexcept;

    Source source_ = Source::Subclass;
};

// Where a window is put on the screen.

// Moves the window over the middle of its owner, wholly onto the work area of the owner's monitor. A window whose owner
// can't be seen stays where it is.
void CenterOverOwner(HWND window) noexcept;

// CWaitCursor: the hourglass, while the object lives and no window asks for another cursor.

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

// Raised: a flag is true while the object lives, and then what it was before.

class Raised {
  public:
    explicit Raised(bool& flag) noexcept : flag_(flag), before_(std::exchange(flag, true)) {}
    ~Raised() { flag_ = before_; }
    Raised(const Raised&) = delete;
    Raised& operator=(const Raised&) = delete;

  private:
    bool& flag_;
    bool before_;
};
