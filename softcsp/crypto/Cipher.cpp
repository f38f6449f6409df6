#include "softcsp/crypto/Library.h"

#include "softcsp/crypto/Cipher.h"

#include <algorithm>
#include <cstring>

namespace softcsp {
namespace {

constexpr std::size_t kBlock = 8;     // bytes
constexpr std::size_t kPiece = 1024;  // bytes that a copy of a stream skips at a time

// libgcrypt's interface has a pointer to non-constant characters here, and only reads them.
char* Identifier(const ParameterSet& set) {
    return const_cast<char*>(set.identifier);
}

// A cipher of one of libgcrypt's modes with the key set; null if memory is short.
CipherHandle OpenCipher(int mode, const ParameterSet& set, const SymmetricKey& key,
                        int algorithm = GCRY_CIPHER_GOST28147) {
    gcry_cipher_hd_t handle = nullptr;
    if (!CryptoReady() || gcry_cipher_open(&handle, algorithm, mode, GCRY_CIPHER_SECURE) != 0) return nullptr;
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

std::optional<Cipher> Cipher::Create(const ParameterSet& set, const SymmetricKey& key, const InitialValue& start) {
    if (set.kind != ParameterKind::Cipher) return std::nullopt;
    Cipher cipher;
    cipher.set_ = &set;
    cipher.key_ = key;
    cipher.register_ = start;
    cipher.handle_.reset(OpenCipher(GCRY_CIPHER_MODE_CFB, set, key, GCRY_CIPHER_GOST28147_MESH).release());
    const bool ready = cipher.handle_ && gcry_cipher_setiv(cipher.handle_.get(), start.data(), start.size()) == 0;
    return ready ? std::optional(std::move(cipher)) : std::nullopt;
}

// libgcrypt cannot copy a cipher. Its key changes with the amount of data only, so that any data of the same size
// brings the copy to the same key; the register is then set.
std::optional<Cipher> Cipher::Copy() const {
    auto copy = Create(*set_, key_, register_);
    std::array<std::uint8_t, kPiece> piece{};
    while (copy && copy->count_ < count_)
        if (!copy->Encrypt(std::span(piece).first(std::min(kPiece, count_ - copy->count_)))) copy.reset();
    if (!copy || gcry_cipher_setiv(copy->handle_.get(), register_.data(), register_.size()) != 0) return std::nullopt;
    copy->register_ = register_;
    return copy;
}

bool Cipher::Run(std::span<std::uint8_t> data, bool encrypt) {
    const auto keepLastBlock = [&] {
        if (data.size() >= kBlock) std::ranges::copy(data.last(kBlock), register_.begin());
    };
    if (!encrypt) keepLastBlock();
    const auto run = encrypt ? gcry_cipher_encrypt : gcry_cipher_decrypt;
    if (!data.empty() && run(handle_.get(), data.data(), data.size(), nullptr, 0) != 0) return false;
    if (encrypt) keepLastBlock();
    count_ += data.size();
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
