// The Windows side of softcsp_openssl_test.sh: makes and checks what is exchanged with OpenSSL. Exit code 0: done, or
// valid; 1: failed, or refused.
//   sign CURVE TEXT CERTIFICATE MESSAGE    a new self-signed certificate and a message with the text, signed by its key
//   verify CERTIFICATE MESSAGE TEXT        the message is signed by the certificate's key and contains the text
//   certificate CERTIFICATE                the certificate is signed by its own key
//   agree CURVE PUBLIC PEER ENCRYPTED      writes an ephemeral public key, waits for the other side's, and encrypts
//   zeros
//                                          with the agreed key
#include <windows.h>

#include <wincrypt.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "csp/CryptProvContext.h"
#include "framework/Handles.h"

namespace {

using Bytes = std::vector<BYTE>;

constexpr DWORD kType = 75, kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
constexpr wchar_t kContainer[] = L"\\\\.\\REGISTRY\\openssl peer";
char digestIdentifier[] = "1.2.643.2.2.9", signatureIdentifier[] = "1.2.643.2.2.3";

Bytes Read(const wchar_t* path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool Write(const wchar_t* path, const BYTE* bytes, DWORD size) {
    std::ofstream file(std::filesystem::path(path), std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes), size);
    return file.good();
}

bool Done(bool done, const char* what) {
    if (!done) std::fprintf(stderr, "%s: 0x%lX\n", what, GetLastError());
    return done;
}

// Curves 1.2.643.2.2.36.… are for keys that also agree.
DWORD SpecOf(const std::string& curve) {
    return curve.find(".36.") != curve.npos ? AT_KEYEXCHANGE : AT_SIGNATURE;
}

bool Generate(HCRYPTPROV provider, const std::string& curve, UniqueCryptKey& key) {
    const DWORD spec = SpecOf(curve), parameter = spec == AT_SIGNATURE ? 94 : 95;
    return CryptSetProvParam(provider, parameter, reinterpret_cast<const BYTE*>(curve.c_str()), 0) &&
           CryptGenKey(provider, spec, 0, key.put());
}

bool Sign(const std::string& curve, wchar_t** files) {
    CCryptProvContext provider;
    static_cast<void>(provider.Acquire(CRYPT_DELETEKEYSET | CRYPT_SILENT, kContainer, nullptr, kType));
    if (!Done(static_cast<bool>(provider.Acquire(CRYPT_NEWKEYSET | CRYPT_SILENT, kContainer, nullptr, kType)),
              "container"))
        return false;
    UniqueCryptKey key;
    if (!Done(Generate(provider.Get(), curve, key), "key")) return false;
    BYTE name[64];
    CERT_NAME_BLOB subject{sizeof name, name};
    CertStrToNameW(kEncoding, L"CN=Peer", CERT_X500_NAME_STR, nullptr, name, &subject.cbData, nullptr);
    wchar_t container[] = L"\\\\.\\REGISTRY\\openssl peer", providerName[] = L"Kelvane GOST R 34.10-2001 KC1 CSP";
    CRYPT_KEY_PROV_INFO link{container, providerName, kType, CRYPT_SILENT, 0, nullptr, SpecOf(curve)};
    CRYPT_ALGORITHM_IDENTIFIER algorithm{signatureIdentifier, {}};
    const UniqueCertificate certificate(
        CertCreateSelfSignCertificate(provider.Get(), &subject, 0, &link, &algorithm, nullptr, nullptr, nullptr));
    if (!Done(certificate.get() != nullptr, "certificate")) return false;
    PCCERT_CONTEXT included = certificate.get();
    CRYPT_SIGN_MESSAGE_PARA parameters{};
    parameters.cbSize = sizeof parameters;
    parameters.dwMsgEncodingType = kEncoding;
    parameters.pSigningCert = included;
    parameters.HashAlgorithm.pszObjId = digestIdentifier;
    parameters.cMsgCert = 1;
    parameters.rgpMsgCert = &included;
    const Bytes text = Read(files[0]);
    const BYTE* content = text.data();
    DWORD contentSize = static_cast<DWORD>(text.size()), size = 0;
    if (!Done(CryptSignMessage(&parameters, FALSE, 1, &content, &contentSize, nullptr, &size), "size")) return false;
    Bytes message(size);
    return Done(CryptSignMessage(&parameters, FALSE, 1, &content, &contentSize, message.data(), &size), "message") &&
           Write(files[1], included->pbCertEncoded, included->cbCertEncoded) && Write(files[2], message.data(), size);
}

UniqueCertificate ReadCertificate(const wchar_t* path) {
    const Bytes bytes = Read(path);
    return UniqueCertificate(
        CertCreateCertificateContext(X509_ASN_ENCODING, bytes.data(), static_cast<DWORD>(bytes.size())));
}

Bytes MessageParameter(HCRYPTMSG message, DWORD parameter) {
    DWORD size = 0;
    if (!CryptMsgGetParam(message, parameter, 0, nullptr, &size)) return {};
    Bytes value(size);
    return CryptMsgGetParam(message, parameter, 0, value.data(), &size) ? value : Bytes();
}

bool Verify(wchar_t** files) {
    CCryptProvContext provider;
    const UniqueCertificate certificate = ReadCertificate(files[0]);
    const Bytes encoded = Read(files[1]), text = Read(files[2]);
    if (!provider.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, kType) || !Done(certificate.get() != nullptr, "read"))
        return false;
    const HCRYPTMSG message = CryptMsgOpenToDecode(kEncoding, 0, 0, provider.Get(), nullptr, nullptr);
    const bool valid =
        Done(CryptMsgUpdate(message, encoded.data(), static_cast<DWORD>(encoded.size()), TRUE), "message") &&
        Done(CryptMsgControl(message, 0, CMSG_CTRL_VERIFY_SIGNATURE, certificate.get()->pCertInfo), "signature") &&
        Done(MessageParameter(message, CMSG_CONTENT_PARAM) == text, "content");
    CryptMsgClose(message);
    return valid;
}

