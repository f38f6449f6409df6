// The installation of a certificate: its link to the private key, and its copy in a system store.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <string>

#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"
#include "framework/Handles.h"

struct LinkRequest {
    HCRYPTPROV container;   // open
    DWORD keySpec;          // the certificate's key: AT_KEYEXCHANGE, AT_SIGNATURE, or 0 for none
    KeySet keySet;          // the owner of the container
    bool writeToContainer;  // also write the certificate into the container, beside its key
};

// The steps of LinkCertificate, in their order.
enum class LinkStep {
    ReadContainer,  // its unique name
    OpenKey,
    ReadKey,  // the parameters that go into the link
    Write,    // the link, and the certificate in the container
};

struct LinkAttempt {
    Result<> result;
    LinkStep step;             // the last one begun; after a failure the one that failed
    std::wstring container{};  // its unique name; empty when that can't be read
};

// Sets the certificate's link to its key. The link stays when the certificate can't be written into the container; the
// call may be repeated.
LinkAttempt LinkCertificate(const CERT_CONTEXT& certificate, const LinkRequest& request);

// Asked when the store already holds the certificate.
class ReplaceQuestion {
  public:
    virtual bool Replace() = 0;

  protected:
    ~ReplaceQuestion() = default;
};

// Adds the certificate with its link to a store, after removing what the system keeps for its key identifier. Fails
// with ERROR_CANCELLED when the certificate is there already and `question` is answered with no; the store is unchanged
// then.
Result<> AddToStore(HCERTSTORE store, const CERT_CONTEXT& certificate, ReplaceQuestion& question);

// Opens the personal store of the user or the computer. Fails when the store doesn't exist yet.
Result<UniqueCertificateStore> OpenPersonalStore(KeySet keySet) noexcept;
