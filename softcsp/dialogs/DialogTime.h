// How long the provider's dialogs wait for the user.
#pragma once

#include <windows.h>

namespace softcsp {

constexpr DWORD kNoTimeLimit = MAXDWORD;

// What "\local\KeyDevices\<name>" says, else "\global\KeyDevices\<name>", else ten minutes: milliseconds as a timer
// takes them, or kNoTimeLimit. The store holds seconds; -1 there is no limit, 0 and other negative numbers are 1.
DWORD DialogTime(const wchar_t* name);

}  // namespace softcsp
