// Replaces the system's annotations of windows: notes what assistive technology would read of them.
#pragma once

#include <initguid.h>
#include <oleacc.h>

#include <map>

#include "tests/support/ImportPatch.h"

struct SpokenNames {
    SpokenNames() { names.clear(), roles.clear(); }
    static inline std::map<HWND, std::wstring> names;
    static inline std::map<HWND, LONG> roles;

  private:
    static ULONG WINAPI Release(void*) { return 1; }
    static HRESULT WINAPI SetNumber(void*, HWND window, DWORD, DWORD, MSAAPROPID id, VARIANT value) {
        if (id == PROPID_ACC_ROLE) roles[window] = value.lVal;
        return S_OK;
    }
    static HRESULT WINAPI SetText(void*, HWND window, DWORD, DWORD, MSAAPROPID id, LPCWSTR text) {
        if (id == PROPID_ACC_NAME) names[window] = text;
        return S_OK;
    }
    static HRESULT WINAPI Create(REFCLSID, IUnknown*, DWORD, REFIID, void** made) {
        // The operations of IAccPropServices in their order; those that are missing are not to be called.
        static void* const operations[] = {
            nullptr, nullptr, reinterpret_cast<void*>(&Release),   nullptr,
            nullptr, nullptr, reinterpret_cast<void*>(&SetNumber), reinterpret_cast<void*>(&SetText)};
        static void* const* object = operations;
        return *made = &object, S_OK;
    }
    const ImportPatch create_{"CoCreateInstance", &Create};
};
