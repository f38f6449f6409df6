#include "softcsp/common/Settings.h"

#include "softcsp/common/Names.h"
#include "softcsp/common/Registry.h"

namespace softcsp {

DWORD ReadSetting(const Setting& setting) {
    RegistryKey settings;
    RegistryData data;
    DWORD value = setting.missing;
    if (settings.Open(HKEY_LOCAL_MACHINE, kSettingsKey, KEY_QUERY_VALUE) == ERROR_SUCCESS &&
        settings.Read(setting.name, data) == ERROR_SUCCESS)
        data.Number(value);  // a value of another type is ignored
    return value;
}

DWORD WriteSetting(const Setting& setting, DWORD value) {
    RegistryKey settings;
    if (const DWORD result = settings.Create(HKEY_LOCAL_MACHINE, kSettingsKey)) return result;
    return settings.WriteNumber(setting.name, value);
}

DWORD ClearSetting(const Setting& setting) {
    RegistryKey settings;
    DWORD result = settings.Open(HKEY_LOCAL_MACHINE, kSettingsKey, KEY_SET_VALUE);
    if (result == ERROR_SUCCESS) result = settings.Remove(setting.name);
    return result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : result;
}

}  // namespace softcsp
