// What the provider reports about itself, changed by "softcsp set NAME=VALUE" so that a test reaches every branch of a
// program that asks. Settings are REG_DWORD values of the provider's Settings key and are read at each use.
#pragma once

#include <windows.h>

#include "softcsp/common/Names.h"
#include "softcsp/common/Registry.h"

namespace softcsp {

struct Setting {
    const wchar_t* name;
    DWORD missing;  // the default, used while the value is missing
    const char* meaning;
};

constexpr Setting kClassSetting{L"Class", 1, "protection class, parameter 129: 1 KC1 ... 6 KA1"};
constexpr Setting kVersionSetting{L"Version", 0x0500, "PP_VERSION: major version in bits 8-15, minor in bits 0-7"};
constexpr Setting kBuildSetting{L"Build", 4821, "build number, second word of parameter 138"};
constexpr Setting kDebugSetting{L"Debug", 0, "1 = debug build, third word of parameter 138"};
constexpr Setting kTypeSetting{L"Type", 0, "PP_PROVTYPE; 0 = the type that the context was opened with"};
constexpr Setting kCngRegisterSetting{L"CngRegister", 0, "the result of DllRegisterServer in kvcng.dll, an HRESULT"};
constexpr Setting kCngUnregisterSetting{L"CngUnregister", 0, "the result of DllUnregisterServer in kvcng.dll"};
constexpr Setting kCacheSetting{L"Cache", 0, "keys in the cache, first word of parameter 115; 0 off"};
constexpr Setting kCacheMaximumSetting{L"CacheMaximum", 64, "second word of parameter 115; 0 = no caching"};
constexpr Setting kCacheAvailableSetting{L"CacheAvailable", 1,
                                         "third word of parameter 115: 1 caching may be used; 2 = no parameter 115"};
constexpr Setting kDhControlSetting{L"DhControl", 2, "Diffie-Hellman control, parameter 143: 1 off, 2 on"};
constexpr Setting kDhMayChangeSetting{L"DhMayChange", 1,
                                      "second word of parameter 143: 1 may be set; 2 = no parameter 143"};
constexpr Setting kNewPasswordSetting{L"NewPassword", 1, "1 = the user is asked for a new container's password"};
constexpr Setting kPasswordRoundsSetting{L"PasswordRounds", 0,
                                         "rounds of a new password's key; 0 = as many as take 200 ms"};
constexpr Setting kExampleSetsSetting{L"ExampleSets", 0, "1 = the parameter sets of published examples may be used"};

constexpr DWORD kNoSuchParameter = 2;  // of CacheAvailable and DhMayChange

constexpr const Setting* kSettings[] = {&kClassSetting,          &kVersionSetting,        &kBuildSetting,
                                        &kDebugSetting,          &kTypeSetting,           &kCngRegisterSetting,
                                        &kCngUnregisterSetting,  &kCacheSetting,          &kCacheMaximumSetting,
                                        &kCacheAvailableSetting, &kDhControlSetting,      &kDhMayChangeSetting,
                                        &kNewPasswordSetting,    &kPasswordRoundsSetting, &kExampleSetsSetting};

inline DWORD ReadSetting(const Setting& setting) {
    return ReadNumber(HKEY_LOCAL_MACHINE, kSettingsKey, setting.name, setting.missing);
}

inline DWORD WriteSetting(const Setting& setting, DWORD value) {
    return WriteValue(HKEY_LOCAL_MACHINE, kSettingsKey, setting.name, value);
}

inline DWORD ClearSetting(const Setting& setting) {
    return ClearValue(HKEY_LOCAL_MACHINE, kSettingsKey, setting.name);
}

}  // namespace softcsp
