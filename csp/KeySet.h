// Whose containers: the current user's or the computer's.
#pragma once

#include <windows.h>

#include <wincrypt.h>

enum class KeySet { User, Computer };

// As providers are told of it when a container is opened.
constexpr DWORD FlagOf(KeySet keySet) noexcept {
    return keySet == KeySet::Computer ? CRYPT_MACHINE_KEYSET : 0;
}

// Where the system stores of the same owner are.
constexpr DWORD StoreLocation(KeySet keySet) noexcept {
    return keySet == KeySet::Computer ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER;
}
