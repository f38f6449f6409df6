// CSpinButtonCtrl: an up-down control and the edit whose number it moves.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include <span>

#include "framework/Wnd.h"

class CSpinButtonCtrl : public CWnd {
  public:
    void SetBuddy(HWND edit) noexcept { SendMessage(UDM_SETBUDDY, reinterpret_cast<WPARAM>(edit)); }
    void SetRange32(int least, int most) noexcept {
        SendMessage(UDM_SETRANGE32, static_cast<WPARAM>(least), static_cast<LPARAM>(most));
    }
    // How far each click goes once the button has been held for so many seconds; in the order of the seconds.
    void SetAccel(std::span<const UDACCEL> steps) noexcept {
        SendMessage(UDM_SETACCEL, steps.size(), reinterpret_cast<LPARAM>(steps.data()));
    }
};
