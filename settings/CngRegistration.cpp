#include "settings/CngRegistration.h"

#include <windows.h>

#include "applet/services/ProductLibrary.h"
#include "framework/Handles.h"

namespace {

constexpr BYTE kFirstWithCng = 6;  // the major version of Windows

using RegistrationFunction = HRESULT WINAPI();

RegistrationFunction* Find(const UniqueModule& module, const char* name) noexcept {
    return reinterpret_cast<RegistrationFunction*>(reinterpret_cast<void*>(GetProcAddress(module.get(), name)));
}

}  // namespace

Registration RenewCngRegistration() {
    if (LOBYTE(LOWORD(GetVersion())) < kFirstWithCng) return Registration::Untouched;
    const UniqueModule module(LoadLibraryByName(L"kvcng.dll"));
    if (!module) return Registration::Untouched;
    const auto unregisterServer = Find(module, "DllUnregisterServer");
    const auto registerServer = Find(module, "DllRegisterServer");
    if (!unregisterServer || !registerServer || unregisterServer() != S_OK) return Registration::Untouched;
    return registerServer() == S_OK ? Registration::Renewed : Registration::Failed;
}

bool IsOcspInstalled() {
    return static_cast<bool>(UniqueModule(LoadLibraryByName(L"kvocsp.dll")));
}
