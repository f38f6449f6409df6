// What all exported functions of the provider's libraries share: no exception leaves them, and values are returned by
// one size rule.
#pragma once

#include <windows.h>

#include <cstring>
#include <new>
#include <span>
#include <string_view>
#include <utility>

#include "softcsp/common/Bytes.h"

namespace softcsp {

// Runs the body of an export and returns its code. Exceptions become the two codes given.
template <class Body>
DWORD Guarded(Body&& body, DWORD noMemory = ERROR_NOT_ENOUGH_MEMORY, DWORD unexpected = ERROR_INTERNAL_ERROR) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (const std::bad_alloc&) {
        return noMemory;
    } catch (...) {
        return unexpected;
    }
}

// The result of functions that return TRUE, or FALSE with a code as the thread's last error.
inline BOOL Succeeded(DWORD code) noexcept {
    if (code == ERROR_SUCCESS) return TRUE;
    SetLastError(code);
    return FALSE;
}

// The size rule. *size is the capacity of the buffer on input and the size needed on output, in the same unit. Without
// a buffer only the size is returned. A buffer that is too small is ERROR_MORE_DATA and stays unchanged.
template <class Write>
DWORD GiveSized(std::size_t needed, const void* buffer, DWORD* size, Write&& write) {
    if (size == nullptr) return ERROR_INVALID_PARAMETER;
    if (needed > MAXDWORD) return ERROR_INVALID_DATA;
    const DWORD capacity = *size;
    *size = static_cast<DWORD>(needed);
    if (buffer == nullptr) return ERROR_SUCCESS;
    if (capacity < needed) return ERROR_MORE_DATA;
    std::forward<Write>(write)();
    return ERROR_SUCCESS;
}

inline DWORD Give(ByteView value, BYTE* buffer, DWORD* size) {
    return GiveSized(value.size(), buffer, size, [&] {
        if (!value.empty()) std::memcpy(buffer, value.data(), value.size());
    });
}

// Lengths in characters without the terminator; the buffer holds one character more than its capacity.
inline DWORD GiveText(std::wstring_view text, wchar_t* buffer, DWORD* length) {
    return GiveSized(text.size(), buffer, length, [&] {
        std::memcpy(buffer, text.data(), text.size() * sizeof(wchar_t));
        buffer[text.size()] = L'\0';
    });
}

}  // namespace softcsp
