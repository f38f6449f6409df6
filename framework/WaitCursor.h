// CWaitCursor: the hourglass, while the object lives and no window asks for another cursor.
#pragma once

#include <windows.h>

#include "framework/UniqueHandle.h"

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
