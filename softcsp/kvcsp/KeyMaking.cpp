// Exports: keys are generated, derived, found, duplicated and destroyed.
#include "softcsp/crypto/Random.h"
#include "softcsp/kvcsp/Context.h"

using namespace softcsp;

namespace {

// CRYPT_USER_PROTECTED is refused: the user is not notified when such a key is used.
constexpr DWORD kLengthMask = 0xFFFF0000;  // in bits; 0 = the only length
constexpr DWORD kKnownFlags = kLengthMask | CRYPT_EXPORTABLE | CRYPT_PREGEN;
constexpr DWORD kPairBits = 512, kCipherBits = 256;

DWORD CheckFlags(DWORD flags, DWORD bits) {
    if ((flags & ~kKnownFlags) != 0) return Code(NTE_BAD_FLAGS);
    const DWORD length = flags >> 16;
    return length != 0 && length != bits ? Code(NTE_BAD_LEN) : ERROR_SUCCESS;
}

DWORD GiveKey(Context& context, std::shared_ptr<Key> key, HCRYPTKEY* handle) {
    if (!key) return Code(NTE_NO_MEMORY);
    *handle = context.keys.Add(std::move(key));
    return ERROR_SUCCESS;
}

// A key pair that is never stored. With CRYPT_PREGEN its sets may still be changed, and KP_X completes it.
DWORD GenerateEphemeral(Context& context, ALG_ID algorithm, ParameterKind kind, DWORD flags,
                        std::shared_ptr<Key>& key) {
    auto generated = std::make_shared<Key>();
    generated->kind = KeyKind::Ephemeral;
    generated->algorithm = algorithm;
    generated->exportable = (flags & CRYPT_EXPORTABLE) != 0;
    generated->publicKey.curve = &context.SetInUse(kind);
    generated->publicKey.digest = &context.SetInUse(ParameterKind::Digest);
    if ((flags & CRYPT_PREGEN) == 0) {
        generated->pair = KeyPair::Generate(*generated->publicKey.curve, Randomness::Strong);
        if (!generated->pair) return Code(NTE_FAIL);
        generated->publicKey.key = generated->pair->Public();
    }
    key = std::move(generated);
    return ERROR_SUCCESS;
}

// In a context without a container the pair is ephemeral and signs as long as the context is open.
DWORD GenerateUserKey(Context& context, bool signatureKey, DWORD flags, HCRYPTKEY* handle) {
    if ((flags & CRYPT_PREGEN) != 0) return Code(NTE_BAD_FLAGS);
    const ParameterKind kind = signatureKey ? ParameterKind::Signature : ParameterKind::Exchange;
    std::shared_ptr<Key> key;
    if (OpenContainer* container = context.OpenedContainer()) {
        if (const DWORD result = container->Refresh()) return result;
        if (container->Record().Key(signatureKey)) return Code(NTE_EXISTS);
        const auto pair = KeyPair::Generate(context.SetInUse(kind));
        if (!pair) return Code(NTE_FAIL);
        const DWORD result =
            container->AddKeyPair(signatureKey, context.UserPrompt(), *pair, context.SetInUse(ParameterKind::Digest),
                                  (flags & CRYPT_EXPORTABLE) != 0);
        if (result != ERROR_SUCCESS) return result;
    } else {
        const ALG_ID algorithm = signatureKey ? kAlgSignature : kAlgExchange;
        if (const DWORD result = GenerateEphemeral(context, algorithm, kind, flags, key)) return result;
        context.ephemeral[signatureKey] = key;
    }
    const DWORD result = context.UserKey(signatureKey, key);
    return result != ERROR_SUCCESS ? result : GiveKey(context, std::move(key), handle);
}

DWORD GiveSessionKey(Context& context, const SymmetricKey& secret, DWORD flags, HCRYPTKEY* handle) {
    auto key = std::make_shared<Key>();
    key->algorithm = kAlgCipher;
    key->exportable = (flags & CRYPT_EXPORTABLE) != 0;
    key->secret = secret;
    key->cipher = &context.SetInUse(ParameterKind::Cipher);
    return GiveKey(context, std::move(key), handle);
}

DWORD GenerateSessionKey(Context& context, DWORD flags, HCRYPTKEY* handle) {
    SymmetricKey secret;
    return FillRandom(secret.Room()) ? GiveSessionKey(context, secret, flags, handle) : Code(NTE_FAIL);
}

}  // namespace