bool VerifyCertificate(const wchar_t* path) {
    CCryptProvContext provider;
    const UniqueCertificate certificate = ReadCertificate(path);
    return provider.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, kType) &&
           Done(certificate.get() != nullptr, "read") &&
           Done(CryptVerifyCertificateSignature(provider.Get(), X509_ASN_ENCODING, certificate.get()->pbCertEncoded,
                                                certificate.get()->cbCertEncoded,
                                                &certificate.get()->pCertInfo->SubjectPublicKeyInfo),
                "signature");
}

bool WritePublicKey(HCRYPTPROV provider, DWORD spec, const wchar_t* path) {
    DWORD size = 0;
    if (!Done(CryptExportPublicKeyInfo(provider, spec, X509_ASN_ENCODING, nullptr, &size), "export")) return false;
    Bytes memory(size), encoded(200);
    auto* info = reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(memory.data());
    DWORD encodedSize = static_cast<DWORD>(encoded.size());
    return Done(CryptExportPublicKeyInfo(provider, spec, X509_ASN_ENCODING, info, &size), "export") &&
           Done(CryptEncodeObject(X509_ASN_ENCODING, X509_PUBLIC_KEY_INFO, info, encoded.data(), &encodedSize),
                "encode") &&
           Write(path, encoded.data(), encodedSize);
}

bool Agree(const std::string& curve, wchar_t** files) {
    CCryptProvContext provider;
    UniqueCryptKey own, peer, agreed;
    if (!Done(provider.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, kType) && Generate(provider.Get(), curve, own),
              "key") ||
        !WritePublicKey(provider.Get(), SpecOf(curve), files[0]))
        return false;
    const Bytes other = Read(files[1]);
    DWORD size = 0;
    if (!CryptDecodeObject(X509_ASN_ENCODING, X509_PUBLIC_KEY_INFO, other.data(), static_cast<DWORD>(other.size()), 0,
                           nullptr, &size))
        return Done(false, "decode");
    Bytes memory(size), blob(400);
    auto* info = reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(memory.data());
    CryptDecodeObject(X509_ASN_ENCODING, X509_PUBLIC_KEY_INFO, other.data(), static_cast<DWORD>(other.size()), 0, info,
                      &size);
    size = static_cast<DWORD>(blob.size());
    if (!Done(CryptImportPublicKeyInfo(provider.Get(), X509_ASN_ENCODING, info, peer.put()), "import") ||
        !Done(CryptExportKey(peer.get(), 0, PUBLICKEYBLOB, 0, blob.data(), &size), "blob") ||
        !Done(CryptImportKey(provider.Get(), blob.data(), size, own.get(), 0, agreed.put()), "agreement"))
        return false;
    BYTE zeros[2000] = {}, start[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    size = sizeof zeros;
    return Done(CryptSetKeyParam(agreed.get(), KP_IV, start, 0), "initial value") &&
           Done(CryptEncrypt(agreed.get(), 0, TRUE, 0, zeros, &size, size), "encryption") &&
           Write(files[2], zeros, size);
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    const std::wstring verb = count > 2 ? arguments[1] : L"", first = count > 2 ? arguments[2] : L"";
    const std::string curve(first.begin(), first.end());
    bool done = false;
    if (verb == L"sign" && count == 6) done = Sign(curve, arguments + 3);
    if (verb == L"verify" && count == 5) done = Verify(arguments + 2);
    if (verb == L"certificate" && count == 3) done = VerifyCertificate(arguments[2]);
    if (verb == L"agree" && count == 6) done = Agree(curve, arguments + 3);
    return done ? 0 : 1;
}
