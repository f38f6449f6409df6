// The check of one key of a container and of its certificate.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include "csp/ContainerCheck.h"

// `keySpec`: AT_KEYEXCHANGE or AT_SIGNATURE. True when there is no such key or no error was found.
bool CheckKey(HCRYPTPROV container, DWORD keySpec, KeySet keySet, CheckReport& report);
