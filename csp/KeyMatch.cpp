#include "csp/KeyMatch.h"

#include "csp/CertificateEncoding.h"

namespace {

constexpr std::size_t kUsualSize = 512;  // of a public key with the structure around it, in bytes

}  // namespace

MatchOutcome MatchKey(HCRYPTPROV container, DWORD keySpec, const CERT_CONTEXT& certificate) {
    const auto exported = AskWithRoom(kUsualSize, [&](BYTE* data, DWORD* length) {
        return CryptExportPublicKeyInfo(container, keySpec, kCertificateEncoding,
                                        reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(data), length);
    });
    if (!exported.done) return {exported, false};
    auto* key = reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(const_cast<BYTE*>(exported.bytes.data()));
    return {exported,
            CertComparePublicKeyInfo(kCertificateEncoding, key, &certificate.pCertInfo->SubjectPublicKeyInfo) != FALSE};
}

DWORD FindMatchingKey(HCRYPTPROV container, const CERT_CONTEXT& certificate) {
    for (const DWORD keySpec : {AT_SIGNATURE, AT_KEYEXCHANGE}) {
        const MatchOutcome outcome = MatchKey(container, keySpec, certificate);
        if (outcome.done && outcome.match) return keySpec;
    }
    return 0;
}
