// The reader library kvrdr.dll: its windows, and the start of a registration of readers. Results are Win32 codes, 0 =
// success.
#pragma once

#include <windows.h>

#include "softcsp/kvsuprt.h"

extern "C" {

// The owner of a window. The windows are modal.
struct RDR_WND_REQUEST {
    DWORD size;   // sizeof(RDR_WND_REQUEST), which is 16; otherwise ERROR_INVALID_PARAMETER
    HWND parent;  // null = the thread's active window
};

// The readers: the user adds, removes, inserts and ejects carriers. The window reports failures itself.
DWORD rdr_wnd_configure(const RDR_WND_REQUEST* request);
// Shows the types of carriers.
DWORD rdr_media_wnd_configure(const RDR_WND_REQUEST* request);

// Sets `context` of a registration whose size the caller has set. supsys_unregister_all releases it.
DWORD rdr_register_start(SUPSYS_REGISTRATION* registration);
}
