// What is known of a container without its private keys: its names, and its keys with their certificates.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <string>
#include <vector>

#include "csp/CryptProvContext.h"
#include "framework/Handles.h"
#include "framework/Result.h"

struct KeyFacts {
    DWORD keySpec;                  // AT_KEYEXCHANGE or AT_SIGNATURE
    UniqueCertificate certificate;  // empty when the key has none that can be read
};

struct ContainerFacts {
    std::wstring name, uniqueName;
    std::wstring qualifiedName;  // "\\.\CARRIER\NAME"
    std::vector<KeyFacts> keys;

    std::wstring Carrier() const;  // empty when the qualified name has another form
};

// Reads an open container. Fails with the provider's code when a name can't be read.
Result<ContainerFacts> ReadContainerFacts(HCRYPTPROV container);

// The certificate that is stored with a key; empty when there is none.
UniqueCertificate ReadKeyCertificate(HCRYPTPROV container, DWORD keySpec);
