// CToolTipCtrl: tips for a window's controls.
#pragma once

#include "framework/Wnd.h"

class CToolTipCtrl : public CWnd {
  public:
    ~CToolTipCtrl() override;

    // The tip window is this object's; it is destroyed with the object or with `owner`, whichever goes first.
    bool Create(const CWnd& owner) noexcept;

    // Shows `text` while the mouse rests over the control; the text is copied.
    bool AddTool(HWND control, const std::wstring& text) noexcept;

    // Shows `text` while the mouse rests over the place of a control of `owner` and the control lets the mouse through,
    // as a disabled one does; the text is copied. An empty text shows nothing.
    void SetTextBehind(const CWnd& owner, UINT control, const std::wstring& text) noexcept;
};