extern "C" BOOL WINAPI CPGenKey(HCRYPTPROV provider, ALG_ID algorithm, DWORD flags, HCRYPTKEY* key) {
    return AnswerIn(ProviderEntry::GenKey, provider, [=](Context& context) -> DWORD {
        if (key == nullptr) return ERROR_INVALID_PARAMETER;
        if (const DWORD result = CheckFlags(flags, algorithm == kAlgCipher ? kCipherBits : kPairBits)) return result;
        switch (algorithm) {
            case AT_KEYEXCHANGE:
            case kAlgExchange: return GenerateUserKey(context, false, flags, key);
            case AT_SIGNATURE:
            case kAlgSignature: return GenerateUserKey(context, true, flags, key);
            case kAlgCipher: return GenerateSessionKey(context, flags, key);
            case kAlgEphemeralExchange: {
                std::shared_ptr<Key> generated;
                const DWORD result = GenerateEphemeral(context, algorithm, ParameterKind::Exchange, flags, generated);
                return result != ERROR_SUCCESS ? result : GiveKey(context, std::move(generated), key);
            }
            default: return Code(NTE_BAD_ALGID);
        }
    });
}

// The key is the value of the hash.
extern "C" BOOL WINAPI CPDeriveKey(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTHASH hash, DWORD flags,
                                   HCRYPTKEY* key) {
    return AnswerIn(ProviderEntry::DeriveKey, provider, [=](Context& context) -> DWORD {
        if (key == nullptr) return ERROR_INVALID_PARAMETER;
        if (algorithm != kAlgCipher) return Code(NTE_BAD_ALGID);
        if ((flags & CRYPT_PREGEN) != 0) return Code(NTE_BAD_FLAGS);
        if (const DWORD result = CheckFlags(flags, kCipherBits)) return result;
        const auto found = context.hashes.Find(hash);
        return found ? GiveSessionKey(context, found->Value(), flags, key) : Code(NTE_BAD_HASH);
    });
}

extern "C" BOOL WINAPI CPGetUserKey(HCRYPTPROV provider, DWORD spec, HCRYPTKEY* key) {
    return AnswerIn(ProviderEntry::GetUserKey, provider, [=](Context& context) -> DWORD {
        if (key == nullptr) return ERROR_INVALID_PARAMETER;
        if (spec != AT_KEYEXCHANGE && spec != AT_SIGNATURE) return Code(NTE_BAD_KEY);
        std::shared_ptr<Key> found;
        const DWORD result = context.UserKey(spec == AT_SIGNATURE, found);
        return result != ERROR_SUCCESS ? result : GiveKey(context, std::move(found), key);
    });
}

extern "C" BOOL WINAPI CPDuplicateKey(HCRYPTPROV provider, HCRYPTKEY key, DWORD* reserved, DWORD flags,
                                      HCRYPTKEY* copy) {
    return AnswerIn(ProviderEntry::DuplicateKey, provider, [=](Context& context) -> DWORD {
        if (copy == nullptr || reserved != nullptr) return ERROR_INVALID_PARAMETER;
        if (flags != 0) return Code(NTE_BAD_FLAGS);
        const auto found = context.keys.Find(key);
        return found ? GiveKey(context, found->Copy(), copy) : Code(NTE_BAD_KEY);
    });
}

extern "C" BOOL WINAPI CPDestroyKey(HCRYPTPROV provider, HCRYPTKEY key) {
    return AnswerIn(ProviderEntry::DestroyKey, provider,
                    [=](Context& context) { return context.keys.Remove(key) ? ERROR_SUCCESS : Code(NTE_BAD_KEY); });
}
