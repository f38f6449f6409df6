// Makes certificates for demonstrations and tests, without a provider's handle: the system encodes what is to be
// signed, the key pair signs.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "softcsp/common/Bytes.h"
#include "softcsp/crypto/KeyPair.h"
#include "softcsp/encoding/PublicKeyEncoding.h"

namespace softcsp {

struct UsagePeriod {
    FILETIME from;
    FILETIME to;
};

struct CertificateRequest {
    std::wstring subject;  // "CN=…, O=…" as CertStrToName takes it
    std::wstring issuer;   // the same; empty = the subject itself
    PublicKeyData key;     // the subject's
    FILETIME notBefore{};  // UTC
    FILETIME notAfter{};
    std::optional<UsagePeriod> usage;  // private key usage period, 2.5.29.16
    Bytes serial;                      // lowest byte first, as the system's structures have it; empty = 16 random bytes
    bool authority = false;            // basic constraints: may issue others
};

// The certificate's DER. The signer is the issuer's key pair, which is taken to hash with the same set as the
// subject's. Empty when a name makes no sense or the system can't.
Bytes IssueCertificate(const CertificateRequest& request, const KeyPair& signer);

// 2.5.29.16 (RFC 3280, 4.2.1.4): two generalized times behind the context tags 0 and 1. Either may be missing.
Bytes EncodeUsagePeriod(const UsagePeriod& period);
struct DecodedUsagePeriod {
    std::optional<FILETIME> from;
    std::optional<FILETIME> to;
};
std::optional<DecodedUsagePeriod> DecodeUsagePeriod(ByteView der);

// A container extension's value: the sequence of whole certificates.
Bytes EncodeCertificateSequence(const std::vector<Bytes>& certificates);
std::optional<std::vector<ByteView>> DecodeCertificateSequence(ByteView der);

}  // namespace softcsp
