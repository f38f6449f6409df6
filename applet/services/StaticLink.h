// CStaticLink: a static text that behaves as a hyperlink.
#pragma once

#include "applet/services/LinkHandler.h"
#include "framework/Handles.h"
#include "framework/Static.h"

class CStaticLink : public CStatic {
  public:
    // What a click opens. Without a target: the string whose id is the control's, else the control's own text.
    void SetTarget(std::wstring target) { target_ = std::move(target); }
    const std::wstring& Target() const noexcept { return target_; }

    // Clicks go to `handler` instead. Not owned; it must outlive the link.
    void SetLinkHandler(ILinkHandler* handler) noexcept { handler_ = handler; }

  protected:
    std::span<const Route> Routes() const override;

  private:
    LRESULT OnHitTest(const Message&) { return HTCLIENT; }  // a static would let the mouse through to its parent
    void OnClick();
    MessageResult OnSetCursor(const Message& message);
    MessageResult OnColor(const Message& message);
    void OpenTarget();

    static constexpr COLORREF kUnvisited = RGB(0, 0, 255);
    static constexpr COLORREF kVisited = RGB(128, 0, 128);

    ILinkHandler* handler_ = nullptr;
    std::wstring target_;
    COLORREF color_ = kUnvisited;
    UniqueFont font_;  // the control's, underlined
};
