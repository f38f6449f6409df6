// Exports: hashes, signatures and their verification.
#include <algorithm>
#include <cstring>

#include "softcsp/kvcsp/Context.h"

using namespace softcsp;

namespace {

constexpr DWORD kSignatureSize = std::tuple_size_v<Signature>;
constexpr DWORD kHashSize = std::tuple_size_v<DigestValue>;

// A hash to which data can be added.
std::shared_ptr<Hash> FindOpenHash(Context& context, HCRYPTHASH handle) {
    auto hash = context.hashes.Find(handle);
    Require(!hash->Finished(), NTE_BAD_HASH_STATE);
    return hash;
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

}  // namespace

extern "C" BOOL WINAPI CPCreateHash(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTKEY key, DWORD flags,
                                    HCRYPTHASH* hash) {
    return AnswerIn(provider, [=](Context& context) {
        Require(hash != nullptr, ERROR_INVALID_PARAMETER);
        Require(algorithm == kAlgDigest, NTE_BAD_ALGID);
        Require(key == 0, NTE_BAD_KEY);
        Require(flags == 0, NTE_BAD_FLAGS);
        auto digest = Required(Digest::Create(context.SetInUse(ParameterKind::Digest)), NTE_FAIL);
        *hash = context.hashes.Add(std::make_shared<Hash>(std::move(digest)));
    });
}

extern "C" BOOL WINAPI CPDuplicateHash(HCRYPTPROV provider, HCRYPTHASH hash, DWORD* reserved, DWORD flags,
                                       HCRYPTHASH* copy) {
    return AnswerIn(provider, [=](Context& context) {
        Require(copy != nullptr && reserved == nullptr, ERROR_INVALID_PARAMETER);
        Require(flags == 0, NTE_BAD_FLAGS);
        *copy = context.hashes.Add(context.hashes.Find(hash)->Copy());
    });
}

extern "C" BOOL WINAPI CPDestroyHash(HCRYPTPROV provider, HCRYPTHASH hash) {
    return AnswerIn(provider, [=](Context& context) { context.hashes.Remove(hash); });
}

// CRYPT_USERDATA asks for a dialog in which the user types the data; such a call may have no data of its own.
extern "C" BOOL WINAPI CPHashData(HCRYPTPROV provider, HCRYPTHASH hash, const BYTE* data, DWORD size, DWORD flags) {
    return AnswerIn(provider, [=](Context& context) {
        const auto found = FindOpenHash(context, hash);
        Require(flags != CRYPT_USERDATA || size == 0, NTE_BAD_LEN);
        Require(flags == 0, NTE_BAD_FLAGS);
        Require(data != nullptr || size == 0, ERROR_INVALID_PARAMETER);
        found->Add({data, size});
    });
}

extern "C" BOOL WINAPI CPHashSessionKey(HCRYPTPROV provider, HCRYPTHASH hash, HCRYPTKEY key, DWORD flags) {
    return AnswerIn(provider, [=](Context& context) {
        const auto found = FindOpenHash(context, hash);
        const auto session = context.keys.Find(key);
        Require(session->kind == KeyKind::Session, NTE_BAD_KEY);
        Require((flags & ~DWORD{CRYPT_LITTLE_ENDIAN}) == 0, NTE_BAD_FLAGS);
        found->Add(session->secret->Bytes());
    });
}

extern "C" BOOL WINAPI CPGetHashParam(HCRYPTPROV provider, HCRYPTHASH hash, DWORD parameter, BYTE* data, DWORD* size,
                                      DWORD flags) {
    return AnswerIn(provider, [=](Context& context) {
        const auto found = context.hashes.Find(hash);
        Require(flags == 0, NTE_BAD_FLAGS);
        switch (parameter) {
            case HP_ALGID: return Give(BytesOf(kAlgDigest), data, size);
            case HP_HASHSIZE: return Give(BytesOf(kHashSize), data, size);
            // A query for the size does not finish the hash.
            case HP_HASHVAL:
                return GiveSized(kHashSize, data, size, [&] { std::ranges::copy(found->Value().Bytes(), data); });
            default: Fail(NTE_BAD_TYPE);
        }
    });
}

extern "C" BOOL WINAPI CPSetHashParam(HCRYPTPROV provider, HCRYPTHASH hash, DWORD parameter, BYTE* data, DWORD flags) {
    return AnswerIn(provider, [=](Context& context) {
        const auto found = FindOpenHash(context, hash);
        Require(flags == 0, NTE_BAD_FLAGS);
        Require(parameter == HP_HASHVAL, NTE_BAD_TYPE);
        Require(data != nullptr, ERROR_INVALID_PARAMETER);
        SymmetricKey value;
        std::memcpy(value.Room().data(), data, value.Room().size());
        found->SetValue(value);
    });
}

extern "C" BOOL WINAPI CPSignHash(HCRYPTPROV provider, HCRYPTHASH hash, DWORD spec, LPCWSTR description, DWORD flags,
                                  BYTE* data, DWORD* size) {
    return AnswerIn(provider, [=](Context& context) {
        Require(size != nullptr && !IsDescribed(description), ERROR_INVALID_PARAMETER);
        Require((flags & ~DWORD{CRYPT_NOHASHOID}) == 0, NTE_BAD_FLAGS);
        const auto found = context.hashes.Find(hash);
        Require(spec == AT_KEYEXCHANGE || spec == AT_SIGNATURE, NTE_BAD_KEY);
        context.UserKey(spec == AT_SIGNATURE);
        // The key is unlocked after the check of the size, so that no dialog is shown in vain.
        GiveSized(kSignatureSize, data, size, [&] {
            const Signature signature = context.UserPair(spec == AT_SIGNATURE).Sign(found->Value().Bytes());
            std::ranges::copy(Reversed(signature), data);
        });
    });
}

extern "C" BOOL WINAPI CPVerifySignature(HCRYPTPROV provider, HCRYPTHASH hash, const BYTE* data, DWORD size,
                                         HCRYPTKEY key, LPCWSTR description, DWORD flags) {
    return AnswerIn(provider, [=](Context& context) {
        Require((flags & ~DWORD{CRYPT_NOHASHOID}) == 0, NTE_BAD_FLAGS);
        Require(!IsDescribed(description), ERROR_INVALID_PARAMETER);
        const auto foundHash = context.hashes.Find(hash);
        const auto found = context.keys.Find(key);
        Require(found->publicKey.curve != nullptr && found->kind != KeyKind::Agreement, NTE_BAD_KEY);
        Require(data != nullptr, ERROR_INVALID_PARAMETER);
        Require(size == kSignatureSize, NTE_BAD_SIGNATURE);
        Signature signature;
        std::copy_n(data, kSignatureSize, signature.rbegin());
        Require(Verify(*found->publicKey.curve, found->publicKey.key, foundHash->Value().Bytes(), signature),
                NTE_BAD_SIGNATURE);
    });
}
