#define CRYPT_OID_INFO_HAS_EXTRA_FIELDS  // the system takes the structure with them only
#include "softcsp/tool/CryptoRegistration.h"

#include "softcsp/encoding/PublicKeyEncoding.h"
#include "softcsp/kvcrypt.h"
#include "softcsp/tool/Console.h"

namespace softcsp {
namespace {

struct Algorithm {
    const char* identifier;
    DWORD group;
    const wchar_t* name;
    ALG_ID algorithm;
    DWORD flags = 0;         // of the registration
    bool signature = false;  // `algorithm` is the hash; which key belongs to it stands apart
};

// The system keeps one entry for an identifier and group. Keys have two algorithms, by which the system looks for
// their identifier and people for their name, so the one of keys that only sign is kept among the signatures. A
// search by identifier meets the groups in their order: the public key first. A search by the hash's algorithm would
// meet the signature, whose identifier sorts first, so the hash is to go before everything.
constexpr Algorithm kAlgorithms[] = {
    {kDigestIdentifier, CRYPT_HASH_ALG_OID_GROUP_ID, L"GOST R 34.11-94", kAlgDigest,
     CRYPT_INSTALL_OID_INFO_BEFORE_FLAG},
    {kCipherIdentifier, CRYPT_ENCRYPT_ALG_OID_GROUP_ID, L"GOST 28147-89", kAlgCipher},
    {kPublicKeyIdentifier, CRYPT_PUBKEY_ALG_OID_GROUP_ID, L"GOST R 34.10-2001", kAlgExchange},
    {kPublicKeyIdentifier, CRYPT_SIGN_ALG_OID_GROUP_ID, L"GOST R 34.10-2001", kAlgSignature},
    {kSignatureIdentifier, CRYPT_SIGN_ALG_OID_GROUP_ID, L"GOST R 34.11-94/34.10-2001", kAlgDigest, 0, true},
};

// What the system wants to know of a signature beside its hash.
struct SignatureExtra {
    ALG_ID key;
    DWORD flags;
    DWORD providerType;  // of the provider that verifies
};
constexpr SignatureExtra kSignatureExtra = {kAlgExchange, CRYPT_OID_NO_NULL_ALGORITHM_PARA_FLAG, 75};

struct Function {
    const char* kind;
    const char* identifier;
    const char* entry;
};

constexpr Function kFunctions[] = {
    {"CryptDllEncodePublicKeyAndParameters", kPublicKeyIdentifier, "KvEncodePublicKeyAndParameters"},
    {"CryptDllConvertPublicKeyInfo", kPublicKeyIdentifier, "KvConvertPublicKeyInfo"},
    {CRYPT_OID_DECODE_OBJECT_FUNC, KVCRYPT_USAGE_PERIOD, "KvDecodeUsagePeriod"},
    {CRYPT_OID_DECODE_OBJECT_FUNC, "1.2.643.2.2.37.3.1", "KvDecodeCertificates"},
    {CRYPT_OID_DECODE_OBJECT_FUNC, "1.2.643.2.2.37.3.2", "KvDecodeCertificates"},
    {CRYPT_OID_DECODE_OBJECT_FUNC, "1.2.643.2.2.37.3.3", "KvDecodeCertificates"},
};

// The structure points into `extra` and into the table.
CRYPT_OID_INFO Info(const Algorithm& algorithm, SignatureExtra& extra) {
    CRYPT_OID_INFO info{};
    info.cbSize = sizeof info;
    info.pszOID = algorithm.identifier;
    info.pwszName = algorithm.name;
    info.dwGroupId = algorithm.group;
    info.Algid = algorithm.algorithm;
    if (algorithm.signature) info.ExtraInfo = {sizeof extra, reinterpret_cast<BYTE*>(&extra)};
    return info;
}

// An identifier as messages show it.
std::wstring Wide(const char* text) {
    return {text, text + std::char_traits<char>::length(text)};
}

DWORD ResultOf(BOOL done) {
    return done ? ERROR_SUCCESS : GetLastError();
}

void CheckGone(BOOL done, const char* identifier) {
    const DWORD result = ResultOf(done);
    if (result != ERROR_FILE_NOT_FOUND) Check(result, L"can't unregister " + Wide(identifier));
}

}  // namespace

void RegisterCryptography(const std::wstring& library) {
    SignatureExtra extra = kSignatureExtra;
    for (const Algorithm& algorithm : kAlgorithms) {
        const CRYPT_OID_INFO info = Info(algorithm, extra);
        Check(ResultOf(CryptRegisterOIDInfo(&info, algorithm.flags)),
              L"can't register the algorithm " + Wide(algorithm.identifier));
    }
    for (const Function& function : kFunctions)
        Check(ResultOf(CryptRegisterOIDFunction(X509_ASN_ENCODING, function.kind, function.identifier, library.c_str(),
                                                function.entry)),
              L"can't register the function for " + Wide(function.identifier));
}

void UnregisterCryptography() {
    SignatureExtra extra = kSignatureExtra;
    for (const Algorithm& algorithm : kAlgorithms) {
        const CRYPT_OID_INFO info = Info(algorithm, extra);
        CheckGone(CryptUnregisterOIDInfo(&info), algorithm.identifier);
    }
    for (const Function& function : kFunctions)
        CheckGone(CryptUnregisterOIDFunction(X509_ASN_ENCODING, function.kind, function.identifier),
                  function.identifier);
}

}  // namespace softcsp
