// Where a window is put on the screen.
#pragma once

#include <windows.h>

// Moves the window over the middle of its owner, wholly onto the work area of the owner's monitor. A window whose owner
// can't be seen stays where it is.
void CenterOverOwner(HWND window) noexcept;
