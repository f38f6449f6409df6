// Exports: keys are generated, derived, found, duplicated and destroyed, and their parameters are read and changed.
#include <cstring>

#include "softcsp/encoding/Certificates.h"
#include "softcsp/kvcsp/Context.h"

using namespace softcsp;

namespace {

// CRYPT_USER_PROTECTED is refused: the user is not notified when such a key is used.
constexpr DWORD kLengthMask = 0xFFFF0000;  // in bits; 0 = the only length
constexpr DWORD kKnownFlags = kLengthMask | CRYPT_EXPORTABLE | CRYPT_PREGEN;
constexpr DWORD kPairBits = 512, kCipherBits = 256, kCipherBlockBits = 64;

void CheckFlags(DWORD flags, DWORD bits) {
    const DWORD length = flags >> 16;
    Require((flags & ~kKnownFlags) == 0, NTE_BAD_FLAGS);
    Require(length == 0 || length == bits, NTE_BAD_LEN);
}

// A key pair that is never stored. With CRYPT_PREGEN its sets may still be changed, and KP_X completes it.
std::shared_ptr<Key> GenerateEphemeral(Context& context, ALG_ID algorithm, ParameterKind kind, DWORD flags) {
    auto key = std::make_shared<Key>();
    key->kind = KeyKind::Ephemeral;
    key->algorithm = algorithm;
    key->exportable = (flags & CRYPT_EXPORTABLE) != 0;
    key->publicKey = {&context.SetInUse(kind), &context.SetInUse(ParameterKind::Digest)};
    if ((flags & CRYPT_PREGEN) == 0) key->Generate();
    return key;
}

// In a context without a container the pair is ephemeral and signs as long as the context is open.
std::shared_ptr<Key> GenerateUserKey(Context& context, bool signatureKey, DWORD flags) {
    Require((flags & CRYPT_PREGEN) == 0, NTE_BAD_FLAGS);
    const ParameterKind kind = signatureKey ? ParameterKind::Signature : ParameterKind::Exchange;
    if (context.HasContainer()) {
        OpenContainer& container = context.OpenedContainer();
        container.Refresh();
        Require(!container.Record().Key(signatureKey), NTE_EXISTS);
        const KeyPair pair = Required(KeyPair::Generate(context.SetInUse(kind)), NTE_FAIL);
        container.AddKeyPair(signatureKey, context.UserPrompt(), pair, context.SetInUse(ParameterKind::Digest),
                             (flags & CRYPT_EXPORTABLE) != 0);
    } else {
        context.ephemeral[signatureKey] =
            GenerateEphemeral(context, signatureKey ? kAlgSignature : kAlgExchange, kind, flags);
    }
    return context.UserKey(signatureKey);
}

std::shared_ptr<Key> SessionKey(Context& context, const SymmetricKey& secret, DWORD flags) {
    auto key = std::make_shared<Key>();
    key->algorithm = kAlgCipher;
    key->exportable = (flags & CRYPT_EXPORTABLE) != 0;
    key->secret = secret;
    key->cipher = &context.SetInUse(ParameterKind::Cipher);
    return key;
}

std::shared_ptr<Key> Generate(Context& context, ALG_ID algorithm, DWORD flags) {
    SymmetricKey secret;
    switch (algorithm) {
        case AT_KEYEXCHANGE:
        case kAlgExchange: return GenerateUserKey(context, false, flags);
        case AT_SIGNATURE:
        case kAlgSignature: return GenerateUserKey(context, true, flags);
        case kAlgEphemeralExchange: return GenerateEphemeral(context, algorithm, ParameterKind::Exchange, flags);
        case kAlgCipher: FillRandom(secret.Room()); return SessionKey(context, secret, flags);
        default: Fail(NTE_BAD_ALGID);
    }
}

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

extern "C" BOOL WINAPI CPGenKey(HCRYPTPROV provider, ALG_ID algorithm, DWORD flags, HCRYPTKEY* key) {
    return AnswerIn(provider, [=](Context& context) {
        Require(key != nullptr, ERROR_INVALID_PARAMETER);
        CheckFlags(flags, algorithm == kAlgCipher ? kCipherBits : kPairBits);
        *key = context.keys.Add(Generate(context, algorithm, flags));
    });
}

// The key is the value of the hash.
extern "C" BOOL WINAPI CPDeriveKey(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTHASH hash, DWORD flags,
                                   HCRYPTKEY* key) {
    return AnswerIn(provider, [=](Context& context) {
        Require(key != nullptr, ERROR_INVALID_PARAMETER);
        Require(algorithm == kAlgCipher, NTE_BAD_ALGID);
        Require((flags & CRYPT_PREGEN) == 0, NTE_BAD_FLAGS);
        CheckFlags(flags, kCipherBits);
        *key = context.keys.Add(SessionKey(context, context.hashes.Find(hash)->Value(), flags));
    });
}

extern "C" BOOL WINAPI CPGetUserKey(HCRYPTPROV provider, DWORD spec, HCRYPTKEY* key) {
    return AnswerIn(provider, [=](Context& context) {
        Require(key != nullptr, ERROR_INVALID_PARAMETER);
        Require(spec == AT_KEYEXCHANGE || spec == AT_SIGNATURE, NTE_BAD_KEY);
        *key = context.keys.Add(context.UserKey(spec == AT_SIGNATURE));
    });
}

extern "C" BOOL WINAPI CPDuplicateKey(HCRYPTPROV provider, HCRYPTKEY key, DWORD* reserved, DWORD flags,
                                      HCRYPTKEY* copy) {
    return AnswerIn(provider, [=](Context& context) {
        Require(copy != nullptr && reserved == nullptr, ERROR_INVALID_PARAMETER);
        Require(flags == 0, NTE_BAD_FLAGS);
        *copy = context.keys.Add(context.keys.Find(key)->Copy());
    });
}

extern "C" BOOL WINAPI CPDestroyKey(HCRYPTPROV provider, HCRYPTKEY key) {
    return AnswerIn(provider, [=](Context& context) { context.keys.Remove(key); });
}

extern "C" BOOL WINAPI CPGetKeyParam(HCRYPTPROV provider, HCRYPTKEY key, DWORD parameter, BYTE* data, DWORD* size,
                                     DWORD flags) {
    return AnswerIn(provider, [=](Context& context) {
        const auto found = context.keys.Find(key);
        Require(size != nullptr, ERROR_INVALID_PARAMETER);
        Require(flags == 0, NTE_BAD_FLAGS);
        Give(Value(context, *found, parameter), data, size);
    });
}

extern "C" BOOL WINAPI CPSetKeyParam(HCRYPTPROV provider, HCRYPTKEY key, DWORD parameter, BYTE* data, DWORD flags) {
    return AnswerIn(provider, [=](Context& context) {
        const auto found = context.keys.Find(key);
        Require(flags == 0, NTE_BAD_FLAGS);
        Change(context, *found, parameter, data);
    });
}
