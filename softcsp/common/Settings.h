// What the provider is to report about itself, changed by "softcsp set NAME=VALUE" so that a test reaches every
// branch of a program that asks. REG_DWORD values of the provider's Settings key, read anew at each question.
#pragma once

#include <windows.h>

namespace softcsp {

struct Setting {
    const wchar_t* name;
    DWORD missing;  // what holds while the value isn't there
    const char* meaning;
};

constexpr Setting kClassSetting{L"Class", 1, "protection class, parameter 129: 1 KC1 ... 6 KA1"};
constexpr Setting kVersionSetting{L"Version", 0x0500, "PP_VERSION: major version in bits 8-15, minor in bits 0-7"};
constexpr Setting kBuildSetting{L"Build", 4821, "build number, second word of parameter 138"};
constexpr Setting kDebugSetting{L"Debug", 0, "1 = debug build, third word of parameter 138"};
constexpr Setting kTypeSetting{L"Type", 0, "PP_PROVTYPE; 0 = the type that the context was opened with"};

constexpr const Setting* kSettings[] = {&kClassSetting, &kVersionSetting, &kBuildSetting, &kDebugSetting,
                                        &kTypeSetting};

DWORD ReadSetting(const Setting& setting);
DWORD WriteSetting(const Setting& setting, DWORD value);  // Win32 code
DWORD ClearSetting(const Setting& setting);               // Win32 code; nothing to clear is success

}  // namespace softcsp
