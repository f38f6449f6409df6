#include "applet/services/DeviceLibraries.h"

#include "applet/services/ProcessCaches.h"

DWORD LoadReaderLibrary() noexcept {
    return Caches().readers.Load();
}
void ReleaseReaderLibrary() noexcept {
    Caches().readers.Release();
}

DWORD rdr_wnd_configure(const ReaderWindowRequest* request) noexcept {
    return Caches().readers.Call<decltype(rdr_wnd_configure)>(__func__, request);
}

DWORD rdr_media_wnd_configure(const ReaderWindowRequest* request) noexcept {
    return Caches().readers.Call<decltype(rdr_media_wnd_configure)>(__func__, request);
}

DWORD rdr_register_start(ReaderRegistration* registration) noexcept {
    return Caches().readers.Call<decltype(rdr_register_start)>(__func__, registration);
}

DWORD LoadRandomLibrary() noexcept {
    return Caches().random.Load();
}
void ReleaseRandomLibrary() noexcept {
    Caches().random.Release();
}

DWORD rndm_wnd_configure(HWND parent) noexcept {
    return Caches().random.Call<decltype(rndm_wnd_configure)>(__func__, parent);
}
