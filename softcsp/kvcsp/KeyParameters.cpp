// Exports: the parameters of keys.
#include <cstring>

#include "softcsp/encoding/Certificates.h"
#include "softcsp/kvcsp/Context.h"

using namespace softcsp;

namespace {

constexpr DWORD kCipherBits = 256;
constexpr DWORD kCipherBlockBits = 64;
constexpr DWORD kPairBits = 512;

bool IsSymmetric(const Key& key) {
    return key.kind == KeyKind::Session || key.kind == KeyKind::Agreement;
}

DWORD Permissions(const Key& key) {
    DWORD permissions = CRYPT_READ | CRYPT_WRITE | CRYPT_MAC;
    if (key.exportable) permissions |= CRYPT_EXPORT;
    if (IsSymmetric(key)) permissions |= CRYPT_ENCRYPT | CRYPT_DECRYPT | CRYPT_EXPORT_KEY | CRYPT_IMPORT_KEY;
    return permissions;
}

Bytes Certificate(Context& context, const Key& key) {
    Require(key.kind == KeyKind::User, NTE_BAD_KEY);
    context.OpenedContainer().Refresh();
    const auto& record = context.OpenedContainer().Record().Key(key.signatureKey);
    Require(record && !record->certificate.empty(), NTE_NOT_FOUND);
    Require(IsCertificate(record->certificate), NTE_BAD_DATA);
    return record->certificate;
}

Bytes Value(Context& context, const Key& key, DWORD parameter) {
    const bool symmetric = IsSymmetric(key), pair = !symmetric;
    const bool diversified = symmetric && key.wrapping == Wrapping::Diversified;
    switch (parameter) {
        case KP_ALGID: return BytesOf(diversified ? kAlgDiversifiedWrap : key.algorithm);
        case KP_KEYLEN: return BytesOf(symmetric ? kCipherBits : kPairBits);
        case KP_PERMISSIONS: return BytesOf(Permissions(key));
        case KP_CERTIFICATE: return Certificate(context, key);
        case KP_BLOCKLEN: Require(symmetric, NTE_BAD_TYPE); return BytesOf(kCipherBlockBits);
        case KP_IV: Require(symmetric, NTE_BAD_TYPE); return BytesOf(key.start.value_or(InitialValue{}));
        case KP_MODE: Require(symmetric, NTE_BAD_TYPE); return BytesOf(DWORD{CRYPT_MODE_CFB});
        case kKeyParamDigestSet: Require(pair, NTE_BAD_TYPE); return TextBytes(key.publicKey.digest->identifier);
        case kKeyParamCurve: Require(pair, NTE_BAD_TYPE); return TextBytes(key.publicKey.curve->identifier);
        default: Fail(NTE_BAD_TYPE);
    }
}

// The two sets of an ephemeral key that is not complete yet.
void ChangeSet(Key& key, DWORD parameter, const BYTE* data) {
    Require(key.kind == KeyKind::Ephemeral && !key.pair, NTE_BAD_KEY_STATE);
    const char* identifier = reinterpret_cast<const char*>(data);
    const bool curve = parameter == kKeyParamCurve;
    const auto* set = curve ? FindCurve(identifier) : FindParameterSet(ParameterKind::Digest, identifier);
    Require(set != nullptr && MayUse(*set), NTE_BAD_DATA);
    (curve ? key.publicKey.curve : key.publicKey.digest) = set;
}

// KP_X generates the private key; it cannot be supplied. No data is a null pointer or an empty CRYPT_DATA_BLOB.
void Complete(Key& key, const BYTE* data) {
    Require(key.kind == KeyKind::Ephemeral && !key.pair, NTE_BAD_KEY_STATE);
    Require(data == nullptr || reinterpret_cast<const CRYPT_DATA_BLOB*>(data)->cbData == 0, NTE_BAD_DATA);
    key.Generate();
}

// How other keys are wrapped by this one.
void ChangeAlgorithm(Key& key, ALG_ID algorithm) {
    Require(IsSymmetric(key), NTE_BAD_KEY);
    Require(algorithm == kAlgCipher || algorithm == kAlgDiversifiedWrap, NTE_BAD_ALGID);
    key.wrapping = algorithm == kAlgDiversifiedWrap ? Wrapping::Diversified : Wrapping::Plain;
}

// No data removes the certificate.
void ChangeCertificate(Context& context, const Key& key, const BYTE* data) {
    Require(key.kind == KeyKind::User, NTE_BAD_KEY);
    const Bytes certificate = data != nullptr ? ReadCertificateAt(data) : Bytes();
    Require(data == nullptr || !certificate.empty(), NTE_BAD_DATA);
    context.OpenedContainer().Modify(context.UserPrompt(), [&](Container& container) {
        auto& record = container.Key(key.signatureKey);
        Require(record.has_value(), NTE_NO_KEY);
        record->certificate = certificate;
    });
}

void Change(Context& context, Key& key, DWORD parameter, const BYTE* data) {
    if (parameter == KP_X) return Complete(key, data);
    if (parameter == KP_CERTIFICATE) return ChangeCertificate(context, key, data);
    Require(data != nullptr, ERROR_INVALID_PARAMETER);
    if (parameter == kKeyParamDigestSet || parameter == kKeyParamCurve) return ChangeSet(key, parameter, data);
    Require(parameter == KP_ALGID || (IsSymmetric(key) && (parameter == KP_IV || parameter == KP_MODE)), NTE_BAD_TYPE);
    if (parameter == KP_IV) {
        std::memcpy(key.start.emplace().data(), data, sizeof(InitialValue));
        key.stream.reset();
        return;
    }
    DWORD number = 0;
    std::memcpy(&number, data, sizeof number);
    if (parameter == KP_ALGID) return ChangeAlgorithm(key, number);
    Require(number == CRYPT_MODE_CFB, NTE_BAD_DATA);
}

}  // namespace

extern "C" BOOL WINAPI CPGetKeyParam(HCRYPTPROV provider, HCRYPTKEY key, DWORD parameter, BYTE* data, DWORD* size,
                                     DWORD flags) {
    return AnswerIn("CPGetKeyParam", provider, [=](Context& context) {
        const auto found = context.keys.Find(key);
        Require(size != nullptr, ERROR_INVALID_PARAMETER);
        Require(flags == 0, NTE_BAD_FLAGS);
        Give(Value(context, *found, parameter), data, size);
    });
}

extern "C" BOOL WINAPI CPSetKeyParam(HCRYPTPROV provider, HCRYPTKEY key, DWORD parameter, BYTE* data, DWORD flags) {
    return AnswerIn("CPSetKeyParam", provider, [=](Context& context) {
        const auto found = context.keys.Find(key);
        Require(flags == 0, NTE_BAD_FLAGS);
        Change(context, *found, parameter, data);
    });
}
