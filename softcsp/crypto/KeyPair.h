// A key pair of GOST R 34.10-2001 (RFC 5832), its signatures and their verification.
//
// Byte orders, as certificates, messages and key blobs have them:
//   private key   the number d, lowest byte first
//   public key    the coordinates X and Y, each lowest byte first
//   digest        as Digest gives it: the number to sign with its lowest byte first
//   signature     the numbers s and r, each highest byte first. CryptoAPI hands the whole out in the reverse order.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "softcsp/crypto/Digest.h"
#include "softcsp/crypto/ParameterSet.h"
#include "softcsp/crypto/Secret.h"

namespace softcsp {

using PrivateKey = Secret<32>;
using PublicKey = std::array<std::uint8_t, 64>;
using Signature = std::array<std::uint8_t, 64>;

class KeyPair {
  public:
    // Both need a set of a curve; nothing when it isn't, or when libgcrypt can't be used.
    static std::optional<KeyPair> Generate(const ParameterSet& set);
    // Nothing, too, when the number isn't between zero and the order of the curve's base point.
    static std::optional<KeyPair> FromPrivate(const ParameterSet& set, const PrivateKey& key);

    const ParameterSet& Set() const { return *set_; }
    const PrivateKey& Private() const { return private_; }
    const PublicKey& Public() const { return public_; }

    // Random: another one each time.
    std::optional<Signature> Sign(const DigestValue& digest) const;

  private:
    KeyPair(const ParameterSet& set, const PrivateKey& privateKey, const PublicKey& publicKey)
        : set_(&set), private_(privateKey), public_(publicKey) {}

    const ParameterSet* set_;  // of the table, so there for good
    PrivateKey private_;
    PublicKey public_;
};

// True when the key is a point of the set's curve.
bool IsPublicKey(const ParameterSet& set, const PublicKey& key);

// False for a key that isn't one, too.
bool Verify(const ParameterSet& set, const PublicKey& key, const DigestValue& digest, const Signature& signature);

}  // namespace softcsp
