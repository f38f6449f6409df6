#include "softcsp/crypto/Library.h"

#include "softcsp/crypto/KeyWrap.h"

#include <cstring>

namespace softcsp {
namespace {

using Mac = std::array<std::uint8_t, 4>;

// The library takes the identifier by an address that isn't constant, and only reads it.
char* CipherSet() {
    return const_cast<char*>(DefaultParameterSet(ParameterKind::Cipher).identifier);
}

// Under the given key; a mode of libgcrypt's. Null when memory is short.
CipherHandle OpenCipher(int mode, const SymmetricKey& key) {
    gcry_cipher_hd_t handle = nullptr;
    if (!CryptoReady() || gcry_cipher_open(&handle, GCRY_CIPHER_GOST28147, mode, GCRY_CIPHER_SECURE) != 0)
        return nullptr;
    CipherHandle cipher(handle);
    if (gcry_cipher_ctl(handle, GCRYCTL_SET_SBOX, CipherSet(), 0) != 0) return nullptr;
    return gcry_cipher_setkey(handle, key.Bytes().data(), key.Bytes().size()) == 0 ? std::move(cipher) : nullptr;
}

// The keying material is the initial value.
std::optional<Mac> Authenticate(const SymmetricKey& by, const KeyingMaterial& material, const SymmetricKey& key) {
    gcry_mac_hd_t handle = nullptr;
    if (!CryptoReady() || gcry_mac_open(&handle, GCRY_MAC_GOST28147_IMIT, GCRY_MAC_FLAG_SECURE, nullptr) != 0)
        return std::nullopt;
    const MacHandle owner(handle);
    Mac mac;
    std::size_t size = mac.size();
    if (gcry_mac_ctl(handle, GCRYCTL_SET_SBOX, CipherSet(), 0) != 0 ||
        gcry_mac_setkey(handle, by.Bytes().data(), by.Bytes().size()) != 0 ||
        gcry_mac_setiv(handle, material.data(), material.size()) != 0 ||
        gcry_mac_write(handle, key.Bytes().data(), key.Bytes().size()) != 0 ||
        gcry_mac_read(handle, mac.data(), &size) != 0 || size != mac.size())
        return std::nullopt;
    return mac;
}

std::optional<SymmetricKey> Effective(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material) {
    return wrapping == Wrapping::Diversified ? DiversifyKey(by, material) : std::optional(by);
}

// The key's words, lowest byte first as the processor has them, are added up modulo 2^32: those whose bit of the choice
// is set, then the others. The two sums are the initial value that diversifying encrypts the key with by itself.
Secret<8> ChosenSums(const SymmetricKey& key, std::uint8_t choice) {
    std::uint32_t sums[2] = {};
    for (unsigned index = 0; index < 8; ++index) {
        std::uint32_t word = 0;
        std::memcpy(&word, key.Bytes().data() + index * sizeof word, sizeof word);
        sums[(choice >> index) & 1 ? 0 : 1] += word;
    }
    Secret<8> both;
    std::memcpy(both.Room().data(), sums, sizeof sums);
    SecureZeroMemory(sums, sizeof sums);
    return both;
}

bool EqualInConstantTime(const Mac& left, const Mac& right) {
    unsigned difference = 0;
    for (std::size_t i = 0; i < left.size(); ++i) difference |= static_cast<unsigned>(left[i] ^ right[i]);
    return difference == 0;
}

}  // namespace

std::optional<SymmetricKey> DiversifyKey(const SymmetricKey& key, const KeyingMaterial& material) {
    SymmetricKey current = key;
    for (const std::uint8_t choice : material) {
        const Secret<8> start = ChosenSums(current, choice);
        const CipherHandle cipher = OpenCipher(GCRY_CIPHER_MODE_CFB, current);
        const auto room = current.Room();
        if (!cipher || gcry_cipher_setiv(cipher.get(), start.Bytes().data(), start.Bytes().size()) != 0 ||
            gcry_cipher_encrypt(cipher.get(), room.data(), room.size(), nullptr, 0) != 0)
            return std::nullopt;
    }
    return current;
}

std::optional<WrappedKey> WrapKey(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material,
                                  const SymmetricKey& key) {
    const auto effective = Effective(wrapping, by, material);
    if (!effective) return std::nullopt;
    const auto mac = Authenticate(*effective, material, key);
    const CipherHandle cipher = OpenCipher(GCRY_CIPHER_MODE_ECB, *effective);
    if (!mac || !cipher) return std::nullopt;
    WrappedKey wrapped{.key = {}, .mac = *mac};
    const auto& bytes = key.Bytes();
    if (gcry_cipher_encrypt(cipher.get(), wrapped.key.data(), wrapped.key.size(), bytes.data(), bytes.size()) != 0)
        return std::nullopt;
    return wrapped;
}

std::optional<SymmetricKey> UnwrapKey(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material,
                                      const WrappedKey& wrapped) {
    const auto effective = Effective(wrapping, by, material);
    if (!effective) return std::nullopt;
    const CipherHandle cipher = OpenCipher(GCRY_CIPHER_MODE_ECB, *effective);
    SymmetricKey key;
    const auto size = wrapped.key.size();
    if (!cipher || gcry_cipher_decrypt(cipher.get(), key.Room().data(), size, wrapped.key.data(), size) != 0)
        return std::nullopt;
    const auto mac = Authenticate(*effective, material, key);
    if (!mac || !EqualInConstantTime(*mac, wrapped.mac)) return std::nullopt;
    return key;
}

}  // namespace softcsp
