// Exports: encryption and decryption.
#include "softcsp/kvcsp/Context.h"

using namespace softcsp;

namespace {

constexpr DWORD kBlock = 8;  // bytes

struct Objects {
    std::shared_ptr<Key> key;
    std::shared_ptr<Hash> hash;  // of the clear data; may be null
};

// Checks that the key can encrypt. An agreement key needs an initial value: its encryption would otherwise be the same
// for every message between the two sides.
Objects Find(Context& context, HCRYPTKEY key, HCRYPTHASH hash, DWORD flags) {
    Require(flags == 0, NTE_BAD_FLAGS);
    Objects found{context.keys.Find(key), hash != 0 ? context.hashes.Find(hash) : nullptr};
    Require(!found.hash || !found.hash->Finished(), NTE_BAD_HASH);
    Require(found.key->secret.has_value(), NTE_BAD_KEY);
    Require(found.key->kind != KeyKind::Agreement || found.key->start, NTE_BAD_KEY_STATE);
    return found;
}

// Continues the key's stream, or begins it at the key's initial value. The last piece and a failure end it.
void Run(Key& key, bool last, BYTE* data, DWORD size, void (Cipher::*step)(std::span<std::uint8_t>)) {
    Require(last || size % kBlock == 0, NTE_BAD_LEN);
    auto stream = std::exchange(key.stream, std::nullopt);
    if (!stream) stream = Cipher::Create(*key.cipher, *key.secret, key.start.value_or(InitialValue{}));
    ((*stream).*step)({data, size});
    if (!last) key.stream = std::move(stream);
}

}  // namespace

// The encrypted data has the same size. A hash receives the data before encryption.
extern "C" BOOL WINAPI CPEncrypt(HCRYPTPROV provider, HCRYPTKEY key, HCRYPTHASH hash, BOOL last, DWORD flags,
                                 BYTE* data, DWORD* size, DWORD capacity) {
    return AnswerIn(provider, [=](Context& context) {
        Require(size != nullptr, ERROR_INVALID_PARAMETER);
        const Objects found = Find(context, key, hash, flags);
        if (data == nullptr) return;
        Require(capacity >= *size, ERROR_MORE_DATA);
        const Bytes clear = found.hash ? Bytes(data, data + *size) : Bytes();
        Run(*found.key, last != FALSE, data, *size, &Cipher::Encrypt);
        if (found.hash) found.hash->Add(clear);
    });
}

extern "C" BOOL WINAPI CPDecrypt(HCRYPTPROV provider, HCRYPTKEY key, HCRYPTHASH hash, BOOL last, DWORD flags,
                                 BYTE* data, DWORD* size) {
    return AnswerIn(provider, [=](Context& context) {
        Require(size != nullptr && data != nullptr, ERROR_INVALID_PARAMETER);
        const Objects found = Find(context, key, hash, flags);
        Run(*found.key, last != FALSE, data, *size, &Cipher::Decrypt);
        if (found.hash) found.hash->Add({data, *size});
    });
}
