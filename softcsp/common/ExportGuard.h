// What all exported functions of the provider's libraries share: a failure inside a library is an exception, which
// never leaves an export, and values are returned by one size rule.
#pragma once

#include <windows.h>

#include <cstring>
#include <new>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>

#include "softcsp/common/Bytes.h"

namespace softcsp {

// Ends an export with this code: of Win32, CryptoAPI or smart cards.
struct Failure {
    DWORD code;
};

inline void Check(DWORD code) {
    if (code != ERROR_SUCCESS) throw Failure{code};
}

// NTE_… and SCARD_… codes are signed.
constexpr DWORD Code(LONG code) {
    return static_cast<DWORD>(code);
}

[[noreturn]] inline void Fail(LONG code) {
    throw Failure{Code(code)};
}

inline void Require(bool condition, LONG code) {
    if (!condition) Fail(code);
}

// The value, if there is one.
template <class Optional>
auto Required(Optional&& value, LONG code) {
    Require(static_cast<bool>(value), code);
    return *std::forward<Optional>(value);
}

// Runs the body of an export, which returns a code or nothing, and returns its code. Other exceptions than Failure
// become the two codes given.
template <class Body>
DWORD Guarded(Body&& body, DWORD noMemory = ERROR_NOT_ENOUGH_MEMORY, DWORD unexpected = ERROR_INTERNAL_ERROR) noexcept {
    try {
        if constexpr (!std::is_void_v<std::invoke_result_t<Body>>) return std::forward<Body>(body)();
        std::forward<Body>(body)();
        return ERROR_SUCCESS;
    } catch (const Failure& failure) {
        return failure.code;
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
void GiveSized(std::size_t needed, const void* buffer, DWORD* size, Write&& write) {
    Require(size != nullptr, ERROR_INVALID_PARAMETER);
    Require(needed <= MAXDWORD, ERROR_INVALID_DATA);
    const DWORD capacity = std::exchange(*size, static_cast<DWORD>(needed));
    if (buffer == nullptr) return;
    Require(capacity >= needed, ERROR_MORE_DATA);
    std::forward<Write>(write)();
}

inline void Give(ByteView value, BYTE* buffer, DWORD* size) {
    GiveSized(value.size(), buffer, size, [&] {
        if (!value.empty()) std::memcpy(buffer, value.data(), value.size());
    });
}

// Lengths in characters without the terminator; the buffer holds one character more than its capacity.
inline void GiveText(std::wstring_view text, wchar_t* buffer, DWORD* length) {
    GiveSized(text.size(), buffer, length, [&] {
        std::memcpy(buffer, text.data(), text.size() * sizeof(wchar_t));
        buffer[text.size()] = L'\0';
    });
}

}  // namespace softcsp
