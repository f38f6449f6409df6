// Whether a key of a container is a certificate's.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include "csp/Outcome.h"

struct MatchOutcome : Outcome {  // of telling the container's public key
    bool match = false;
};

// Compares the public key of the open container's key `keySpec` (AT_KEYEXCHANGE or AT_SIGNATURE) with the
// certificate's. A key of the usual size takes one call.
MatchOutcome MatchKey(HCRYPTPROV container, DWORD keySpec, const CERT_CONTEXT& certificate);

// Which of the open container's keys is the certificate's: AT_SIGNATURE, which is tried first, or AT_KEYEXCHANGE. 0:
// neither, or none that can be read. Their sizes are asked for first.
DWORD FindMatchingKey(HCRYPTPROV container, const CERT_CONTEXT& certificate);
