// Exports: keys are exported and imported.
#include "softcsp/crypto/Random.h"
#include "softcsp/kvcsp/Context.h"

using namespace softcsp;

namespace {

// The keying material of the key that an agreement key encrypts with. Wrapped keys have random material of their own.
constexpr KeyingMaterial kConstantMaterial = {1};

DWORD ExportPublic(const Key& key, Bytes& blob) {
    const bool hasPublic = key.kind == KeyKind::User || key.kind == KeyKind::Public || key.kind == KeyKind::Ephemeral;
    if (!hasPublic) return Code(NTE_BAD_KEY);
    if (key.kind == KeyKind::Ephemeral && !key.pair) return Code(NTE_BAD_KEY_STATE);
    blob = WriteBlob(PublicKeyBlob{key.algorithm, key.publicKey});
    return ERROR_SUCCESS;
}

// The key encryption key for the keying material.
std::optional<SymmetricKey> WrappingKey(const Key& by, const KeyingMaterial& material) {
    return by.kind == KeyKind::Agreement ? Agree(*by.pair, by.publicKey.key, material) : by.secret;
}

DWORD Wrap(const Key& by, const Secret<32>& secret, WrappedBlob& blob) {
    blob.wrapping = by.wrapping;
    if (!FillRandom(blob.material)) return Code(NTE_FAIL);
    const auto key = WrappingKey(by, blob.material);
    const auto wrapped = key ? WrapKey(blob.wrapping, *key, blob.material, secret) : std::nullopt;
    if (!wrapped) return Code(NTE_FAIL);
    blob.wrapped = *wrapped;
    return ERROR_SUCCESS;
}

DWORD ExportSession(const Key& key, const Key* by, Bytes& bytes) {
    if (key.kind != KeyKind::Session) return Code(NTE_BAD_KEY);
    if (by == nullptr || by->kind != KeyKind::Agreement) return Code(NTE_BAD_KEY);
    if (!key.exportable) return Code(NTE_BAD_KEY_STATE);
    WrappedBlob blob;
    blob.algorithm = key.algorithm;
    if (const DWORD result = Wrap(*by, *key.secret, blob)) return result;
    bytes = WriteBlob(blob);
    return ERROR_SUCCESS;
}

DWORD ExportPrivate(Context& context, const Key& key, const Key* by, Bytes& bytes) {
    if (key.kind != KeyKind::User) return Code(NTE_BAD_KEY);
    if (by == nullptr || by->kind != KeyKind::Session) return Code(NTE_BAD_KEY);
    if (!key.exportable) return Code(NTE_BAD_KEY_STATE);
    std::optional<KeyPair> pair;
    if (const DWORD result = context.UserPair(key.signatureKey, pair)) return result;
    WrappedBlob blob;
    blob.algorithm = key.algorithm;
    blob.parameters = key.publicKey;
    if (const DWORD result = Wrap(*by, pair->Private(), blob)) return result;
    bytes = WriteBlob(blob);
    return ERROR_SUCCESS;
}

// The key pair of this side of an agreement.
DWORD OwnPair(Context& context, const Key& own, std::optional<KeyPair>& pair) {
    if (own.kind == KeyKind::User && own.signatureKey) return Code(NTE_BAD_KEY);
    if (own.kind == KeyKind::User) return context.OpenedContainer()->PrivateKey(false, context.UserPrompt(), pair);
    if (own.kind != KeyKind::Ephemeral) return Code(NTE_BAD_KEY);
    pair = own.pair;
    return pair ? ERROR_SUCCESS : Code(NTE_BAD_KEY_STATE);
}

DWORD AgreeWith(Context& context, const PublicKeyBlob& other, const Key& own, DWORD flags, Key& data) {
    if (const DWORD result = OwnPair(context, own, data.pair)) return result;
    if (data.pair->Set().identifier != std::string_view(other.key.curve->identifier)) return Code(NTE_BAD_PUBLIC_KEY);
    data.kind = KeyKind::Agreement;
    data.algorithm = kAlgCipher;
    data.exportable = (flags & CRYPT_EXPORTABLE) != 0;
    data.publicKey = other.key;
    data.cipher = &context.SetInUse(ParameterKind::Cipher);
    data.secret = Agree(*data.pair, other.key.key, kConstantMaterial);
    return data.secret ? ERROR_SUCCESS : Code(NTE_BAD_PUBLIC_KEY);
}

DWORD ImportPublic(Context& context, ByteView bytes, const Key* own, DWORD flags, Key& data) {
    const auto blob = ReadPublicKeyBlob(bytes);
    if (!blob) return Code(NTE_BAD_DATA);
    if (own != nullptr) return AgreeWith(context, *blob, *own, flags, data);
    if (!MayUse(*blob->key.curve) || !MayUse(*blob->key.digest)) return Code(NTE_BAD_DATA);
    if (!IsPublicKey(*blob->key.curve, blob->key.key)) return Code(NTE_BAD_PUBLIC_KEY);
    data.kind = KeyKind::Public;
    data.algorithm = blob->algorithm;
    data.exportable = true;
    data.publicKey = blob->key;
    return ERROR_SUCCESS;
}

DWORD Unwrap(const Key* by, KeyKind wanted, const WrappedBlob& blob, std::optional<Secret<32>>& secret) {
    if (by == nullptr || by->kind != wanted) return Code(NTE_BAD_KEY);
    const auto key = WrappingKey(*by, blob.material);
    secret = key ? UnwrapKey(blob.wrapping, *key, blob.material, blob.wrapped) : std::nullopt;
    return secret ? ERROR_SUCCESS : Code(NTE_BAD_DATA);
}

DWORD ImportSession(Context& context, const WrappedBlob& blob, const Key* by, DWORD flags, Key& data) {
    if (blob.algorithm != kAlgCipher) return Code(NTE_BAD_ALGID);
    if (const DWORD result = Unwrap(by, KeyKind::Agreement, blob, data.secret)) return result;
    data.kind = KeyKind::Session;
    data.algorithm = blob.algorithm;
    data.exportable = (flags & CRYPT_EXPORTABLE) != 0;
    data.cipher = &context.SetInUse(ParameterKind::Cipher);
    return ERROR_SUCCESS;
}

DWORD ImportPrivate(Context& context, const WrappedBlob& blob, const Key* by, DWORD flags, Key& data) {
    const bool signatureKey = blob.algorithm == kAlgSignature;
    if (!signatureKey && blob.algorithm != kAlgExchange) return Code(NTE_BAD_ALGID);
    if (!context.OpenedContainer()) return Code(NTE_PERM);
    std::optional<Secret<32>> secret;
    if (const DWORD result = Unwrap(by, KeyKind::Session, blob, secret)) return result;
    const auto pair = KeyPair::FromPrivate(*blob.parameters->curve, *secret);
    if (!pair) return Code(NTE_BAD_DATA);
    data.kind = KeyKind::User;
    data.algorithm = blob.algorithm;
    data.exportable = (flags & CRYPT_EXPORTABLE) != 0;
    data.signatureKey = signatureKey;
    data.publicKey = {blob.parameters->curve, blob.parameters->digest, pair->Public()};
    return context.OpenedContainer()->AddKeyPair(signatureKey, context.UserPrompt(), *pair, *data.publicKey.digest,
                                                 data.exportable);
}

}  // namespace

