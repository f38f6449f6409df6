#include "softcsp/kvcrypt.h"

BOOL WINAPI SetThreadDefaultCryptProv(HCRYPTPROV) {
    return TRUE;
}
