// The link from a certificate to the container of its private key, and the comparison of a container's keys with a
// certificate.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <optional>
#include <span>
#include <string>

#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"

struct KeyLink {
    std::wstring container;
    std::wstring provider;
    DWORD providerType = 0;
    KeySet keySet = KeySet::User;
    DWORD keySpec = 0;  // AT_KEYEXCHANGE or AT_SIGNATURE
};

// The certificate's link. A certificate without a readable link is not an error: the value is empty. `usualSize` is the
// size of the first buffer in bytes, as in ReadBytes.
std::optional<KeyLink> ReadKeyLink(const CERT_CONTEXT& certificate, std::size_t usualSize = 0);

// Sets the certificate's link, in place of the one it has.
Result<> WriteKeyLink(const CERT_CONTEXT& certificate, const KeyLink& link);

// The name by which an open container is found on its carrier, whatever name it was opened with. Never empty: fails
// with ERROR_INVALID_DATA when the provider returns an empty name.
Result<std::wstring> UniqueContainerName(HCRYPTPROV container);

// The link to a key of an open container. `uniqueName` is the container's name in the link, `keySet` its owner.
Result<KeyLink> MakeKeyLink(HCRYPTPROV container, HCRYPTKEY key, const std::wstring& uniqueName, KeySet keySet);

// A certificate from its encoded form; empty when that can't be decoded.
UniqueCertificate DecodeCertificate(std::span<const BYTE> encoded) noexcept;

// The certificate stored with a key; empty when there is none, or it can't be read or decoded.
UniqueCertificate ReadKeyCertificate(HCRYPTKEY key);

// Whether the open container's key `keySpec` (AT_KEYEXCHANGE or AT_SIGNATURE) is the certificate's. Fails when the
// container's public key can't be read. A key of the usual size takes one call.
Result<bool> MatchKey(HCRYPTPROV container, DWORD keySpec, const CERT_CONTEXT& certificate);

// Which of the open container's keys is the certificate's: AT_SIGNATURE, which is compared first, or AT_KEYEXCHANGE. 0
// when neither is, or neither can be read.
DWORD FindMatchingKey(HCRYPTPROV container, const CERT_CONTEXT& certificate);
