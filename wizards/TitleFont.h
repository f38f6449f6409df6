// The font of the title on a wizard's last page.
#pragma once

#include <windows.h>

#include "framework/Handles.h"

// Sets it in the title, a static of the page: twelve points at the resolution of its display. The caller owns the font,
// which must outlive the static.
UniqueFont SetTitleFont(HWND title) noexcept;
