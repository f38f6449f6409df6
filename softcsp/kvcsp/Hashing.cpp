// Exports: hashes, signatures and their verification.
#include <algorithm>
#include <cstring>

#include "softcsp/kvcsp/Context.h"

using namespace softcsp;

namespace {

constexpr DWORD kSignatureSize = std::tuple_size_v<Signature>;
constexpr DWORD kHashSize = std::tuple_size_v<DigestValue>;

DWORD FindOpenHash(Context& context, HCRYPTHASH handle, std::shared_ptr<Hash>& hash) {
    hash = context.hashes.Find(handle);
    if (!hash) return Code(NTE_BAD_HASH);
    return hash->Finished() ? Code(NTE_BAD_HASH_STATE) : ERROR_SUCCESS;
}

// CryptoAPI reverses the bytes of the whole signature.
Signature Reversed(Signature signature) {
    std::ranges::reverse(signature);
    return signature;
}

// Descriptions of signatures are obsolete and not supported.
bool IsDescribed(LPCWSTR description) {
    return description != nullptr && *description != L'\0';
}

DWORD Sign(Context& context, HCRYPTHASH handle, DWORD spec, BYTE* data, DWORD* size) {
    const auto hash = context.hashes.Find(handle);
    if (!hash) return Code(NTE_BAD_HASH);
    if (spec != AT_KEYEXCHANGE && spec != AT_SIGNATURE) return Code(NTE_BAD_KEY);
    std::shared_ptr<Key> key;
    if (const DWORD result = context.UserKey(spec == AT_SIGNATURE, key)) return result;
    // The size is checked first, so that no dialog is shown in vain.
    if (data == nullptr || *size < kSignatureSize) return GiveSized(kSignatureSize, data, size, [] {});
    std::optional<KeyPair> pair;
    if (const DWORD result = context.UserPair(spec == AT_SIGNATURE, pair)) return result;
    const auto signature = pair->Sign(hash->Value().Bytes());
    return signature ? Give(Reversed(*signature), data, size) : Code(NTE_FAIL);
}

DWORD Check(Context& context, HCRYPTHASH handle, const BYTE* data, DWORD size, HCRYPTKEY key) {
    const auto hash = context.hashes.Find(handle);
    if (!hash) return Code(NTE_BAD_HASH);
    const auto found = context.keys.Find(key);
    if (!found || found->publicKey.curve == nullptr || found->kind == KeyKind::Agreement) return Code(NTE_BAD_KEY);
    if (data == nullptr) return ERROR_INVALID_PARAMETER;
    Signature signature;
    if (size != signature.size()) return Code(NTE_BAD_SIGNATURE);
    std::memcpy(signature.data(), data, size);
    const bool right =
        Verify(*found->publicKey.curve, found->publicKey.key, hash->Value().Bytes(), Reversed(signature));
    return right ? ERROR_SUCCESS : Code(NTE_BAD_SIGNATURE);
}

}  // namespace

extern "C" BOOL WINAPI CPCreateHash(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTKEY key, DWORD flags,
                                    HCRYPTHASH* hash) {
    return AnswerIn(ProviderEntry::CreateHash, provider, [=](Context& context) -> DWORD {
        if (hash == nullptr) return ERROR_INVALID_PARAMETER;
        if (algorithm != kAlgDigest) return Code(NTE_BAD_ALGID);
        if (key != 0) return Code(NTE_BAD_KEY);
        if (flags != 0) return Code(NTE_BAD_FLAGS);
        auto digest = Digest::Create(context.SetInUse(ParameterKind::Digest));
        if (!digest) return Code(NTE_FAIL);
        *hash = context.hashes.Add(std::make_shared<Hash>(std::move(*digest)));
        return ERROR_SUCCESS;
    });
}

extern "C" BOOL WINAPI CPDuplicateHash(HCRYPTPROV provider, HCRYPTHASH hash, DWORD* reserved, DWORD flags,
                                       HCRYPTHASH* copy) {
    return AnswerIn(ProviderEntry::DuplicateHash, provider, [=](Context& context) -> DWORD {
        if (copy == nullptr || reserved != nullptr) return ERROR_INVALID_PARAMETER;
        if (flags != 0) return Code(NTE_BAD_FLAGS);
        const auto found = context.hashes.Find(hash);
        if (!found) return Code(NTE_BAD_HASH);
        auto duplicate = found->Copy();
        if (!duplicate) return Code(NTE_NO_MEMORY);
        *copy = context.hashes.Add(std::move(duplicate));
        return ERROR_SUCCESS;
    });
}

extern "C" BOOL WINAPI CPDestroyHash(HCRYPTPROV provider, HCRYPTHASH hash) {
    return AnswerIn(ProviderEntry::DestroyHash, provider,
                    [=](Context& context) { return context.hashes.Remove(hash) ? ERROR_SUCCESS : Code(NTE_BAD_HASH); });
}

