// The certificates that a container holds: beside its keys, and in its extensions.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"
#include "framework/Handles.h"

// What the reading has to say of a container.
enum class ContainerNotice {
    NoKeys,
    NoSignatureCertificate,
    NoExchangeCertificate,
    OtherSignatureKey,  // the certificate isn't that key's
    OtherExchangeKey,
    NoParameters,  // something about the container or a key can't be read
    NoLink,        // a certificate can't be linked with its key
    NoCertificates,
};

class ContainerNotices {
  public:
    virtual void Tell(ContainerNotice notice) = 0;

  protected:
    ~ContainerNotices() = default;
};

struct KeyCertificates {
    UniqueCertificateStore store;  // in memory; the certificates have links to their keys
    UniqueCertificate selected;    // the exchange key's, or else the signature key's
    bool both = false;             // each key gave one
};

// Reads the certificates of both keys of an open container, whose set is `keySet`, in place of what `certificates`
// held. A certificate of another key is told of and taken all the same; a key that gives none is told of and passed
// over. False, with `certificates` empty and the user told: there is none.
bool ReadKeyCertificates(HCRYPTPROV container, KeySet keySet, KeyCertificates& certificates, ContainerNotices& notices);

// Reads the certificates of the container's extensions into a store in memory, in place of the one before. Extensions
// that can't be decoded, and certificates that can't be added, are skipped: only the listing decides on the outcome.
Outcome ReadExtensionCertificates(HCRYPTPROV container, UniqueCertificateStore& store);

// Adds those of authorities to the "ca" and "root" stores of the user or the computer, up to the first one that can't
// be decoded or added. What is there already stays.
Outcome InstallExtensionCertificates(HCRYPTPROV container, KeySet keySet);
