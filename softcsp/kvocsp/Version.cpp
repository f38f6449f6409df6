// The OCSP module is there to be found; it has nothing to do.
#include <windows.h>

// Major version in bits 8-15, minor in bits 0-7.
extern "C" DWORD ocsp_library_version() {
    return 0x0500;
}