// CRYPT_USERDATA asks for a dialog in which the user types the data; such a call may have no data of its own.
extern "C" BOOL WINAPI CPHashData(HCRYPTPROV provider, HCRYPTHASH hash, const BYTE* data, DWORD size, DWORD flags) {
    return AnswerIn(ProviderEntry::HashData, provider, [=](Context& context) -> DWORD {
        std::shared_ptr<Hash> found;
        if (const DWORD result = FindOpenHash(context, hash, found)) return result;
        if (flags == CRYPT_USERDATA && size != 0) return Code(NTE_BAD_LEN);
        if (flags != 0) return Code(NTE_BAD_FLAGS);
        if (data == nullptr && size != 0) return ERROR_INVALID_PARAMETER;
        found->Add({data, size});
        return ERROR_SUCCESS;
    });
}

extern "C" BOOL WINAPI CPHashSessionKey(HCRYPTPROV provider, HCRYPTHASH hash, HCRYPTKEY key, DWORD flags) {
    return AnswerIn(ProviderEntry::HashSessionKey, provider, [=](Context& context) -> DWORD {
        std::shared_ptr<Hash> found;
        if (const DWORD result = FindOpenHash(context, hash, found)) return result;
        const auto session = context.keys.Find(key);
        if (!session || session->kind != KeyKind::Session) return Code(NTE_BAD_KEY);
        if ((flags & ~DWORD{CRYPT_LITTLE_ENDIAN}) != 0) return Code(NTE_BAD_FLAGS);
        found->Add(session->secret->Bytes());
        return ERROR_SUCCESS;
    });
}

extern "C" BOOL WINAPI CPGetHashParam(HCRYPTPROV provider, HCRYPTHASH hash, DWORD parameter, BYTE* data, DWORD* size,
                                      DWORD flags) {
    return AnswerIn(ProviderEntry::GetHashParam, provider, [=](Context& context) -> DWORD {
        const auto found = context.hashes.Find(hash);
        if (!found) return Code(NTE_BAD_HASH);
        if (flags != 0) return Code(NTE_BAD_FLAGS);
        switch (parameter) {
            case HP_ALGID: return Give(BytesOf(kAlgDigest), data, size);
            case HP_HASHSIZE: return Give(BytesOf(kHashSize), data, size);
            // A query for the size does not finish the hash.
            case HP_HASHVAL:
                return GiveSized(kHashSize, data, size, [&] { std::ranges::copy(found->Value().Bytes(), data); });
            default: return Code(NTE_BAD_TYPE);
        }
    });
}

extern "C" BOOL WINAPI CPSetHashParam(HCRYPTPROV provider, HCRYPTHASH hash, DWORD parameter, BYTE* data, DWORD flags) {
    return AnswerIn(ProviderEntry::SetHashParam, provider, [=](Context& context) -> DWORD {
        std::shared_ptr<Hash> found;
        if (const DWORD result = FindOpenHash(context, hash, found)) return result;
        if (flags != 0) return Code(NTE_BAD_FLAGS);
        if (parameter != HP_HASHVAL) return Code(NTE_BAD_TYPE);
        if (data == nullptr) return ERROR_INVALID_PARAMETER;
        SymmetricKey value;
        std::memcpy(value.Room().data(), data, value.Room().size());
        found->SetValue(value);
        return ERROR_SUCCESS;
    });
}

extern "C" BOOL WINAPI CPSignHash(HCRYPTPROV provider, HCRYPTHASH hash, DWORD spec, LPCWSTR description, DWORD flags,
                                  BYTE* signature, DWORD* size) {
    return AnswerIn(ProviderEntry::SignHash, provider, [=](Context& context) -> DWORD {
        if (size == nullptr || IsDescribed(description)) return ERROR_INVALID_PARAMETER;
        if ((flags & ~DWORD{CRYPT_NOHASHOID}) != 0) return Code(NTE_BAD_FLAGS);
        return Sign(context, hash, spec, signature, size);
    });
}

extern "C" BOOL WINAPI CPVerifySignature(HCRYPTPROV provider, HCRYPTHASH hash, const BYTE* signature, DWORD size,
                                         HCRYPTKEY key, LPCWSTR description, DWORD flags) {
    return AnswerIn(ProviderEntry::VerifySignature, provider, [=](Context& context) -> DWORD {
        if ((flags & ~DWORD{CRYPT_NOHASHOID}) != 0) return Code(NTE_BAD_FLAGS);
        return IsDescribed(description) ? ERROR_INVALID_PARAMETER : Check(context, hash, signature, size, key);
    });
}
