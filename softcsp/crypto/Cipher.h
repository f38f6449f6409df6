// The cipher GOST 28147-89 in feedback mode, with the key meshing that its parameter sets ask for (RFC 4357, 2.3).
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "softcsp/crypto/KeyAgreement.h"

struct gcry_cipher_handle;

namespace softcsp {

using InitialValue = std::array<std::uint8_t, 8>;

class Cipher {
  public:
    // Nothing when the set isn't of kind Cipher or libgcrypt can't be used.
    static std::optional<Cipher> Create(const ParameterSet& set, const SymmetricKey& key, const InitialValue& start);

    // In place, of as many bytes as there are; each call goes on where the last one stopped, so all but the last must
    // be whole blocks of 8 bytes.
    bool Encrypt(std::span<std::uint8_t> data);
    bool Decrypt(std::span<std::uint8_t> data);

  private:
    struct Close {
        void operator()(gcry_cipher_handle* handle) const;
    };
    explicit Cipher(gcry_cipher_handle* handle) : handle_(handle) {}

    std::unique_ptr<gcry_cipher_handle, Close> handle_;
};

}  // namespace softcsp
