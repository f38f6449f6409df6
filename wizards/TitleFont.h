// The font of the title on a wizard's last page.
#pragma once

#include <windows.h>

#include "framework/Handles.h"

// Twelve points at the resolution of the window's display.
UniqueFont CreateTitleFont(HWND window) noexcept;