extern "C" BOOL WINAPI CPExportKey(HCRYPTPROV provider, HCRYPTKEY key, HCRYPTKEY by, DWORD type, DWORD flags,
                                   BYTE* data, DWORD* size) {
    return AnswerIn(ProviderEntry::ExportKey, provider, [=](Context& context) -> DWORD {
        const auto found = context.keys.Find(key);
        const auto wrapper = by != 0 ? context.keys.Find(by) : nullptr;
        if (!found || (by != 0 && !wrapper)) return Code(NTE_BAD_KEY);
        if (flags != 0) return Code(NTE_BAD_FLAGS);
        Bytes blob;
        DWORD result = Code(NTE_BAD_TYPE);
        if (type == PUBLICKEYBLOB) result = by == 0 ? ExportPublic(*found, blob) : Code(NTE_BAD_KEY);
        if (type == SIMPLEBLOB) result = ExportSession(*found, wrapper.get(), blob);
        if (type == PRIVATEKEYBLOB) result = ExportPrivate(context, *found, wrapper.get(), blob);
        return result != ERROR_SUCCESS ? result : Give(blob, data, size);
    });
}

extern "C" BOOL WINAPI CPImportKey(HCRYPTPROV provider, const BYTE* data, DWORD size, HCRYPTKEY by, DWORD flags,
                                   HCRYPTKEY* key) {
    return AnswerIn(ProviderEntry::ImportKey, provider, [=](Context& context) -> DWORD {
        const auto helper = by != 0 ? context.keys.Find(by) : nullptr;
        if (by != 0 && !helper) return Code(NTE_BAD_KEY);
        if (data == nullptr || key == nullptr) return ERROR_INVALID_PARAMETER;
        if ((flags & ~DWORD{CRYPT_EXPORTABLE}) != 0) return Code(NTE_BAD_FLAGS);
        const ByteView bytes(data, size);
        Key imported;
        DWORD result = ERROR_SUCCESS;
        if (size > 0 && bytes[0] == PUBLICKEYBLOB) {
            result = ImportPublic(context, bytes, helper.get(), flags, imported);
        } else if (const auto blob = ReadWrappedBlob(bytes)) {
            result = blob->parameters ? ImportPrivate(context, *blob, helper.get(), flags, imported)
                                      : ImportSession(context, *blob, helper.get(), flags, imported);
        } else {
            result = Code(NTE_BAD_DATA);
        }
        if (result != ERROR_SUCCESS) return result;
        *key = context.keys.Add(std::make_shared<Key>(std::move(imported)));
        return ERROR_SUCCESS;
    });
}
