// Key agreement VKO GOST R 34.10-2001 (RFC 4357, 5.2): both sides get the same key encryption key from their own
// private key, the other's public key and some user keying material that isn't secret.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "softcsp/crypto/KeyPair.h"

namespace softcsp {

// A number other than zero, lowest byte first; random for each message.
using KeyingMaterial = std::array<std::uint8_t, 8>;
using SymmetricKey = Secret<32>;

// Nothing when the other's key isn't a point of the own key's curve, or the keying material is zero.
std::optional<SymmetricKey> Agree(const KeyPair& own, const PublicKey& other, const KeyingMaterial& material);

}  // namespace softcsp
