// CStaticLink: a static text that behaves as a hyperlink, for the mouse and for the keyboard.
#pragma once

#include <windows.h>

#include <string>

#include "framework/Controls.h"
#include "framework/Handles.h"

// ILinkHandler: the owner of a link that does something else with a click than opening the link's target.
class ILinkHandler {
  public:
    virtual ~ILinkHandler() = default;
    virtual void OnLinkClicked(HWND link) = 0;
};

// Opens a file or an address with the shell's `verb` ("open", "runas"). The program is started in the system directory,
// so that neither it nor the shell searches the current directory. False when nothing could be started.
bool OpenWithShell(HWND owner, const wchar_t* verb, const std::wstring& target, int show) noexcept;

class CStaticLink : public CStatic {
  public:
    // What a click opens. Without a target: the string whose id is the control's, else the control's own text. Only
    // addresses of the web and of mail and full paths of files that exist are opened.
    void SetTarget(std::wstring target) { target_ = std::move(target); }
    const std::wstring& Target() const noexcept { return target_; }

    // Clicks go to `handler` instead. Not owned; it must outlive the link.
    void SetLinkHandler(ILinkHandler* handler) noexcept { handler_ = handler; }

    // Makes the control as large as its text, but not larger than it was at the first call, so that only the text can
    // be clicked. To be called again after the text changed.
    void FitToText();

    // Sets the control's role for assistive technology.
    void AnnounceAsLink() noexcept;

  protected:
    std::span<const Route> Routes() const override;

  private:
    LRESULT OnHitTest(const Message&) { return HTCLIENT; }  // a static passes the mouse on to its parent
    LRESULT OnGetDialogCode(const Message& message);
    MessageResult OnKeyDown(const Message& message);
    MessageResult OnFocusChange(const Message& message);
    LRESULT OnSetText(const Message& message);
    LRESULT OnPaint(const Message& message);
    void OnClick();
    MessageResult OnSetCursor(const Message& message);
    MessageResult OnColor(const Message& message);
    void OpenTarget();
    void Redraw() noexcept;

    static constexpr COLORREF kUnvisited = RGB(0, 0, 255);
    static constexpr COLORREF kVisited = RGB(128, 0, 128);

    ILinkHandler* handler_ = nullptr;
    std::wstring target_;
    COLORREF color_ = kUnvisited;
    UniqueFont font_;  // the control's, underlined
    SIZE most_{};      // in the template, in pixels
};
