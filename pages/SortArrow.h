// The arrow in a list's header over the column that the list is sorted by.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include "framework/Handles.h"

class SortArrow {
  public:
    // `header` isn't owned; it must be there at each Show.
    void Attach(HWND header) noexcept;

    // Points up over a column that ascends, and gives the column that had the arrow its own look back.
    void Show(int column, bool descending) noexcept;

  private:
    HWND header_ = nullptr;
    // For common controls older than 6, whose headers draw no arrows; none for newer ones, or when they can't be had.
    UniqueBitmap up_, down_;
    int column_ = -1;
    HDITEMW before_{};  // how that column looked without the arrow
};
