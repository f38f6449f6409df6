#include "softcsp/crypto/Library.h"

#include "softcsp/crypto/Cipher.h"

#include <algorithm>
#include <cstring>

namespace softcsp {
namespace {

constexpr std::size_t kBlock = 8;      // bytes
constexpr std::size_t kMeshed = 1024;  // bytes after which the key changes

// RFC 4357, 2.3.2: decrypting this constant with a key gives the next key.
constexpr std::uint8_t kMeshConstant[32] = {0x69, 0x00, 0x72, 0x22, 0x64, 0xC9, 0x04, 0x23, 0x8D, 0x3A, 0xDB,
                                            0x96, 0x46, 0xE9, 0x2A, 0xC4, 0x18, 0xFE, 0xAC, 0x94, 0x00, 0xED,
                                            0x07, 0x12, 0xC0, 0x86, 0xDC, 0xC2, 0xEF, 0x4C, 0xA9, 0x2B};

// libgcrypt's interface has a pointer to non-constant characters here, and only reads them.
char* Identifier(const ParameterSet& set) {
    return const_cast<char*>(set.identifier);
}

// A cipher of one of libgcrypt's modes with the key set; null if memory is short.
CipherHandle OpenCipher(int mode, const ParameterSet& set, const SymmetricKey& key) {
    gcry_cipher_hd_t handle = nullptr;
    if (!CryptoReady() || gcry_cipher_open(&handle, GCRY_CIPHER_GOST28147, mode, GCRY_CIPHER_SECURE) != 0)
        return nullptr;
    CipherHandle cipher(handle);
    if (gcry_cipher_ctl(handle, GCRYCTL_SET_SBOX, Identifier(set), 0) != 0) return nullptr;
    return gcry_cipher_setkey(handle, key.Bytes().data(), key.Bytes().size()) == 0 ? std::move(cipher) : nullptr;
}

// The keying material is the initial value.
bool Authenticate(const SymmetricKey& by, const KeyingMaterial& material, ByteView bytes, Mac& mac) {
    gcry_mac_hd_t handle = nullptr;
    if (!CryptoReady() || gcry_mac_open(&handle, GCRY_MAC_GOST28147_IMIT, GCRY_MAC_FLAG_SECURE, nullptr) != 0)
        return false;
    const MacHandle owner(handle);
    std::size_t size = mac.size();
    return gcry_mac_ctl(handle, GCRYCTL_SET_SBOX, Identifier(DefaultParameterSet(ParameterKind::Cipher)), 0) == 0 &&
           gcry_mac_setkey(handle, by.Bytes().data(), by.Bytes().size()) == 0 &&
           gcry_mac_setiv(handle, material.data(), material.size()) == 0 &&
           gcry_mac_write(handle, bytes.data(), bytes.size()) == 0 && gcry_mac_read(handle, mac.data(), &size) == 0 &&
           size == mac.size();
}

// The initial value of a diversification step. The key's words, lowest byte first, are added modulo 2^32: those whose
// bit of the choice is set, then the others.
Secret<kBlock> ChosenSums(const SymmetricKey& key, std::uint8_t choice) {
    std::uint32_t sums[2] = {};
    for (unsigned index = 0; index < 8; ++index) {
        std::uint32_t word = 0;
        std::memcpy(&word, key.Bytes().data() + index * sizeof word, sizeof word);
        sums[(choice >> index) & 1 ? 0 : 1] += word;
    }
    Secret<kBlock> both;
    std::memcpy(both.Room().data(), sums, sizeof sums);
    Wipe(sums, sizeof sums);
    return both;
}

// RFC 4357, 6.5: each byte of the material chooses the initial value with which the key is encrypted by itself.
std::optional<SymmetricKey> Diversify(const SymmetricKey& key, const KeyingMaterial& material) {
    SymmetricKey current = key;
    for (const std::uint8_t choice : material) {
        const Secret<kBlock> start = ChosenSums(current, choice);
        const CipherHandle cipher =
            OpenCipher(GCRY_CIPHER_MODE_CFB, DefaultParameterSet(ParameterKind::Cipher), current);
        const auto room = current.Room();
        if (!cipher || gcry_cipher_setiv(cipher.get(), start.Bytes().data(), start.Bytes().size()) != 0 ||
            gcry_cipher_encrypt(cipher.get(), room.data(), room.size(), nullptr, 0) != 0)
            return std::nullopt;
    }
    return current;
}

std::optional<SymmetricKey> EncryptionKey(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material) {
    return wrapping == Wrapping::Diversified ? Diversify(by, material) : std::optional(by);
}

CipherHandle OpenWrapping(const std::optional<SymmetricKey>& key) {
    return key ? OpenCipher(GCRY_CIPHER_MODE_ECB, DefaultParameterSet(ParameterKind::Cipher), *key) : nullptr;
}

}  // namespace

void Cipher::Close::operator()(gcry_cipher_handle* handle) const {
    gcry_cipher_close(handle);
}

Cipher::Handle Cipher::Open(const ParameterSet& set, const SymmetricKey& key) {
    return Handle(OpenCipher(GCRY_CIPHER_MODE_ECB, set, key).release());
}

std::optional<Cipher> Cipher::Create(const ParameterSet& set, const SymmetricKey& key, const InitialValue& start) {
    if (set.kind != ParameterKind::Cipher) return std::nullopt;
    Cipher cipher;
    cipher.set_ = &set;
    cipher.key_ = key;
    cipher.register_ = start;
    cipher.handle_ = Open(set, key);
    return cipher.handle_ ? std::optional(std::move(cipher)) : std::nullopt;
}

std::optional<Cipher> Cipher::Copy() const {
    auto copy = Create(*set_, key_, register_);
    if (copy) copy->count_ = count_;
    return copy;
}

bool Cipher::MeshKey() {
    const auto room = key_.Room();
    if (gcry_cipher_decrypt(handle_.get(), room.data(), room.size(), kMeshConstant, sizeof kMeshConstant) != 0)
        return false;
    handle_ = Open(*set_, key_);
    count_ = 0;
    return handle_ && gcry_cipher_encrypt(handle_.get(), register_.data(), kBlock, nullptr, 0) == 0;
}

bool Cipher::Run(std::span<std::uint8_t> data, bool encrypt) {
    for (std::size_t at = 0; at < data.size(); at += kBlock) {
        if (count_ == kMeshed && !MeshKey()) return false;
        InitialValue gamma = register_;
        if (gcry_cipher_encrypt(handle_.get(), gamma.data(), kBlock, nullptr, 0) != 0) return false;
        for (std::size_t i = 0; i < kBlock && at + i < data.size(); ++i) {
            const std::uint8_t before = data[at + i];
            data[at + i] = before ^ gamma[i];
            register_[i] = encrypt ? data[at + i] : before;
        }
        count_ += kBlock;
    }
    return true;
}

bool WrapBytes(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material, ByteView bytes,
               std::span<std::uint8_t> wrapped, Mac& mac) {
    const auto key = EncryptionKey(wrapping, by, material);
    const CipherHandle cipher = OpenWrapping(key);
    return cipher && Authenticate(*key, material, bytes, mac) &&
           gcry_cipher_encrypt(cipher.get(), wrapped.data(), wrapped.size(), bytes.data(), bytes.size()) == 0;
}

bool UnwrapBytes(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material, ByteView wrapped,
                 const Mac& mac, std::span<std::uint8_t> bytes) {
    const auto key = EncryptionKey(wrapping, by, material);
    const CipherHandle cipher = OpenWrapping(key);
    Mac found;
    return cipher &&
           gcry_cipher_decrypt(cipher.get(), bytes.data(), bytes.size(), wrapped.data(), wrapped.size()) == 0 &&
           Authenticate(*key, material, bytes, found) && EqualInConstantTime(found, mac);
}

std::optional<WrappedKey> WrapKey(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material,
                                  const SymmetricKey& key) {
    WrappedKey wrapped;
    const bool done = WrapBytes(wrapping, by, material, key.Bytes(), wrapped.key, wrapped.mac);
    return done ? std::optional(wrapped) : std::nullopt;
}

std::optional<SymmetricKey> UnwrapKey(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material,
                                      const WrappedKey& wrapped) {
    SymmetricKey key;
    const bool done = UnwrapBytes(wrapping, by, material, wrapped.key, wrapped.mac, key.Room());
    return done ? std::optional(key) : std::nullopt;
}

bool EqualInConstantTime(ByteView left, ByteView right) {
    unsigned difference = 0;
    for (std::size_t i = 0; i < left.size(); ++i) difference |= static_cast<unsigned>(left[i] ^ right[i]);
    return difference == 0;
}

}  // namespace softcsp
