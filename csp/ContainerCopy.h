// The copy of a private key container. The source is read once and can then be written into new containers of any
// provider of the product. Private keys are wrapped under a session key that never leaves the providers in the clear.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <string>
#include <vector>

#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"
#include "framework/Handles.h"

// The flags with which a new container is acquired that receives keys from another one. The second is the product's
// own.
constexpr DWORD kCopyTargetFlags = CRYPT_NEWKEYSET | 0x40000;

struct CopiedKey {
    Bytes blob;         // PRIVATEKEYBLOB under the session key; empty when the container has no such key
    Bytes certificate;  // DER; empty when the key has none
};

// What was read from a container. Call OpenVerification, ReadSourceContainer, then WriteTargetContainer any number of
// times.
struct ContainerCopy {
    CCryptProvContext verification;    // of the source's provider, without a container; the session key belongs to it
    UniqueCryptKey sessionKey;         // declared after its context, so that it is destroyed first
    std::string digestSet, cipherSet;  // object identifiers
    CopiedKey exchange, signature;
    std::vector<Bytes> extensions;  // records (csp/ExtensionRecord.h)

    // Removes what was read and closes the handles. Fails with the code of the first handle
    // that couldn't be closed; everything is removed nevertheless.
    Result<> Clear() noexcept;

    // Opens the context for the session key, in place of the previous one.
    Result<> OpenVerification(const wchar_t* provider, DWORD type) noexcept;
};

// Reads an open container into `copy`, which is clear and has its verification context. A failure leaves the copy
// incomplete: NTE_BAD_KEY_STATE when a key may not be exported, E_FAIL when something is missing or out of memory,
// CRYPT_E_ASN1_CORRUPT for a damaged certificate, otherwise the code of the call that failed.
Result<> ReadSourceContainer(HCRYPTPROV source, ContainerCopy& copy);

// Writes the copy into a new, open container, in which the keys will be exportable. The copy isn't changed. A failure
// leaves in the container what was written before it.
Result<> WriteTargetContainer(const ContainerCopy& copy, HCRYPTPROV target);
