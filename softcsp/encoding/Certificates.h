// Issues certificates for demonstrations and tests without a provider's handle: the system encodes the content, the key
// pair signs it. Also the parts of certificates and extensions that the provider decodes itself.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <optional>
#include <string>

#include "softcsp/common/Bytes.h"
#include "softcsp/crypto/KeyPair.h"
#include "softcsp/encoding/Der.h"
#include "softcsp/encoding/KeyEncoding.h"

namespace softcsp {

// The private key usage period (2.5.29.16; RFC 3280, 4.2.1.4): two generalized times, either of which may be missing.
struct UsagePeriod {
    std::optional<FILETIME> from;
    std::optional<FILETIME> to;
};

struct CertificateRequest {
    std::wstring subject;  // "CN=…, O=…" in the form of CertStrToName
    std::wstring issuer;   // the same; empty = the subject itself
    PublicKeyData key;     // the subject's
    FILETIME notBefore{};  // UTC
    FILETIME notAfter{};
    std::optional<UsagePeriod> usage;
    Bytes serial;            // lowest byte first, as in the system's structures; empty = 16 random bytes
    bool authority = false;  // basic constraints: may issue certificates
};

// The certificate's DER. The signer is the issuer's key pair and hashes with the same set as the subject's. Empty if a
// name is invalid or the system fails.
Bytes IssueCertificate(const CertificateRequest& request, const KeyPair& signer);

// The bytes of a name such as "CN=…, O=…"; empty if it is invalid.
Bytes EncodeName(const std::wstring& name);

// Years have four digits.
Bytes EncodeUsagePeriod(const UsagePeriod& period);
// Empty if it is malformed or has neither time.
std::optional<UsagePeriod> DecodeUsagePeriod(ByteView der);

// The certificate at an address that was passed without a size; empty if there is no whole one.
Bytes ReadCertificateAt(const BYTE* data);

}  // namespace softcsp
