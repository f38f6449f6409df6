// The Windows side of softcsp_openssl_test.sh: makes and checks what is exchanged with OpenSSL. Exit code 0: done, or
// valid; 1: failed, or refused.
//   sign CURVE TEXT CERTIFICATE MESSAGE    a new key, its self-signed certificate and a message signed by it
//   verify CERTIFICATE MESSAGE TEXT        the certificate and the message are signed by its key; the message contains
//                                          the text
//   agree CURVE CERTIFICATE ENCRYPTED      encrypts zeros with what the key of `sign` and the certificate's agree on
#include <cstdio>

#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"
#include "framework/Handles.h"
#include "softcsp/common/Files.h"

namespace {

using softcsp::ReadFileWhole, softcsp::WriteFileWhole;

constexpr DWORD kType = 75, kEncoding = kCertificateEncoding;
wchar_t container[] = L"\\\\.\\REGISTRY\\openssl peer", providerName[] = L"Kelvane GOST R 34.10-2001 KC1 CSP";
char digestIdentifier[] = "1.2.643.2.2.9", signatureIdentifier[] = "1.2.643.2.2.3";

struct Failed {};

void Check(bool done, const char* what) {
    if (done) return;
    std::fprintf(stderr, "%s: 0x%lX\n", what, GetLastError());
    throw Failed();
}

Bytes Read(const wchar_t* path) {
    Bytes bytes;
    Check(ReadFileWhole(path, bytes) == 0, "read");
    return bytes;
}

UniqueCertificate ReadCertificate(const wchar_t* path) {
    const Bytes der = Read(path);
    UniqueCertificate certificate(
        CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())));
    Check(certificate.get() != nullptr, "certificate");
    return certificate;
}

void Open(CCryptProvContext& provider, DWORD flags, const wchar_t* name = nullptr) {
    Check(static_cast<bool>(provider.Acquire(flags | CRYPT_SILENT, name, nullptr, kType)), "context");
}

// Curves 1.2.643.2.2.36.… are for keys that also agree.
DWORD SpecOf(const std::string& curve) {
    return curve.find(".36.") != curve.npos ? AT_KEYEXCHANGE : AT_SIGNATURE;
}

void Sign(const std::string& curve, wchar_t** files) {
    CCryptProvContext provider;
    UniqueCryptKey key;
    static_cast<void>(provider.Acquire(CRYPT_DELETEKEYSET | CRYPT_SILENT, container, nullptr, kType));
    Open(provider, CRYPT_NEWKEYSET, container);
    const DWORD spec = SpecOf(curve), parameter = spec == AT_SIGNATURE ? 94 : 95;
    Check(CryptSetProvParam(provider.Get(), parameter, reinterpret_cast<const BYTE*>(curve.c_str()), 0), "curve");
    Check(CryptGenKey(provider.Get(), spec, 0, key.put()), "key");
    BYTE name[] = "\x30\x0F\x31\x0D\x30\x0B\x06\x03\x55\x04\x03\x0C\x04Peer";
    CERT_NAME_BLOB subject{sizeof name - 1, name};
    CRYPT_KEY_PROV_INFO link{container, providerName, kType, CRYPT_SILENT, 0, nullptr, spec};
    CRYPT_ALGORITHM_IDENTIFIER algorithm{signatureIdentifier, {}};
    const UniqueCertificate certificate(
        CertCreateSelfSignCertificate(provider.Get(), &subject, 0, &link, &algorithm, nullptr, nullptr, nullptr));
    Check(certificate.get() != nullptr, "certificate");
    PCCERT_CONTEXT included = certificate.get();
    CRYPT_SIGN_MESSAGE_PARA parameters{};
    parameters.cbSize = sizeof parameters;
    parameters.dwMsgEncodingType = kEncoding;
    parameters.pSigningCert = included;  // the system finds the key by the certificate's link
    parameters.HashAlgorithm.pszObjId = digestIdentifier;
    parameters.cMsgCert = 1;
    parameters.rgpMsgCert = &included;
    const Bytes text = Read(files[0]);
    const BYTE* content = text.data();
    DWORD contentSize = static_cast<DWORD>(text.size()), size = 5000;
    Bytes message(size);
    Check(CryptSignMessage(&parameters, FALSE, 1, &content, &contentSize, message.data(), &size), "message");
    Check(WriteFileWhole(files[1], {included->pbCertEncoded, included->cbCertEncoded}) == 0, "write");
    Check(WriteFileWhole(files[2], {message.data(), size}) == 0, "write");
}

void Verify(wchar_t** files) {
    CCryptProvContext provider;
    Open(provider, CRYPT_VERIFYCONTEXT);
    const UniqueCertificate certificate = ReadCertificate(files[0]);
    const CERT_CONTEXT& read = *certificate.get();
    // By any context: the system finds the provider by the identifier in the certificate.
    Check(CryptVerifyCertificateSignature(0, X509_ASN_ENCODING, read.pbCertEncoded, read.cbCertEncoded,
                                          &read.pCertInfo->SubjectPublicKeyInfo),
          "certificate's signature");
    const Bytes encoded = Read(files[1]), text = Read(files[2]);
    const HCRYPTMSG message = CryptMsgOpenToDecode(kEncoding, 0, 0, provider.Get(), nullptr, nullptr);
    Check(CryptMsgUpdate(message, encoded.data(), static_cast<DWORD>(encoded.size()), TRUE), "message");
    Check(CryptMsgControl(message, 0, CMSG_CTRL_VERIFY_SIGNATURE, read.pCertInfo), "signature");
    Bytes content(encoded.size());
    auto size = static_cast<DWORD>(content.size());
    Check(CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, content.data(), &size), "content");
    content.resize(size);
    Check(content == text, "text");
    CryptMsgClose(message);
}

void Agree(const std::string& curve, wchar_t** files) {
    CCryptProvContext provider;
    UniqueCryptKey own, peer, agreed;
    Open(provider, 0, container);
    Check(CryptGetUserKey(provider.Get(), SpecOf(curve), own.put()), "key");
    const UniqueCertificate certificate = ReadCertificate(files[0]);
    Check(CryptImportPublicKeyInfo(provider.Get(), X509_ASN_ENCODING,
                                   &certificate.get()->pCertInfo->SubjectPublicKeyInfo, peer.put()),
          "import");
    const auto blob = ReadBytes(KeyBlobQuery(peer.get(), 0, PUBLICKEYBLOB)).ValueOr({});
    Check(CryptImportKey(provider.Get(), blob.data(), static_cast<DWORD>(blob.size()), own.get(), 0, agreed.put()),
          "agreement");
    BYTE zeros[2000] = {}, start[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    DWORD size = sizeof zeros;
    Check(CryptSetKeyParam(agreed.get(), KP_IV, start, 0), "initial value");
    Check(CryptEncrypt(agreed.get(), 0, TRUE, 0, zeros, &size, size), "encryption");
    Check(WriteFileWhole(files[1], {zeros, size}) == 0, "write");
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    const std::wstring verb = count > 2 ? arguments[1] : L"", first = count > 2 ? arguments[2] : L"";
    const std::string curve(first.begin(), first.end());
    try {
        if (verb == L"sign" && count == 6) return Sign(curve, arguments + 3), 0;
        if (verb == L"verify" && count == 5) return Verify(arguments + 2), 0;
        if (verb == L"agree" && count == 5) return Agree(curve, arguments + 3), 0;
    } catch (const Failed&) {
    }
    return 1;
}
