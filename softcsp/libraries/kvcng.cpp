// The CNG module. It registers itself by a value of the provider's home key. Settings determine its results.
#include <windows.h>

#include "softcsp/common/ExportGuard.h"
#include "softcsp/common/Names.h"
#include "softcsp/common/Registry.h"
#include "softcsp/common/Settings.h"

namespace {

// The result that the setting demands, without a change, or else the result of the change.
template <class Change>
HRESULT Answer(const softcsp::Setting& setting, Change change) noexcept {
    HRESULT demanded = S_OK;
    const DWORD result = softcsp::Guarded([&]() -> DWORD {
        demanded = static_cast<HRESULT>(softcsp::ReadSetting(setting));
        return demanded != S_OK ? ERROR_SUCCESS : change();
    });
    return demanded != S_OK ? demanded : HRESULT_FROM_WIN32(result);
}

}  // namespace

extern "C" HRESULT WINAPI DllRegisterServer() {
    return Answer(softcsp::kCngRegisterSetting,
                  [] { return softcsp::WriteValue(HKEY_LOCAL_MACHINE, softcsp::kHomeKey, softcsp::kCngValue, 1); });
}

extern "C" HRESULT WINAPI DllUnregisterServer() {
    return Answer(softcsp::kCngUnregisterSetting,
                  [] { return softcsp::ClearValue(HKEY_LOCAL_MACHINE, softcsp::kHomeKey, softcsp::kCngValue); });
}
