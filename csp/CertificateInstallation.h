// The installation of a certificate: its link to the private key, and its place in a store.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <string>

#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"

// Why a certificate couldn't be linked: the container has no such key; something about the container or the key can't
// be read; the link, or the certificate in the container, can't be written.
enum class LinkFailure { None, NoKey, Parameters, Property };

struct LinkRequest {
    HCRYPTPROV container;   // open
    DWORD keySpec;          // which key is the certificate's; 0: none
    KeySet keySet;          // whose container it is
    bool writeToContainer;  // the certificate, beside its key
};

struct LinkOutcome {
    LinkFailure failure = LinkFailure::None;
    std::wstring container{};  // its unique name; empty when that can't be read
};

// Gives the certificate the link to its key. The link stays when the certificate can't be written into the container;
// everything may be done again.
LinkOutcome LinkCertificate(const CERT_CONTEXT& certificate, const LinkRequest& request);

// Asked when the certificate is in the store already.
class ReplaceQuestion {
  public:
    virtual bool Replace() = 0;

  protected:
    ~ReplaceQuestion() = default;
};

// Adds the certificate with its link. What the system keeps for its key identifier is removed first. Failing with
// ERROR_CANCELLED: the answer was no, and the store is as it was.
Outcome AddToStore(HCERTSTORE store, const CERT_CONTEXT& certificate, ReplaceQuestion& question);

// Opens the personal store of the user or the computer, which must be there already.
HCERTSTORE OpenPersonalStore(KeySet keySet) noexcept;
