// An open provider as the parameter combo boxes use it.
#pragma once

#include <windows.h>

#include <wincrypt.h>

struct ProviderRecord {
    HCRYPTPROV provider = 0;  // not owned
    DWORD length = 0;         // of the value read last, in bytes
    DWORD parameter = 0;      // whose value that was
};
