#include "softcsp/dialogs/DialogTime.h"

#include <algorithm>
#include <string>

#include "softcsp/common/Store.h"

namespace softcsp {
namespace {

constexpr DWORD kUsual = 600;  // seconds

DWORD StoredSeconds(const wchar_t* name) {
    for (const wchar_t* section : {L"\\local\\KeyDevices\\", L"\\global\\KeyDevices\\"}) {
        StoreValue value;
        DWORD seconds = 0;
        if (Store().Find((section + std::wstring(name)).c_str(), value) == ERROR_SUCCESS &&
            value.data.Number(seconds) == ERROR_SUCCESS)
            return seconds;
    }
    return kUsual;
}

}  // namespace

DWORD DialogTime(const wchar_t* name) {
    const DWORD stored = StoredSeconds(name);
    if (stored == MAXDWORD) return kNoTimeLimit;
    const DWORD seconds = static_cast<LONG>(stored) < 1 ? 1 : stored;
    return std::min<DWORD>(seconds, USER_TIMER_MAXIMUM / 1000) * 1000;
}

}  // namespace softcsp
