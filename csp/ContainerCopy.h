// The copy of a private key container: what its source holds, read once, can be written into new containers of any
// provider of the product. Private keys are wrapped under a session key that stays inside the providers.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <string>
#include <vector>

#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"
#include "framework/Handles.h"

// Session keys on their way from one provider context to another. They never leave the providers in the clear.

// Moves the session key `key` of the context `from` into the context `to`, wrapped under what two ephemeral keys agree
// on; `moved`, empty before, owns it there. E_FAIL when something is missing; else the first failing call's code.
HRESULT TransferKey(HCRYPTKEY key, HCRYPTPROV from, HCRYPTPROV to, UniqueCryptKey& moved);

// The key as a blob of this type, wrapped under another one (0: not wrapped).
inline BytesOutcome ExportKey(HCRYPTKEY key, HCRYPTKEY under, DWORD type) {
    return AskLengthFirst([=](BYTE* data, DWORD* length) { return CryptExportKey(key, under, type, 0, data, length); });
}

// The blob's key, exportable from `provider`; a public key with `by`: what both agree on. To be taken at once.
inline BOOL ImportKey(HCRYPTPROV provider, const Bytes& blob, HCRYPTKEY by, UniqueCryptKey& key) noexcept {
    return CryptImportKey(provider, blob.data(), static_cast<DWORD>(blob.size()), by, CRYPT_EXPORTABLE, key.put());
}

// A new container that takes keys from another one is acquired with these flags.
constexpr DWORD kCopyTargetFlags = CRYPT_NEWKEYSET | 0x40000 /* the product's */;

struct CopiedKey {
    Bytes blob;         // PRIVATEKEYBLOB under the session key; empty: the container has no such key
    Bytes certificate;  // DER; empty: none
};

// Between reading and writing.
struct ContainerCopy {
    KeySet keySet = KeySet::User;          // whose container it was
    UniqueProviderReference verification;  // a context of the source's provider without a container, for the next
    UniqueCryptKey sessionKey;             // goes before its context
    std::wstring providerName;             // the source's
    DWORD providerType = 0;
    std::string digestSet, cipherSet;  // object identifiers
    CopiedKey exchange, signature;
    std::vector<Bytes> extensions;  // records (csp/ExtensionRecord.h)

    // Forgets all but where it came from. The result of closing the handles: S_OK or the first failing one's.
    HRESULT Clear() noexcept;

    // Opens the context that holds the session key, in place of the one before.
    Outcome OpenVerification(const wchar_t* provider, DWORD type) noexcept;
};

// Reads an open container into `copy`, which was cleared and has its verification context. S_OK, else the first
// failure's code, with which the copy is incomplete: NTE_BAD_KEY_STATE when a key may not be exported.
HRESULT ReadSourceContainer(HCRYPTPROV source, ContainerCopy& copy);

// Writes it into a new, open container, and stays as it is for another. The keys will be exportable there whatever they
// were before. S_OK, else the first failure's code; what was written until then stays.
HRESULT WriteTargetContainer(const ContainerCopy& copy, HCRYPTPROV target);
