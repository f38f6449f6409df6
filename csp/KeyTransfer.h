// Session keys on their way from one provider context to another. They never leave the providers in the clear.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include "csp/FirstFailure.h"
#include "framework/Handles.h"

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
