#include "settings/TlsSettings.h"

#include "applet/services/ProductLibrary.h"
#include "applet/services/SupportLibrary.h"
#include "framework/Handles.h"

namespace {

constexpr BYTE kFirstWindowsWithCng = 6;  // major version

constexpr StoredValues<TlsSettings> kSwitches(kTlsSwitches), kLimits(kTlsLimits);

using RegistrationFunction = HRESULT WINAPI();

RegistrationFunction* FindFunction(const UniqueModule& module, const char* name) noexcept {
    return reinterpret_cast<RegistrationFunction*>(reinterpret_cast<void*>(GetProcAddress(module.get(), name)));
}

}  // namespace

void TlsSettings::Read() {
    mayWrite = MayWrite(L"\\config\\Parameters");
    ReadValues(kSwitches, *this);
    ReadValues(kLimits, *this);
}

bool TlsSettings::DiffersFromStore() {
    RefreshStored(kSwitches, *this);
    RefreshStored(kLimits, *this);
    return AnyChanged(kSwitches, *this) || AnyChanged(kLimits, *this);
}

WriteReport TlsSettings::Write() {
    RefreshStored(kSwitches, *this);
    WriteReport report = WriteChanged(kSwitches, *this);
    if (!mayWrite) return report;
    RefreshStored(kLimits, *this, StoredNumbers::Raw);
    const WriteReport limits = WriteChanged(kLimits, *this);
    if (report.result) report.result = limits.result;
    return report;
}

Result<> RenewCngRegistration(Result<> soFar) {
    if (LOBYTE(LOWORD(GetVersion())) < kFirstWindowsWithCng) return soFar;
    const UniqueModule module(LoadLibraryByName(L"kvcng.dll"));
    if (!module) return soFar;
    const auto unregisterServer = FindFunction(module, "DllUnregisterServer");
    const auto registerServer = FindFunction(module, "DllRegisterServer");
    if (!unregisterServer || !registerServer || unregisterServer() != S_OK) return soFar;
    const HRESULT registered = registerServer();
    if (registered == S_OK) return {};
    return Failure{static_cast<DWORD>(registered)};
}

bool IsOcspInstalled() {
    return static_cast<bool>(UniqueModule(LoadLibraryByName(L"kvocsp.dll")));
}
