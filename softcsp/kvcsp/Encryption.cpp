// Exports: encryption and decryption.
#include "softcsp/kvcsp/Context.h"

using namespace softcsp;

namespace {

constexpr DWORD kBlock = 8;  // bytes

// Whether the key can encrypt. An agreement key needs an initial value: its encryption would otherwise be the same for
// every message between the two sides.
DWORD CheckKey(const Key& key) {
    if (!key.secret) return Code(NTE_BAD_KEY);
    return key.kind == KeyKind::Agreement && !key.start ? Code(NTE_BAD_KEY_STATE) : ERROR_SUCCESS;
}

DWORD Find(Context& context, HCRYPTKEY key, HCRYPTHASH hash, std::shared_ptr<Key>& foundKey,
           std::shared_ptr<Hash>& foundHash) {
    foundKey = context.keys.Find(key);
    if (!foundKey) return Code(NTE_BAD_KEY);
    if (hash != 0) foundHash = context.hashes.Find(hash);
    return hash != 0 && (!foundHash || foundHash->Finished()) ? Code(NTE_BAD_HASH) : CheckKey(*foundKey);
}

// Continues the key's stream, or begins it at the key's initial value. The last piece ends it.
DWORD Run(Key& key, bool last, BYTE* data, DWORD size, bool (Cipher::*step)(std::span<std::uint8_t>)) {
    if (!last && size % kBlock != 0) return Code(NTE_BAD_LEN);
    if (!key.stream) key.stream = Cipher::Create(*key.cipher, *key.secret, key.start.value_or(InitialValue{}));
    if (!key.stream) return Code(NTE_FAIL);
    const bool done = ((*key.stream).*step)({data, size});
    if (last || !done) key.stream.reset();
    return done ? ERROR_SUCCESS : Code(NTE_FAIL);
}

}  // namespace

// The encrypted data has the same size. A hash receives the data before encryption.
extern "C" BOOL WINAPI CPEncrypt(HCRYPTPROV provider, HCRYPTKEY key, HCRYPTHASH hash, BOOL last, DWORD flags,
                                 BYTE* data, DWORD* size, DWORD capacity) {
    return AnswerIn(ProviderEntry::Encrypt, provider, [=](Context& context) -> DWORD {
        if (size == nullptr) return ERROR_INVALID_PARAMETER;
        if (flags != 0) return Code(NTE_BAD_FLAGS);
        std::shared_ptr<Key> foundKey;
        std::shared_ptr<Hash> foundHash;
        if (const DWORD result = Find(context, key, hash, foundKey, foundHash)) return result;
        if (data == nullptr) return ERROR_SUCCESS;
        if (capacity < *size) return ERROR_MORE_DATA;
        const Bytes clear = foundHash ? Bytes(data, data + *size) : Bytes();
        const DWORD result = Run(*foundKey, last != FALSE, data, *size, &Cipher::Encrypt);
        if (result == ERROR_SUCCESS && foundHash) foundHash->Add(clear);
        return result;
    });
}

extern "C" BOOL WINAPI CPDecrypt(HCRYPTPROV provider, HCRYPTKEY key, HCRYPTHASH hash, BOOL last, DWORD flags,
                                 BYTE* data, DWORD* size) {
    return AnswerIn(ProviderEntry::Decrypt, provider, [=](Context& context) -> DWORD {
        if (size == nullptr || data == nullptr) return ERROR_INVALID_PARAMETER;
        if (flags != 0) return Code(NTE_BAD_FLAGS);
        std::shared_ptr<Key> foundKey;
        std::shared_ptr<Hash> foundHash;
        if (const DWORD result = Find(context, key, hash, foundKey, foundHash)) return result;
        const DWORD result = Run(*foundKey, last != FALSE, data, *size, &Cipher::Decrypt);
        if (result == ERROR_SUCCESS && foundHash) foundHash->Add({data, *size});
        return result;
    });
}
