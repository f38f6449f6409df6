// Bindings of the product's reader library, kvrdr.dll, and random number library, kvrndm.dll: windows that configure
// key readers, kinds of key carriers and random number generators. Each function has the name of the library's and
// returns its result, 0 for success, or kFunctionMissing.
#pragma once

#include <windows.h>

#include "applet/services/ProcessCaches.h"
#include "applet/services/ProductLibrary.h"
#include "applet/services/SupportLibrary.h"

// The owner of a window of the reader library.
struct ReaderWindowRequest {
    DWORD size = sizeof(ReaderWindowRequest);  // checked by the library
    HWND parent = nullptr;
};
static_assert(sizeof(ReaderWindowRequest) == 16);

inline ProductLibrary& ReaderLibrary() noexcept {
    return Caches().readers;
}
inline ProductLibrary& RandomLibrary() noexcept {
    return Caches().random;
}

template <FunctionName Name, class Signature>
using ReaderFunction = ProductFunction<&ReaderLibrary, Name, Signature>;

// Both are modal and report their failures to the user.
inline constexpr ReaderFunction<"rdr_wnd_configure", DWORD(const ReaderWindowRequest* request)> rdr_wnd_configure;
inline constexpr ReaderFunction<"rdr_media_wnd_configure", DWORD(const ReaderWindowRequest* request)>
    rdr_media_wnd_configure;

// Begins a registration of readers, which supsys_unregister_all ends.
inline constexpr ReaderFunction<"rdr_register_start", DWORD(ReaderRegistration* registration)> rdr_register_start;

// Modal, owned by `parent`; reports its failures to the user.
inline constexpr ProductFunction<&RandomLibrary, "rndm_wnd_configure", DWORD(HWND parent)> rndm_wnd_configure;
