// The certificates in a container: those stored with its keys, and those in its extensions.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <functional>
#include <span>

#include "csp/CryptProvContext.h"
#include "framework/Handles.h"
#include "framework/Result.h"

// The identifiers of the extensions that hold certificates of authorities.
inline constexpr char kIntermediateExtension[] = "1.2.643.2.2.37.3.1";
inline constexpr const char* kRootExtensions[] = {"1.2.643.2.2.37.3.2", "1.2.643.2.2.37.3.3"};

// What can be wrong with the certificates of a container's keys.
enum class ContainerProblem {
    NoKeys,
    NoSignatureCertificate,
    NoExchangeCertificate,
    OtherSignatureKey,  // the certificate belongs to another key
    OtherExchangeKey,
    NoParameters,  // the container's name, or the parameters of a key, can't be read
    NoLink,        // a certificate can't be linked with its key
    NoCertificates,
};

class ContainerProblems {
  public:
    virtual void Report(ContainerProblem problem) = 0;

  protected:
    ~ContainerProblems() = default;
};

struct KeyCertificates {
    UniqueCertificateStore store;  // in memory; its certificates have links to their keys
    UniqueCertificate selected;    // the exchange key's, otherwise the signature key's; empty when there is none
    bool both = false;             // both keys have a certificate
};

// Reads the certificates of both keys of an open container whose owner is `keySet`. A certificate that belongs to
// another key is reported and kept. A key without a usable certificate is reported and skipped. Without any certificate
// `selected` is empty, and the reason has been reported last.
KeyCertificates ReadKeyCertificates(HCRYPTPROV container, KeySet keySet, ContainerProblems& problems);

// The authority that a certificate in an extension belongs to, by the extension's identifier.
enum class Authority { None, Intermediate, Root };

// The treatment of an extension whose certificates can't be decoded, or on which the visitor failed.
enum class FaultyExtension { Skip, EndListing };

using ExtensionCertificateVisitor = std::function<Result<>(Authority authority, std::span<const BYTE> encoded)>;

// Visits every certificate of every extension. Fails when the extensions can't be listed.
Result<> VisitExtensionCertificates(HCRYPTPROV container, FaultyExtension faulty,
                                    const ExtensionCertificateVisitor& visit);

// Reads the certificates in the container's extensions into a new store in memory. Extensions that can't be decoded,
// and certificates that can't be added, are skipped. Fails when the extensions can't be listed; `store` holds the
// certificates that were read before the failure.
Result<> ReadExtensionCertificates(HCRYPTPROV container, UniqueCertificateStore& store);

// Adds the certificates of authorities in the container's extensions to the "ca" and "root" stores of the user or the
// computer. Certificates that are there already stay. Ends at the first certificate that can't be decoded or added,
// with that failure.
Result<> InstallExtensionCertificates(HCRYPTPROV container, KeySet keySet);
