// The product's random number library, kvrndm.dll: the window that configures random number generators. Results as in
// ReaderLibrary.h.
#pragma once

#include <windows.h>

#include "applet/services/ProductLibrary.h"

DWORD LoadRandomLibrary() noexcept;
void ReleaseRandomLibrary() noexcept;

// Modal above `parent`; tells the user of its failures itself.
DWORD rndm_wnd_configure(HWND parent) noexcept;
