#include "csp/KeyMatch.h"

#include "csp/CertificateEncoding.h"

namespace {

// Reads the container's public key with room for `room` bytes at first (AskWithRoom) and compares it.
MatchOutcome Match(HCRYPTPROV container, DWORD keySpec, const CERT_CONTEXT& certificate, std::size_t room) {
    const auto exported = AskWithRoom(room, [&](BYTE* data, DWORD* length) {
        return CryptExportPublicKeyInfo(container, keySpec, kCertificateEncoding,
                                        reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(data), length);
    });
    if (!exported.done) return {exported, false};
    if (exported.bytes.size() < sizeof(CERT_PUBLIC_KEY_INFO)) return {{false, ERROR_INVALID_DATA}, false};
    auto* key = reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(const_cast<BYTE*>(exported.bytes.data()));
    return {exported,
            CertComparePublicKeyInfo(kCertificateEncoding, key, &certificate.pCertInfo->SubjectPublicKeyInfo) != FALSE};
}

}  // namespace

MatchOutcome MatchKey(HCRYPTPROV container, DWORD keySpec, const CERT_CONTEXT& certificate) {
    constexpr std::size_t kUsualSize = 512;  // of a public key with the structure around it, in bytes
    return Match(container, keySpec, certificate, kUsualSize);
}

DWORD FindMatchingKey(HCRYPTPROV container, const CERT_CONTEXT& certificate) {
    for (const DWORD keySpec : {AT_SIGNATURE, AT_KEYEXCHANGE}) {
        const MatchOutcome outcome = Match(container, keySpec, certificate, 0);
        if (outcome.done && outcome.match) return keySpec;
    }
    return 0;
}
