// CStatic: a static text or picture.
#pragma once

#include "framework/Wnd.h"

class CStatic : public CWnd {
  public:
    // The icon stays the caller's. Returns the icon shown before.
    HICON SetIcon(HICON icon) noexcept {
        return reinterpret_cast<HICON>(SendMessage(STM_SETICON, reinterpret_cast<WPARAM>(icon)));
    }
};
