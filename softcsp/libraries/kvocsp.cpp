// The OCSP module. Programs only look for it and its version.
#include <windows.h>

// Major version in bits 8-15, minor in bits 0-7.
extern "C" DWORD ocsp_library_version() {
    return 0x0500;
}
