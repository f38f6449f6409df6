// The link from a certificate in a store to the container of its private key.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <optional>
#include <string>

#include "csp/KeySet.h"

struct KeyLink {
    std::wstring container;
    std::wstring provider;
    DWORD providerType = 0;
    KeySet keySet = KeySet::User;
};

// Nothing when the certificate has no link.
std::optional<KeyLink> ReadKeyLink(const CERT_CONTEXT& certificate);
