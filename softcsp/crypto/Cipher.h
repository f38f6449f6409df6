// The cipher GOST 28147-89: in feedback mode with key meshing (RFC 4357, 2.3), and for wrapping keys by other keys
// (RFC 4357, 6.1 to 6.5) with the default cipher set.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "softcsp/common/Secret.h"
#include "softcsp/crypto/ParameterSet.h"

struct gcry_cipher_handle;

namespace softcsp {

using InitialValue = std::array<std::uint8_t, 8>;

// A stream that is encrypted or decrypted piece by piece.
class Cipher {
  public:
    // Empty if the set is not of kind Cipher or libgcrypt cannot be used.
    static std::optional<Cipher> Create(const ParameterSet& set, const SymmetricKey& key, const InitialValue& start);
    // Continues where this one is now. Takes as long as the encryption of what this one has processed.
    std::optional<Cipher> Copy() const;

    // In place. Every call but the last must pass whole blocks of 8 bytes.
    bool Encrypt(std::span<std::uint8_t> data) { return Run(data, true); }
    bool Decrypt(std::span<std::uint8_t> data) { return Run(data, false); }

  private:
    struct Close {
        void operator()(gcry_cipher_handle* handle) const;
    };
    using Handle = std::unique_ptr<gcry_cipher_handle, Close>;

    Cipher() = default;
    bool Run(std::span<std::uint8_t> data, bool encrypt);

    const ParameterSet* set_ = nullptr;
    SymmetricKey key_;
    InitialValue register_{};  // the last block of encrypted data
    std::size_t count_ = 0;    // bytes processed
    Handle handle_;
};

// A number other than zero, lowest byte first; random for each message and not secret.
using KeyingMaterial = std::array<std::uint8_t, 8>;
using Mac = std::array<std::uint8_t, 4>;

enum class Wrapping {
    Plain,        // by the key encryption key itself: 6.1, 6.2
    Diversified,  // by a key derived from it and the keying material: 6.3, 6.4
};

struct WrappedKey {
    std::array<std::uint8_t, 32> key;  // encrypted
    Mac mac;                           // of the key before encryption

    bool operator==(const WrappedKey&) const = default;
};

std::optional<WrappedKey> WrapKey(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material,
                                  const SymmetricKey& key);
// Empty unless everything is what the key was wrapped with.
std::optional<SymmetricKey> UnwrapKey(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material,
                                      const WrappedKey& wrapped);

// The same for any number of whole blocks; both spans have the same size.
bool WrapBytes(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material, ByteView bytes,
               std::span<std::uint8_t> wrapped, Mac& mac);
bool UnwrapBytes(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material, ByteView wrapped,
                 const Mac& mac, std::span<std::uint8_t> bytes);

// Takes the same time wherever the bytes differ. Both have the same size.
bool EqualInConstantTime(ByteView left, ByteView right);

}  // namespace softcsp
