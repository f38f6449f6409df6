// What every exported function has in common.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <new>
#include <utility>

#include "softcsp/common/Bytes.h"

namespace softcsp {

constexpr DWORD kMalformed = static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);

// Runs the body of an export, which gives a code: nothing is thrown through it.
template <class Body>
BOOL Answered(Body&& body) noexcept {
    DWORD result = ERROR_INTERNAL_ERROR;
    try {
        result = std::forward<Body>(body)();
    } catch (const std::bad_alloc&) {
        result = ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
    }
    if (result == ERROR_SUCCESS) return TRUE;
    SetLastError(result);
    return FALSE;
}

inline ByteView View(const BYTE* bytes, DWORD size) {
    return {bytes, size};
}

}  // namespace softcsp
