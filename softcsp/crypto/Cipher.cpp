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

// A cipher of one of libgcrypt's modes with the key set.
CipherHandle OpenCipher(int mode, const ParameterSet& set, const SymmetricKey& key,
                        int algorithm = GCRY_CIPHER_GOST28147) {
    PrepareCrypto();
    gcry_cipher_hd_t handle = nullptr;
    CheckCrypto(gcry_cipher_open(&handle, algorithm, mode, GCRY_CIPHER_SECURE));
    CipherHandle cipher(handle);
    CheckCrypto(gcry_cipher_ctl(handle, GCRYCTL_SET_SBOX, Identifier(set), 0));
    CheckCrypto(gcry_cipher_setkey(handle, key.Bytes().data(), key.Bytes().size()));
    return cipher;
}

// The keying material is the initial value.
Mac Authenticate(const SymmetricKey& by, const KeyingMaterial& material, ByteView bytes) {
    const MacHandle handle = OpenMac(GCRY_MAC_GOST28147_IMIT, by);
    char* const set = Identifier(DefaultParameterSet(ParameterKind::Cipher));
    CheckCrypto(gcry_mac_ctl(handle.get(), GCRYCTL_SET_SBOX, set, 0));
    CheckCrypto(gcry_mac_setiv(handle.get(), material.data(), material.size()));
    return ReadMac<Mac>(handle, bytes);
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
SymmetricKey Diversify(SymmetricKey key, const KeyingMaterial& material) {
    for (const std::uint8_t choice : material) {
        const Secret<kBlock> start = ChosenSums(key, choice);
        const CipherHandle cipher = OpenCipher(GCRY_CIPHER_MODE_CFB, DefaultParameterSet(ParameterKind::Cipher), key);
        CheckCrypto(gcry_cipher_setiv(cipher.get(), start.Bytes().data(), start.Bytes().size()));
        CheckCrypto(gcry_cipher_encrypt(cipher.get(), key.Room().data(), key.Room().size(), nullptr, 0));
    }
    return key;
}

// The key that wraps, and a cipher with it.
struct Wrapper {
    Wrapper(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material)
        : key(wrapping == Wrapping::Diversified ? Diversify(by, material) : by) {}

    SymmetricKey key;
    CipherHandle cipher = OpenCipher(GCRY_CIPHER_MODE_ECB, DefaultParameterSet(ParameterKind::Cipher), key);
};

}  // namespace

void CloseCipher::operator()(gcry_cipher_handle* handle) const {
    gcry_cipher_close(handle);
}

std::optional<Cipher> Cipher::Create(const ParameterSet& set, const SymmetricKey& key, const InitialValue& start) {
    if (set.kind != ParameterKind::Cipher) return std::nullopt;
    Cipher cipher;
    cipher.set_ = &set;
    cipher.key_ = key;
    cipher.register_ = start;
    cipher.handle_ = OpenCipher(GCRY_CIPHER_MODE_CFB, set, key, GCRY_CIPHER_GOST28147_MESH);
    CheckCrypto(gcry_cipher_setiv(cipher.handle_.get(), start.data(), start.size()));
    return cipher;
}

// libgcrypt cannot copy a cipher. Its key changes with the amount of data only, so that any data of the same size
// brings the copy to the same key; the register is then set.
Cipher Cipher::Copy() const {
    Cipher copy = *Create(*set_, key_, register_);
    std::array<std::uint8_t, kPiece> piece{};
    while (copy.count_ < count_) copy.Encrypt(std::span(piece).first(std::min(kPiece, count_ - copy.count_)));
    CheckCrypto(gcry_cipher_setiv(copy.handle_.get(), register_.data(), register_.size()));
    copy.register_ = register_;
    return copy;
}

void Cipher::Run(std::span<std::uint8_t> data, bool encrypt) {
    const auto keepLastBlock = [&] {
        if (data.size() >= kBlock) std::ranges::copy(data.last(kBlock), register_.begin());
    };
    if (!encrypt) keepLastBlock();
    const auto run = encrypt ? gcry_cipher_encrypt : gcry_cipher_decrypt;
    if (!data.empty()) CheckCrypto(run(handle_.get(), data.data(), data.size(), nullptr, 0));
    if (encrypt) keepLastBlock();
    count_ += data.size();
}

void WrapBytes(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material, ByteView bytes,
               std::span<std::uint8_t> wrapped, Mac& mac) {
    const Wrapper wrapper(wrapping, by, material);
    mac = Authenticate(wrapper.key, material, bytes);
    CheckCrypto(gcry_cipher_encrypt(wrapper.cipher.get(), wrapped.data(), wrapped.size(), bytes.data(), bytes.size()));
}

bool UnwrapBytes(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material, ByteView wrapped,
                 const Mac& mac, std::span<std::uint8_t> bytes) {
    const Wrapper wrapper(wrapping, by, material);
    CheckCrypto(gcry_cipher_decrypt(wrapper.cipher.get(), bytes.data(), bytes.size(), wrapped.data(), wrapped.size()));
    return EqualInConstantTime(Authenticate(wrapper.key, material, bytes), mac);
}

WrappedKey WrapKey(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material, const SymmetricKey& key) {
    WrappedKey wrapped;
    WrapBytes(wrapping, by, material, key.Bytes(), wrapped.key, wrapped.mac);
    return wrapped;
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
