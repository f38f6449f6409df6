// What every exported function has in common.
#pragma once

#include <windows.h>

#include <new>
#include <string_view>
#include <utility>

namespace softcsp {

// Runs the body of an export: nothing is thrown through it.
template <class Body>
DWORD Guarded(Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        return ERROR_INTERNAL_ERROR;
    }
}

// Gives a text by the length rule of kvsuprt.h.
DWORD GiveText(std::wstring_view text, wchar_t* buffer, DWORD* length) noexcept;

}  // namespace softcsp
