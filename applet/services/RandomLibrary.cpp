#include "applet/services/RandomLibrary.h"

#include "applet/services/ProcessCaches.h"

DWORD LoadRandomLibrary() noexcept {
    return Caches().random.Load();
}
void ReleaseRandomLibrary() noexcept {
    Caches().random.Release();
}

DWORD rndm_wnd_configure(HWND parent) noexcept {
    return Caches().random.Call<DWORD(HWND)>("rndm_wnd_configure", parent);
}
