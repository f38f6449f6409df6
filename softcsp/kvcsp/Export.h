// What every function that the system calls has in common.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <new>
#include <utility>

namespace softcsp {

// Runs the body of an export, which gives a code; turns it into the answer that CryptoAPI wants. Nothing is thrown
// through it.
template <class Body>
BOOL Answer(Body&& body) noexcept {
    DWORD result = static_cast<DWORD>(NTE_FAIL);
    try {
        result = std::forward<Body>(body)();
    } catch (const std::bad_alloc&) {
        result = static_cast<DWORD>(NTE_NO_MEMORY);
    } catch (...) {
    }
    if (result == ERROR_SUCCESS) return TRUE;
    SetLastError(result);
    return FALSE;
}

}  // namespace softcsp
