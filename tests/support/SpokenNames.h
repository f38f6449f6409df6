// Stands in for the system's annotations of windows: notes what assistive technology would be told of them.
#pragma once

#include <windows.h>
#include <initguid.h>
#include <oleacc.h>

#include <map>
#include <string>

#include "tests/support/ImportPatch.h"

class SpokenNames {
  public:
    SpokenNames() { names.clear(), roles.clear(); }

    static inline std::map<HWND, std::wstring> names;
    static inline std::map<HWND, LONG> roles;

  private:
    static bool IsOfWindow(DWORD object, DWORD child) { return object == DWORD(OBJID_CLIENT) && child == CHILDID_SELF; }
    static ULONG WINAPI Release(void*) { return 1; }
    static HRESULT WINAPI SetNumber(void*, HWND window, DWORD object, DWORD child, MSAAPROPID id, VARIANT value) {
        if (IsOfWindow(object, child) && id == PROPID_ACC_ROLE && value.vt == VT_I4) roles[window] = value.lVal;
        return S_OK;
    }
    static HRESULT WINAPI SetText(void*, HWND window, DWORD object, DWORD child, MSAAPROPID id, LPCWSTR text) {
        if (IsOfWindow(object, child) && id == PROPID_ACC_NAME) names[window] = text;
        return S_OK;
    }
    static HRESULT WINAPI Create(REFCLSID kind, IUnknown*, DWORD, REFIID, void** made) {
        // The operations of IAccPropServices in their order; those that are missing are not to be called.
        static void* const operations[] = {
            nullptr, nullptr, reinterpret_cast<void*>(&Release),   nullptr,
            nullptr, nullptr, reinterpret_cast<void*>(&SetNumber), reinterpret_cast<void*>(&SetText)};
        static void* const* object = operations;
        if (kind != CLSID_AccPropServices) return REGDB_E_CLASSNOTREG;
        return *made = &object, S_OK;
    }

    const ImportPatch create_{nullptr, "CoCreateInstance", &Create};
};
