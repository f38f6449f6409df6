#include "softcsp/common/Settings.h"

#include "softcsp/common/Names.h"
#include "softcsp/common/Registry.h"

namespace softcsp {

DWORD ReadSetting(const Setting& setting) {
    return ReadNumber(HKEY_LOCAL_MACHINE, kSettingsKey, setting.name, setting.missing);
}

DWORD WriteSetting(const Setting& setting, DWORD value) {
    return WriteNumber(HKEY_LOCAL_MACHINE, kSettingsKey, setting.name, value);
}

DWORD ClearSetting(const Setting& setting) {
    const DWORD result = RemoveValue(HKEY_LOCAL_MACHINE, kSettingsKey, setting.name);
    return result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : result;
}

}  // namespace softcsp
