// Exports: keys are generated, derived, found, duplicated and destroyed.
#include "softcsp/crypto/Random.h"
#include "softcsp/kvcsp/Context.h"

using namespace softcsp;

namespace {

// CRYPT_USER_PROTECTED is refused: the user is not notified when such a key is used.
constexpr DWORD kLengthMask = 0xFFFF0000;  // in bits; 0 = the only length
constexpr DWORD kKnownFlags = kLengthMask | CRYPT_EXPORTABLE | CRYPT_PREGEN;
constexpr DWORD kPairBits = 512, kCipherBits = 256;

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
        case kAlgCipher: Require(FillRandom(secret.Room()), NTE_FAIL); return SessionKey(context, secret, flags);
        default: Fail(NTE_BAD_ALGID);
    }
}

}  // namespace

extern "C" BOOL WINAPI CPGenKey(HCRYPTPROV provider, ALG_ID algorithm, DWORD flags, HCRYPTKEY* key) {
    return AnswerIn("CPGenKey", provider, [=](Context& context) {
        Require(key != nullptr, ERROR_INVALID_PARAMETER);
        CheckFlags(flags, algorithm == kAlgCipher ? kCipherBits : kPairBits);
        *key = context.keys.Add(Generate(context, algorithm, flags));
    });
}

// The key is the value of the hash.
extern "C" BOOL WINAPI CPDeriveKey(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTHASH hash, DWORD flags,
                                   HCRYPTKEY* key) {
    return AnswerIn("CPDeriveKey", provider, [=](Context& context) {
        Require(key != nullptr, ERROR_INVALID_PARAMETER);
        Require(algorithm == kAlgCipher, NTE_BAD_ALGID);
        Require((flags & CRYPT_PREGEN) == 0, NTE_BAD_FLAGS);
        CheckFlags(flags, kCipherBits);
        *key = context.keys.Add(SessionKey(context, context.hashes.Find(hash)->Value(), flags));
    });
}

extern "C" BOOL WINAPI CPGetUserKey(HCRYPTPROV provider, DWORD spec, HCRYPTKEY* key) {
    return AnswerIn("CPGetUserKey", provider, [=](Context& context) {
        Require(key != nullptr, ERROR_INVALID_PARAMETER);
        Require(spec == AT_KEYEXCHANGE || spec == AT_SIGNATURE, NTE_BAD_KEY);
        *key = context.keys.Add(context.UserKey(spec == AT_SIGNATURE));
    });
}

extern "C" BOOL WINAPI CPDuplicateKey(HCRYPTPROV provider, HCRYPTKEY key, DWORD* reserved, DWORD flags,
                                      HCRYPTKEY* copy) {
    return AnswerIn("CPDuplicateKey", provider, [=](Context& context) {
        Require(copy != nullptr && reserved == nullptr, ERROR_INVALID_PARAMETER);
        Require(flags == 0, NTE_BAD_FLAGS);
        *copy = context.keys.Add(context.keys.Find(key)->Copy());
    });
}

extern "C" BOOL WINAPI CPDestroyKey(HCRYPTPROV provider, HCRYPTKEY key) {
    return AnswerIn("CPDestroyKey", provider, [=](Context& context) { context.keys.Remove(key); });
}
