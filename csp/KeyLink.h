// The link from a certificate in a store to the container of its private key.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <optional>
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

// Nothing when the certificate has no link. It is read with room for `room` bytes at first, and anew when that is too
// little; 0: its length is asked for first.
std::optional<KeyLink> ReadKeyLink(const CERT_CONTEXT& certificate, std::size_t room = 0);

// Gives the certificate the link, in place of the one it has.
Outcome WriteKeyLink(const CERT_CONTEXT& certificate, const KeyLink& link);

// The name by which an open container is found on its carrier, whatever name it was opened with.
struct NameOutcome : Outcome {
    std::wstring name;  // never empty when done
};
NameOutcome UniqueContainerName(HCRYPTPROV container);

// The link to a key of an open container. `uniqueName` is the container's, `keySet` whose it is.
struct KeyLinkOutcome : Outcome {
    KeyLink link;
};
KeyLinkOutcome MakeKeyLink(HCRYPTPROV container, HCRYPTKEY key, const std::wstring& uniqueName, KeySet keySet);

// Whether a key of a container is a certificate's.

struct MatchOutcome : Outcome {  // of telling the container's public key
    bool match = false;
};

// Compares the public key of the open container's key `keySpec` (AT_KEYEXCHANGE or AT_SIGNATURE) with the
// certificate's. A key of the usual size takes one call.
MatchOutcome MatchKey(HCRYPTPROV container, DWORD keySpec, const CERT_CONTEXT& certificate);

// Which of the open container's keys is the certificate's: AT_SIGNATURE, which is tried first, or AT_KEYEXCHANGE. 0:
// neither, or none that can be read. Their sizes are asked for first.
DWORD FindMatchingKey(HCRYPTPROV container, const CERT_CONTEXT& certificate);
