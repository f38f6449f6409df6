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

DWORD Certificate(Context& context, const Key& key, Bytes& value) {
    if (key.kind != KeyKind::User) return Code(NTE_BAD_KEY);
    if (const DWORD result = context.OpenedContainer()->Refresh()) return result;
    const auto& record = context.OpenedContainer()->Record().Key(key.signatureKey);
    if (!record || record->certificate.empty()) return Code(NTE_NOT_FOUND);
    if (!IsCertificate(record->certificate)) return Code(NTE_BAD_DATA);
    value = record->certificate;
    return ERROR_SUCCESS;
}

DWORD SymmetricValue(const Key& key, DWORD parameter, Bytes& value) {
    switch (parameter) {
        case KP_BLOCKLEN: value = BytesOf(kCipherBlockBits); break;
        case KP_IV: value = BytesOf(key.start.value_or(InitialValue{})); break;
        case KP_MODE: value = BytesOf(DWORD{CRYPT_MODE_CFB}); break;
        default: return Code(NTE_BAD_TYPE);
    }
    return ERROR_SUCCESS;
}

DWORD Value(Context& context, const Key& key, DWORD parameter, Bytes& value) {
    switch (parameter) {
        case KP_ALGID:
            value = BytesOf(IsSymmetric(key) && key.wrapping == Wrapping::Diversified ? kAlgDiversifiedWrap
                                                                                      : key.algorithm);
            break;
        case KP_KEYLEN: value = BytesOf(IsSymmetric(key) ? kCipherBits : kPairBits); break;
        case KP_PERMISSIONS: value = BytesOf(Permissions(key)); break;
        case KP_CERTIFICATE: return Certificate(context, key, value);
        case kKeyParamDigestSet:
        case kKeyParamCurve:
            if (IsSymmetric(key)) return Code(NTE_BAD_TYPE);
            value = TextBytes((parameter == kKeyParamCurve ? key.publicKey.curve : key.publicKey.digest)->identifier);
            break;
        default: return IsSymmetric(key) ? SymmetricValue(key, parameter, value) : Code(NTE_BAD_TYPE);
    }
    return ERROR_SUCCESS;
}

// The two sets of an ephemeral key that is not complete yet.
DWORD ChangeSet(Key& key, DWORD parameter, const BYTE* data) {
    if (key.kind != KeyKind::Ephemeral || key.pair) return Code(NTE_BAD_KEY_STATE);
    const char* identifier = reinterpret_cast<const char*>(data);
    const bool curve = parameter == kKeyParamCurve;
    const auto* set = curve ? FindCurve(identifier) : FindParameterSet(ParameterKind::Digest, identifier);
    if (set == nullptr || !MayUse(*set)) return Code(NTE_BAD_DATA);
    (curve ? key.publicKey.curve : key.publicKey.digest) = set;
    return ERROR_SUCCESS;
}

// KP_X generates the private key; it cannot be supplied. No data is a null pointer or an empty CRYPT_DATA_BLOB.
DWORD Complete(Key& key, const BYTE* data) {
    if (key.kind != KeyKind::Ephemeral || key.pair) return Code(NTE_BAD_KEY_STATE);
    if (data != nullptr && reinterpret_cast<const CRYPT_DATA_BLOB*>(data)->cbData != 0) return Code(NTE_BAD_DATA);
    key.pair = KeyPair::Generate(*key.publicKey.curve, Randomness::Strong);
    if (!key.pair) return Code(NTE_FAIL);
    key.publicKey.key = key.pair->Public();
    return ERROR_SUCCESS;
}

// How other keys are wrapped by this one.
DWORD ChangeAlgorithm(Key& key, const BYTE* data) {
    ALG_ID algorithm = 0;
    std::memcpy(&algorithm, data, sizeof algorithm);
    if (!IsSymmetric(key)) return Code(NTE_BAD_KEY);
    if (algorithm != kAlgCipher && algorithm != kAlgDiversifiedWrap) return Code(NTE_BAD_ALGID);
    key.wrapping = algorithm == kAlgDiversifiedWrap ? Wrapping::Diversified : Wrapping::Plain;
    return ERROR_SUCCESS;
}

// No data removes the certificate.
DWORD ChangeCertificate(Context& context, const Key& key, const BYTE* data) {
    if (key.kind != KeyKind::User) return Code(NTE_BAD_KEY);
    const Bytes certificate = data != nullptr ? ReadCertificateAt(data) : Bytes();
    if (data != nullptr && certificate.empty()) return Code(NTE_BAD_DATA);
    return context.OpenedContainer()->Modify(context.UserPrompt(), [&](Container& container) -> DWORD {
        auto& record = container.Key(key.signatureKey);
        if (!record) return Code(NTE_NO_KEY);
        record->certificate = certificate;
        return ERROR_SUCCESS;
    });
}

DWORD Change(Context& context, Key& key, DWORD parameter, const BYTE* data) {
    if (parameter == KP_X) return Complete(key, data);
    if (parameter == KP_CERTIFICATE) return ChangeCertificate(context, key, data);
    if (data == nullptr) return ERROR_INVALID_PARAMETER;
    switch (parameter) {
        case KP_ALGID: return ChangeAlgorithm(key, data);
        case kKeyParamDigestSet:
        case kKeyParamCurve: return ChangeSet(key, parameter, data);
        case KP_IV:
            if (!IsSymmetric(key)) return Code(NTE_BAD_TYPE);
            std::memcpy(key.start.emplace().data(), data, sizeof(InitialValue));
            key.stream.reset();
            return ERROR_SUCCESS;
        case KP_MODE: {
            DWORD mode = 0;
            std::memcpy(&mode, data, sizeof mode);
            if (!IsSymmetric(key)) return Code(NTE_BAD_TYPE);
            return mode == CRYPT_MODE_CFB ? ERROR_SUCCESS : Code(NTE_BAD_DATA);
        }
        default: return Code(NTE_BAD_TYPE);
    }
}

}  // namespace

extern "C" BOOL WINAPI CPGetKeyParam(HCRYPTPROV provider, HCRYPTKEY key, DWORD parameter, BYTE* data, DWORD* size,
                                     DWORD flags) {
    return AnswerIn(ProviderEntry::GetKeyParam, provider, [=](Context& context) -> DWORD {
        const auto found = context.keys.Find(key);
        if (!found) return Code(NTE_BAD_KEY);
        if (size == nullptr) return ERROR_INVALID_PARAMETER;
        if (flags != 0) return Code(NTE_BAD_FLAGS);
        Bytes value;
        const DWORD result = Value(context, *found, parameter, value);
        return result != ERROR_SUCCESS ? result : Give(value, data, size);
    });
}

extern "C" BOOL WINAPI CPSetKeyParam(HCRYPTPROV provider, HCRYPTKEY key, DWORD parameter, BYTE* data, DWORD flags) {
    return AnswerIn(ProviderEntry::SetKeyParam, provider, [=](Context& context) -> DWORD {
        const auto found = context.keys.Find(key);
        if (!found) return Code(NTE_BAD_KEY);
        return flags != 0 ? Code(NTE_BAD_FLAGS) : Change(context, *found, parameter, data);
    });
}
