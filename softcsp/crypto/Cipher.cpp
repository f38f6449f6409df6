#include "softcsp/crypto/Library.h"

#include "softcsp/crypto/Cipher.h"

namespace softcsp {

void Cipher::Close::operator()(gcry_cipher_handle* handle) const {
    gcry_cipher_close(handle);
}

std::optional<Cipher> Cipher::Create(const ParameterSet& set, const SymmetricKey& key, const InitialValue& start) {
    gcry_cipher_hd_t handle = nullptr;
    if (set.kind != ParameterKind::Cipher || !CryptoReady() ||
        gcry_cipher_open(&handle, GCRY_CIPHER_GOST28147_MESH, GCRY_CIPHER_MODE_CFB, GCRY_CIPHER_SECURE) != 0)
        return std::nullopt;
    Cipher cipher(handle);
    // The library takes the identifier by an address that isn't constant, and only reads it.
    if (gcry_cipher_ctl(handle, GCRYCTL_SET_SBOX, const_cast<char*>(set.identifier), 0) != 0 ||
        gcry_cipher_setkey(handle, key.Bytes().data(), key.Bytes().size()) != 0 ||
        gcry_cipher_setiv(handle, start.data(), start.size()) != 0)
        return std::nullopt;
    return cipher;
}

bool Cipher::Encrypt(std::span<std::uint8_t> data) {
    return gcry_cipher_encrypt(handle_.get(), data.data(), data.size(), nullptr, 0) == 0;
}

bool Cipher::Decrypt(std::span<std::uint8_t> data) {
    return gcry_cipher_decrypt(handle_.get(), data.data(), data.size(), nullptr, 0) == 0;
}

}  // namespace softcsp
