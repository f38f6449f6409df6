// Exports: keys are exported and imported.
#include "softcsp/kvcsp/Context.h"

using namespace softcsp;

namespace {

// The keying material of the key that an agreement key encrypts with. Wrapped keys have random material of their own.
constexpr KeyingMaterial kConstantMaterial = {1};

Bytes ExportPublic(const Key& key) {
    Require(key.kind == KeyKind::User || key.kind == KeyKind::Public || key.kind == KeyKind::Ephemeral, NTE_BAD_KEY);
    Require(key.kind != KeyKind::Ephemeral || key.pair, NTE_BAD_KEY_STATE);
    return WriteBlob(PublicKeyBlob{key.algorithm, key.publicKey});
}

// The key encryption key for the keying material.
std::optional<SymmetricKey> WrappingKey(const Key& by, const KeyingMaterial& material) {
    return by.kind == KeyKind::Agreement ? Agree(*by.pair, by.publicKey.key, material) : by.secret;
}

// A session key is wrapped by an agreement key, a private key by a session key.
Bytes ExportWrapped(Context& context, const Key& key, KeyKind kind, const Key* by) {
    Require(key.kind == kind, NTE_BAD_KEY);
    Require(by != nullptr && by->kind == (kind == KeyKind::Session ? KeyKind::Agreement : KeyKind::Session),
            NTE_BAD_KEY);
    Require(key.exportable, NTE_BAD_KEY_STATE);
    const SymmetricKey secret = kind == KeyKind::Session ? *key.secret : context.UserPair(key.signatureKey).Private();
    WrappedBlob blob{.algorithm = key.algorithm, .wrapping = by->wrapping};
    if (kind == KeyKind::User) blob.parameters = key.publicKey;
    FillRandom(blob.material);
    const auto wrapping = Required(WrappingKey(*by, blob.material), NTE_FAIL);
    blob.wrapped = WrapKey(blob.wrapping, wrapping, blob.material, secret);
    return WriteBlob(blob);
}

// The key pair of this side of an agreement.
KeyPair OwnPair(Context& context, const Key& own) {
    Require(own.kind == KeyKind::Ephemeral || (own.kind == KeyKind::User && !own.signatureKey), NTE_BAD_KEY);
    return own.kind == KeyKind::User ? context.UserPair(false) : Required(own.pair, NTE_BAD_KEY_STATE);
}

KeyData AgreeWith(Context& context, const PublicKeyData& other, const Key& own, bool exportable) {
    const KeyPair pair = OwnPair(context, own);
    Require(&pair.Set() == other.curve, NTE_BAD_PUBLIC_KEY);
    return {.kind = KeyKind::Agreement,
            .algorithm = kAlgCipher,
            .exportable = exportable,
            .publicKey = other,
            .pair = pair,
            .secret = Required(Agree(pair, other.key, kConstantMaterial), NTE_BAD_PUBLIC_KEY),
            .cipher = &context.SetInUse(ParameterKind::Cipher)};
}

KeyData ImportPublic(Context& context, ByteView bytes, const Key* own, bool exportable) {
    const auto blob = Required(ReadPublicKeyBlob(bytes), NTE_BAD_DATA);
    if (own != nullptr) return AgreeWith(context, blob.key, *own, exportable);
    Require(MayUse(*blob.key.curve) && MayUse(*blob.key.digest), NTE_BAD_DATA);
    Require(IsPublicKey(*blob.key.curve, blob.key.key), NTE_BAD_PUBLIC_KEY);
    return {.kind = KeyKind::Public, .algorithm = blob.algorithm, .exportable = true, .publicKey = blob.key};
}

SymmetricKey Unwrap(const Key* by, KeyKind wanted, const WrappedBlob& blob) {
    Require(by != nullptr && by->kind == wanted, NTE_BAD_KEY);
    const auto key = WrappingKey(*by, blob.material);
    return Required(key ? UnwrapKey(blob.wrapping, *key, blob.material, blob.wrapped) : std::nullopt, NTE_BAD_DATA);
}

KeyData ImportSession(Context& context, const WrappedBlob& blob, const Key* by, bool exportable) {
    Require(blob.algorithm == kAlgCipher, NTE_BAD_ALGID);
    return {.kind = KeyKind::Session,
            .algorithm = blob.algorithm,
            .exportable = exportable,
            .secret = Unwrap(by, KeyKind::Agreement, blob),
            .cipher = &context.SetInUse(ParameterKind::Cipher)};
}

KeyData ImportPrivate(Context& context, const WrappedBlob& blob, const Key* by, bool exportable) {
    const bool signatureKey = blob.algorithm == kAlgSignature;
    Require(signatureKey || blob.algorithm == kAlgExchange, NTE_BAD_ALGID);
    Require(context.HasContainer(), NTE_PERM);
    const SymmetricKey secret = Unwrap(by, KeyKind::Session, blob);
    const auto& [curve, digest, unused] = *blob.parameters;
    const KeyPair pair = Required(KeyPair::FromPrivate(*curve, secret), NTE_BAD_DATA);
    context.OpenedContainer().AddKeyPair(signatureKey, context.UserPrompt(), pair, *digest, exportable);
    return {.kind = KeyKind::User,
            .algorithm = blob.algorithm,
            .exportable = exportable,
            .signatureKey = signatureKey,
            .publicKey = {curve, digest, pair.Public()}};
}

KeyData Import(Context& context, ByteView bytes, const Key* by, bool exportable) {
    if (!bytes.empty() && bytes[0] == PUBLICKEYBLOB) return ImportPublic(context, bytes, by, exportable);
    const auto blob = Required(ReadWrappedBlob(bytes), NTE_BAD_DATA);
    return blob.parameters ? ImportPrivate(context, blob, by, exportable)
                           : ImportSession(context, blob, by, exportable);
}

}  // namespace

extern "C" BOOL WINAPI CPExportKey(HCRYPTPROV provider, HCRYPTKEY key, HCRYPTKEY by, DWORD type, DWORD flags,
                                   BYTE* data, DWORD* size) {
    return AnswerIn(provider, [=](Context& context) {
        const auto found = context.keys.Find(key);
        const auto wrapper = by != 0 ? context.keys.Find(by) : nullptr;
        Require(flags == 0, NTE_BAD_FLAGS);
        Require(type != PUBLICKEYBLOB || by == 0, NTE_BAD_KEY);
        switch (type) {
            case PUBLICKEYBLOB: return Give(ExportPublic(*found), data, size);
            case SIMPLEBLOB: return Give(ExportWrapped(context, *found, KeyKind::Session, wrapper.get()), data, size);
            case PRIVATEKEYBLOB: return Give(ExportWrapped(context, *found, KeyKind::User, wrapper.get()), data, size);
            default: Fail(NTE_BAD_TYPE);
        }
    });
}

extern "C" BOOL WINAPI CPImportKey(HCRYPTPROV provider, const BYTE* data, DWORD size, HCRYPTKEY by, DWORD flags,
                                   HCRYPTKEY* key) {
    return AnswerIn(provider, [=](Context& context) {
        const auto helper = by != 0 ? context.keys.Find(by) : nullptr;
        Require(data != nullptr && key != nullptr, ERROR_INVALID_PARAMETER);
        Require((flags & ~DWORD{CRYPT_EXPORTABLE}) == 0, NTE_BAD_FLAGS);
        const KeyData imported = Import(context, {data, size}, helper.get(), (flags & CRYPT_EXPORTABLE) != 0);
        *key = context.keys.Add(std::make_shared<Key>(Key{imported, {}}));
    });
}
