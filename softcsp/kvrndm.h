// The random number library kvrndm.dll: its window. Results are Win32 codes, 0 = success.
#pragma once

#include <windows.h>

extern "C" {

// Shows the sources of random numbers; modal. `parent` null = the thread's active window.
DWORD rndm_wnd_configure(HWND parent);
}
