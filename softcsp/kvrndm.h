// The random number library kvrndm.dll: its window. Results are Win32 codes, 0 = success.
#pragma once

#include <windows.h>

#ifndef KV_API
#define KV_API /* the library itself is compiled with __declspec(dllexport) */
#endif

extern "C" {

// Shows the sources of random numbers; modal. `parent` null = the thread's active window.
KV_API DWORD rndm_wnd_configure(HWND parent);
}
