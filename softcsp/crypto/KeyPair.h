// Key pairs of GOST R 34.10-2001 (RFC 5832), their signatures, the verification, and key agreement VKO GOST
// R 34.10-2001 (RFC 4357, 5.2).
//
// Byte orders, as in certificates, messages and key blobs:
//   private key   the number d, lowest byte first
//   public key    the coordinates X and Y, each lowest byte first
//   digest        as Digest returns it: the number to sign with its lowest byte first
//   signature     the numbers s and r, each highest byte first. CryptoAPI uses the reverse order of the whole.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "softcsp/common/Secret.h"
#include "softcsp/crypto/Cipher.h"
#include "softcsp/crypto/Digest.h"
#include "softcsp/crypto/ParameterSet.h"

namespace softcsp {

using PrivateKey = Secret<32>;
using Signature = std::array<std::uint8_t, 64>;

class KeyPair {
  public:
    // Both need the set of a curve; empty if it is not one.
    static std::optional<KeyPair> Generate(const ParameterSet& set, Randomness randomness = Randomness::LastingKey);
    // Also empty if the number is not between zero and the order of the curve's base point.
    static std::optional<KeyPair> FromPrivate(const ParameterSet& set, const PrivateKey& key);

    const ParameterSet& Set() const { return *set_; }
    const PrivateKey& Private() const { return private_; }
    const PublicKey& Public() const { return public_; }

    // Different at each call, because a random number is part of it.
    Signature Sign(const DigestValue& digest) const;

  private:
    KeyPair(const ParameterSet& set, const PrivateKey& privateKey, const PublicKey& publicKey)
        : set_(&set), private_(privateKey), public_(publicKey) {}

    const ParameterSet* set_;  // in the constant table
    PrivateKey private_;
    PublicKey public_;
};

// True if the key is a point of the set's curve.
bool IsPublicKey(const ParameterSet& set, const PublicKey& key);

// Also false for a key that is not a point of the curve.
bool Verify(const ParameterSet& set, const PublicKey& key, const DigestValue& digest, const Signature& signature);

// Both sides compute the same key encryption key from their own private key, the other side's public key and the keying
// material. Empty if the other key is not a point of the own key's curve, or the keying material is zero.
std::optional<SymmetricKey> Agree(const KeyPair& own, const PublicKey& other, const KeyingMaterial& material);

}  // namespace softcsp
