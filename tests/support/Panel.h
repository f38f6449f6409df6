// The panel as the tests open it: through its Control Panel entry, linked into the running test.
#pragma once

#include <cpl.h>

#include "tests/support/ModalScript.h"

extern "C" LONG APIENTRY CPlApplet(HWND window, UINT message, LPARAM lParam1, LPARAM lParam2) noexcept;

// Between CPL_INIT and CPL_EXIT.
class PanelSession {
  public:
    PanelSession() { CPlApplet(nullptr, CPL_INIT, 0, 0); }
    ~PanelSession() { CPlApplet(nullptr, CPL_EXIT, 0, 0); }
    PanelSession(PanelSession&&) = delete;

    // Opens the sheet at a page and runs it until it is closed; the entry's result.
    LONG Open(const char* page = nullptr) {
        return CPlApplet(nullptr, page ? CPL_STARTWPARMSA : CPL_DBLCLK, 0, reinterpret_cast<LPARAM>(page));
    }
};
