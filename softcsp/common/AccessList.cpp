#include "softcsp/common/AccessList.h"

#include <algorithm>

#include "softcsp/common/Names.h"
#include "softcsp/common/RegistryKey.h"

namespace softcsp {

DWORD Deny(const StorePath& path) {
    RegistryKey list;
    if (const DWORD result = list.Create(HKEY_LOCAL_MACHINE, kDeniedKey)) return result;
    return list.WriteNumber(path.Section(), 1);
}

DWORD Allow(const StorePath& path) {
    RegistryKey list;
    if (const DWORD result = list.Open(HKEY_LOCAL_MACHINE, kDeniedKey, KEY_SET_VALUE)) return result;
    return list.Delete(path.Section());
}

bool IsDenied(const StorePath& path) {
    RegistryKey list;
    if (list.Open(HKEY_LOCAL_MACHINE, kDeniedKey, KEY_QUERY_VALUE) != ERROR_SUCCESS) return false;
    const auto lineage = path.Lineage();
    return std::any_of(lineage.begin(), lineage.end(), [&list](const std::wstring& name) {
        RegistryData data;
        return list.Read(name, data) == ERROR_SUCCESS;
    });
}

bool IsDeniedBeneath(const StorePath& path) {
    RegistryKey list;
    if (list.Open(HKEY_LOCAL_MACHINE, kDeniedKey, KEY_QUERY_VALUE) != ERROR_SUCCESS) return false;
    const std::wstring head = path.Section() + L'\\';
    const auto names = list.Values();
    return std::any_of(names.begin(), names.end(), [&head](const std::wstring& name) {
        const auto length = static_cast<int>(head.size());
        return name.size() > head.size() &&
               CompareStringOrdinal(name.c_str(), length, head.c_str(), length, TRUE) == CSTR_EQUAL;
    });
}

}  // namespace softcsp
