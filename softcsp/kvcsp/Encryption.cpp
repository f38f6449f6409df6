// Exports: encryption and decryption.
#include "softcsp/kvcsp/Export.h"
#include "softcsp/kvcsp/ProviderInterface.h"

using namespace softcsp;

namespace {

constexpr DWORD kBlock = 8;  // bytes

// Why a piece can't be run; 0: it can.
DWORD Refusal(const Key& key, bool last, DWORD size) {
    if (!key.secret) return Code(NTE_BAD_KEY);
    return !last && size % kBlock != 0 ? Code(NTE_BAD_LEN) : ERROR_SUCCESS;
}

// Goes on with the key's stream, or begins it at the key's initial value; the last piece ends it.
DWORD Run(Key& key, bool last, BYTE* data, DWORD size, bool (Cipher::*step)(std::span<std::uint8_t>)) {
    if (!key.stream) key.stream = Cipher::Create(*key.cipher, *key.secret, key.start);
    if (!key.stream) return Code(NTE_FAIL);
    const bool done = ((*key.stream).*step)({data, size});
    if (last || !done) key.stream.reset();
    return done ? ERROR_SUCCESS : Code(NTE_FAIL);
}

// What is encrypted has no more bytes than before. A hash takes the text in the clear.
DWORD Encrypt(Context& context, HCRYPTKEY key, HCRYPTHASH hash, BOOL last, BYTE* data, DWORD* size, DWORD capacity) {
    const auto found = context.keys.Find(key);
    const auto hashed = hash != 0 ? context.hashes.Find(hash) : nullptr;
    if (!found) return Code(NTE_BAD_KEY);
    if (hash != 0 && (!hashed || hashed->value)) return Code(NTE_BAD_HASH);
    if (data == nullptr) return found->secret ? ERROR_SUCCESS : Code(NTE_BAD_KEY);
    if (capacity < *size) return ERROR_MORE_DATA;
    if (const DWORD result = Refusal(*found, last != FALSE, *size)) return result;
    if (hashed) hashed->digest.Add({data, *size});
    return Run(*found, last != FALSE, data, *size, &Cipher::Encrypt);
}

DWORD Decrypt(Context& context, HCRYPTKEY key, HCRYPTHASH hash, BOOL last, BYTE* data, const DWORD* size) {
    const auto found = context.keys.Find(key);
    const auto hashed = hash != 0 ? context.hashes.Find(hash) : nullptr;
    if (!found) return Code(NTE_BAD_KEY);
    if (hash != 0 && (!hashed || hashed->value)) return Code(NTE_BAD_HASH);
    if (data == nullptr) return ERROR_INVALID_PARAMETER;
    if (const DWORD result = Refusal(*found, last != FALSE, *size)) return result;
    const DWORD result = Run(*found, last != FALSE, data, *size, &Cipher::Decrypt);
    if (result == ERROR_SUCCESS && hashed) hashed->digest.Add({data, *size});
    return result;
}

}  // namespace

BOOL WINAPI CPEncrypt(HCRYPTPROV provider, HCRYPTKEY key, HCRYPTHASH hash, BOOL last, DWORD flags, BYTE* data,
                      DWORD* size, DWORD capacity) {
    return AnswerIn(ProviderEntry::Encrypt, provider, [=](Context& context) -> DWORD {
        if (size == nullptr) return ERROR_INVALID_PARAMETER;
        return flags != 0 ? Code(NTE_BAD_FLAGS) : Encrypt(context, key, hash, last, data, size, capacity);
    });
}

BOOL WINAPI CPDecrypt(HCRYPTPROV provider, HCRYPTKEY key, HCRYPTHASH hash, BOOL last, DWORD flags, BYTE* data,
                      DWORD* size) {
    return AnswerIn(ProviderEntry::Decrypt, provider, [=](Context& context) -> DWORD {
        if (size == nullptr) return ERROR_INVALID_PARAMETER;
        return flags != 0 ? Code(NTE_BAD_FLAGS) : Decrypt(context, key, hash, last, data, size);
    });
}
