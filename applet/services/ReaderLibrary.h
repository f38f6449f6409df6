// The product's reader library, kvrdr.dll: windows that configure key readers and kinds of key carriers. One wrapper a
// function, under the function's own name. Each returns the library's own result, 0 for success, or kFunctionMissing.
#pragma once

#include <windows.h>

#include "applet/services/ProductLibrary.h"
#include "applet/services/SupportLibrary.h"

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
