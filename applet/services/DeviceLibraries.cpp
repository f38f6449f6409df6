#include "applet/services/DeviceLibraries.h"

#include "applet/services/ProcessCaches.h"

DWORD LoadReaderLibrary() noexcept {
    return Caches().readers.Load();
}
void ReleaseReaderLibrary() noexcept {
    Caches().readers.Release();
}
FARPROC FindReaderFunction(const char* name) noexcept {
    return Caches().readers.Find(name);
}

DWORD LoadRandomLibrary() noexcept {
    return Caches().random.Load();
}
void ReleaseRandomLibrary() noexcept {
    Caches().random.Release();
}
FARPROC FindRandomFunction(const char* name) noexcept {
    return Caches().random.Find(name);
}
