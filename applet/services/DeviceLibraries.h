// The product's random number library, kvrndm.dll: the window that configures random number generators. Results as in
// ReaderLibrary.h.
#pragma once

#include <windows.h>

#include "applet/services/ProductLibrary.h"
#include "applet/services/SupportLibrary.h"

// The product's reader library, kvrdr.dll: windows that configure key readers and kinds of key carriers. One wrapper a
// function, under the function's own name. Each returns the library's own result, 0 for success, or kFunctionMissing.

// Which window the library's is to be shown above.
struct ReaderWindowRequest {
    DWORD size = sizeof(ReaderWindowRequest);  // the library checks it
    HWND parent = nullptr;
};
static_assert(sizeof(ReaderWindowRequest) == 16);

DWORD LoadReaderLibrary() noexcept;
void ReleaseReaderLibrary() noexcept;

// Both are modal, and tell the user of their failures themselves.
DWORD rdr_wnd_configure(const ReaderWindowRequest* request) noexcept;
DWORD rdr_media_wnd_configure(const ReaderWindowRequest* request) noexcept;

// Begins a registration of readers, which supsys_unregister_all ends.
DWORD rdr_register_start(ReaderRegistration* registration) noexcept;

DWORD LoadRandomLibrary() noexcept;
void ReleaseRandomLibrary() noexcept;

// Modal above `parent`; tells the user of its failures itself.
DWORD rndm_wnd_configure(HWND parent) noexcept;
