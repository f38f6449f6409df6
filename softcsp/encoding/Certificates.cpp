#include "softcsp/encoding/Certificates.h"

#include <memory>

#include "softcsp/crypto/Digest.h"
#include "softcsp/crypto/Random.h"

namespace softcsp {
namespace {

constexpr char kUsagePeriodIdentifier[] = "2.5.29.16";
constexpr std::uint8_t kMayIssue[] = {0x30, 0x03, 0x01, 0x01, 0xFF};  // basic constraints: an authority, any depth
constexpr std::size_t kSerialLength = 16;

// The system's structures have pointers to non-constant bytes, and only read through them.
DATA_BLOB Blob(ByteView bytes) {
    return {static_cast<DWORD>(bytes.size()), const_cast<BYTE*>(bytes.data())};
}
CRYPT_BIT_BLOB Bits(ByteView bytes) {
    return {static_cast<DWORD>(bytes.size()), const_cast<BYTE*>(bytes.data()), 0};
}
char* Text(const char* identifier) {
    return const_cast<char*>(identifier);
}

// Empty if the system fails.
Bytes Encode(LPCSTR type, const void* structure) {
    // Without the flag the system reverses the bytes of signatures.
    constexpr DWORD kFlags = CRYPT_ENCODE_NO_SIGNATURE_BYTE_REVERSAL_FLAG;
    BYTE* encoded = nullptr;
    DWORD size = 0;
    if (!CryptEncodeObjectEx(X509_ASN_ENCODING, type, structure, kFlags | CRYPT_ENCODE_ALLOC_FLAG, nullptr,
                             static_cast<void*>(&encoded), &size))
        return {};
    const std::unique_ptr<BYTE, decltype(&LocalFree)> owner(encoded, LocalFree);
    return {encoded, encoded + size};
}

// Lowest byte first and never negative. Empty without random bytes.
Bytes SerialNumber(Bytes wanted) {
    if (wanted.empty()) {
        wanted.resize(kSerialLength);
        if (!FillRandom(wanted)) return {};
        wanted.back() = static_cast<std::uint8_t>((wanted.back() & 0x7F) | 0x40);  // so that all have the same length
    } else if ((wanted.back() & 0x80) != 0) {
        wanted.push_back(0);
    }
    return wanted;
}

// The content to sign. Empty if a part of it is invalid.
Bytes EncodeContent(const CertificateRequest& request) {
    const Bytes subject = EncodeName(request.subject);
    const Bytes issuer = request.issuer.empty() ? subject : EncodeName(request.issuer);
    const Bytes serial = SerialNumber(request.serial);
    const Bytes usage = request.usage ? EncodeUsagePeriod(*request.usage) : Bytes();
    if (subject.empty() || issuer.empty() || serial.empty()) return {};
    const Bytes parameters = EncodeKeyParameters(request.key), key = EncodePublicKey(request.key);

    std::vector<CERT_EXTENSION> extensions;
    if (request.usage) extensions.push_back({Text(kUsagePeriodIdentifier), FALSE, Blob(usage)});
    if (request.authority) extensions.push_back({Text(szOID_BASIC_CONSTRAINTS2), TRUE, Blob(kMayIssue)});

    CERT_INFO info{};
    info.dwVersion = CERT_V3;
    info.SerialNumber = Blob(serial);
    info.SignatureAlgorithm.pszObjId = Text(kSignatureIdentifier);
    info.Issuer = Blob(issuer);
    info.NotBefore = request.notBefore;
    info.NotAfter = request.notAfter;
    info.Subject = Blob(subject);
    info.SubjectPublicKeyInfo = {{Text(kPublicKeyIdentifier), Blob(parameters)}, Bits(key)};
    info.cExtension = static_cast<DWORD>(extensions.size());
    info.rgExtension = extensions.data();
    return Encode(X509_CERT_TO_BE_SIGNED, &info);
}

}  // namespace

Bytes EncodeName(const std::wstring& name) {
    Bytes bytes;
    DWORD size = 0;
    for (int pass = 0; pass < 2; ++pass) {  // the size, then the bytes
        bytes.resize(size);
        if (!CertStrToNameW(X509_ASN_ENCODING, name.c_str(), CERT_X500_NAME_STR, nullptr,
                            pass == 0 ? nullptr : bytes.data(), &size, nullptr))
            return {};
    }
    return bytes;
}

Bytes IssueCertificate(const CertificateRequest& request, const KeyPair& signer) {
    const Bytes content = EncodeContent(request);
    auto digest = Digest::Create(*request.key.digest);
    if (content.empty() || !digest) return {};
    digest->Add(content);
    const auto signature = signer.Sign(digest->Value());
    if (!signature) return {};
    CERT_SIGNED_CONTENT_INFO certificate{};
    certificate.ToBeSigned = Blob(content);
    certificate.SignatureAlgorithm.pszObjId = Text(kSignatureIdentifier);
    certificate.Signature = Bits(*signature);
    return Encode(X509_CERT, &certificate);
}

}  // namespace softcsp
