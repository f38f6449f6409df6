// Exports of the CNG module: it registers itself by a value of the provider's home key, and answers what a test wants.
#include <windows.h>

#include "softcsp/common/Names.h"
#include "softcsp/common/RegistryKey.h"
#include "softcsp/common/Settings.h"

namespace {

// What the setting says, else what the change gives. A failure that is asked for changes nothing.
template <class Change>
HRESULT Answer(const softcsp::Setting& setting, Change change) noexcept {
    try {
        if (const auto wanted = static_cast<HRESULT>(softcsp::ReadSetting(setting))) return wanted;
        const DWORD result = change();
        return HRESULT_FROM_WIN32(result);
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace

extern "C" HRESULT WINAPI DllRegisterServer() {
    return Answer(softcsp::kCngRegisterSetting, []() -> DWORD {
        softcsp::RegistryKey home;
        if (const DWORD result = home.Create(HKEY_LOCAL_MACHINE, softcsp::kHomeKey)) return result;
        return home.WriteNumber(softcsp::kCngValue, 1);
    });
}

// What isn't registered is no error.
extern "C" HRESULT WINAPI DllUnregisterServer() {
    return Answer(softcsp::kCngUnregisterSetting, []() -> DWORD {
        softcsp::RegistryKey home;
        DWORD result = home.Open(HKEY_LOCAL_MACHINE, softcsp::kHomeKey, KEY_SET_VALUE);
        if (result == ERROR_SUCCESS) result = home.Delete(softcsp::kCngValue);
        return result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : result;
    });
}
