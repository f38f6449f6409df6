// Bindings of the product's reader library, kvrdr.dll, and random number library, kvrndm.dll: windows that configure
// key readers, kinds of key carriers and random number generators. Each wrapper has the name of the library's function
// and returns its result, 0 for success, or kFunctionMissing.
#pragma once

#include <windows.h>

#include "applet/services/ProductLibrary.h"
#include "applet/services/SupportLibrary.h"

// The owner of a window of the reader library.
struct ReaderWindowRequest {
    DWORD size = sizeof(ReaderWindowRequest);  // checked by the library
    HWND parent = nullptr;
};
static_assert(sizeof(ReaderWindowRequest) == 16);

DWORD LoadReaderLibrary() noexcept;
void ReleaseReaderLibrary() noexcept;

// Both are modal and report their failures to the user.
DWORD rdr_wnd_configure(const ReaderWindowRequest* request) noexcept;
DWORD rdr_media_wnd_configure(const ReaderWindowRequest* request) noexcept;

// Begins a registration of readers, which supsys_unregister_all ends.
DWORD rdr_register_start(ReaderRegistration* registration) noexcept;

DWORD LoadRandomLibrary() noexcept;
void ReleaseRandomLibrary() noexcept;

// Modal, owned by `parent`; reports its failures to the user.
DWORD rndm_wnd_configure(HWND parent) noexcept;
