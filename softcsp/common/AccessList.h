// The store paths whose write and remove rights were taken away, so that a test meets what a user without rights
// meets. One registry value per path, named as the path, beneath HKEY_LOCAL_MACHINE and outside the store.
#pragma once

#include <windows.h>

#include "softcsp/common/StorePath.h"

namespace softcsp {

DWORD Deny(const StorePath& path);
DWORD Allow(const StorePath& path);  // ERROR_FILE_NOT_FOUND when this very path wasn't denied

// True when the path or one above it is denied, in any letter case.
bool IsDenied(const StorePath& path);
// True when something beneath the path is denied, so that the path can't be removed as a whole.
bool IsDeniedBeneath(const StorePath& path);

}  // namespace softcsp
