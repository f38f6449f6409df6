// Exports: keys made, found, duplicated, destroyed.
#include "softcsp/crypto/Random.h"
#include "softcsp/kvcsp/Export.h"
#include "softcsp/kvcsp/ProviderInterface.h"

using namespace softcsp;

namespace {

constexpr DWORD kKnownGenFlags =
    0xFFFF0000 /* length in bits */ | CRYPT_EXPORTABLE | CRYPT_USER_PROTECTED | CRYPT_PREGEN;

DWORD GiveKey(Context& context, const KeyData& data, HCRYPTKEY* handle) {
    *handle = context.keys.Add(std::make_shared<Key>(data));
    return ERROR_SUCCESS;
}

KeyData UserKey(bool signatureKey, const ContainerKey& key) {
    KeyData data;
    data.kind = KeyKind::User;
    data.algorithm = signatureKey ? kAlgSignature : kAlgExchange;
    data.exportable = key.exportable;
    data.signatureKey = signatureKey;
    data.publicKey = {key.curve, key.digest, key.publicKey};
    return data;
}

DWORD GiveUserKey(Context& context, bool signatureKey, HCRYPTKEY* handle) {
    const auto& key = context.OpenedContainer()->Record().Key(signatureKey);
    return key ? GiveKey(context, UserKey(signatureKey, *key), handle) : Code(NTE_NO_KEY);
}

DWORD GenerateUserKey(Context& context, bool signatureKey, DWORD flags, HCRYPTKEY* handle) {
    if (!context.OpenedContainer()) return Code(NTE_PERM);
    if ((flags & CRYPT_PREGEN) != 0) return Code(NTE_BAD_FLAGS);
    if (context.OpenedContainer()->Record().Key(signatureKey)) return Code(NTE_EXISTS);
    const auto pair =
        KeyPair::Generate(context.SetInUse(signatureKey ? ParameterKind::Signature : ParameterKind::Exchange));
    if (!pair) return Code(NTE_FAIL);
    const DWORD result =
        context.OpenedContainer()->AddKeyPair(signatureKey, context.WhomToAsk(), *pair,
                                              context.SetInUse(ParameterKind::Digest), (flags & CRYPT_EXPORTABLE) != 0);
    return result != ERROR_SUCCESS ? result : GiveUserKey(context, signatureKey, handle);
}

// With CRYPT_PREGEN the sets may still be changed; KP_X completes the key.
DWORD GenerateEphemeralKey(Context& context, DWORD flags, HCRYPTKEY* handle) {
    KeyData data;
    data.kind = KeyKind::Ephemeral;
    data.algorithm = kAlgEphemeralExchange;
    data.exportable = (flags & CRYPT_EXPORTABLE) != 0;
    data.publicKey.curve = &context.SetInUse(ParameterKind::Exchange);
    data.publicKey.digest = &context.SetInUse(ParameterKind::Digest);
    if ((flags & CRYPT_PREGEN) == 0) {
        data.pair = KeyPair::Generate(*data.publicKey.curve);
        if (!data.pair) return Code(NTE_FAIL);
        data.publicKey.key = data.pair->Public();
    }
    return GiveKey(context, data, handle);
}

DWORD GiveSessionKey(Context& context, const SymmetricKey& secret, DWORD flags, HCRYPTKEY* handle) {
    KeyData data;
    data.kind = KeyKind::Session;
    data.algorithm = kAlgCipher;
    data.exportable = (flags & CRYPT_EXPORTABLE) != 0;
    data.secret = secret;
    data.cipher = &context.SetInUse(ParameterKind::Cipher);
    return GiveKey(context, data, handle);
}

}  // namespace

BOOL WINAPI CPGenKey(HCRYPTPROV provider, ALG_ID algorithm, DWORD flags, HCRYPTKEY* key) {
    return AnswerIn(ProviderEntry::GenKey, provider, [=](Context& context) -> DWORD {
        if (key == nullptr) return ERROR_INVALID_PARAMETER;
        if ((flags & ~kKnownGenFlags) != 0) return Code(NTE_BAD_FLAGS);
        switch (algorithm) {
            case AT_KEYEXCHANGE:
            case kAlgExchange: return GenerateUserKey(context, false, flags, key);
            case AT_SIGNATURE:
            case kAlgSignature: return GenerateUserKey(context, true, flags, key);
            case kAlgEphemeralExchange: return GenerateEphemeralKey(context, flags, key);
            case kAlgCipher: {
                SymmetricKey secret;
                if (!FillRandom(secret.Room())) return Code(NTE_FAIL);
                return GiveSessionKey(context, secret, flags, key);
            }
            default: return Code(NTE_BAD_ALGID);
        }
    });
}

// The key is the hash's value.
BOOL WINAPI CPDeriveKey(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTHASH hash, DWORD flags, HCRYPTKEY* key) {
    return AnswerIn(ProviderEntry::DeriveKey, provider, [=](Context& context) -> DWORD {
        if (key == nullptr) return ERROR_INVALID_PARAMETER;
        if (algorithm != kAlgCipher) return Code(NTE_BAD_ALGID);
        if ((flags & ~kKnownGenFlags) != 0 || (flags & CRYPT_PREGEN) != 0) return Code(NTE_BAD_FLAGS);
        const auto found = context.hashes.Find(hash);
        if (!found) return Code(NTE_BAD_HASH);
        if (!found->value) found->value = found->digest.Value();
        return GiveSessionKey(context, SymmetricKey(*found->value), flags, key);
    });
}

BOOL WINAPI CPGetUserKey(HCRYPTPROV provider, DWORD spec, HCRYPTKEY* key) {
    return AnswerIn(ProviderEntry::GetUserKey, provider, [=](Context& context) -> DWORD {
        if (key == nullptr) return ERROR_INVALID_PARAMETER;
        if (spec != AT_KEYEXCHANGE && spec != AT_SIGNATURE) return Code(NTE_BAD_KEY);
        const DWORD result = context.NeedContainer();
        return result != ERROR_SUCCESS ? result : GiveUserKey(context, spec == AT_SIGNATURE, key);
    });
}

BOOL WINAPI CPDuplicateKey(HCRYPTPROV provider, HCRYPTKEY key, DWORD* reserved, DWORD flags, HCRYPTKEY* copy) {
    return AnswerIn(ProviderEntry::DuplicateKey, provider, [=](Context& context) -> DWORD {
        if (copy == nullptr || reserved != nullptr) return ERROR_INVALID_PARAMETER;
        if (flags != 0) return Code(NTE_BAD_FLAGS);
        const auto found = context.keys.Find(key);
        return found ? GiveKey(context, *found, copy) : Code(NTE_BAD_KEY);
    });
}

BOOL WINAPI CPDestroyKey(HCRYPTPROV provider, HCRYPTKEY key) {
    return AnswerIn(ProviderEntry::DestroyKey, provider,
                    [=](Context& context) { return context.keys.Remove(key) ? ERROR_SUCCESS : Code(NTE_BAD_KEY); });
}
