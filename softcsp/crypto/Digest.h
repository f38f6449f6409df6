// The hash function GOST R 34.11-94 (RFC 5831) over data in pieces, its keyed form (HMAC, RFC 4357, 3), the key that is
// derived from a password, and random bytes.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "softcsp/common/Secret.h"
#include "softcsp/crypto/ParameterSet.h"

struct gcry_md_handle;

namespace softcsp {

// In the byte order of messages, that is the number of the standard with its lowest byte first.
using DigestValue = std::array<std::uint8_t, 32>;
using Salt = std::array<std::uint8_t, 16>;

class Digest {
  public:
    // Empty if the set is not one of kind Digest.
    static std::optional<Digest> Create(const ParameterSet& set);
    // Includes everything that was added so far.
    std::optional<Digest> Copy() const;

    void Add(ByteView data);
    // Of everything added. Data that is added afterwards is ignored.
    DigestValue Value();

  private:
    struct Close {
        void operator()(gcry_md_handle* handle) const;
    };
    explicit Digest(gcry_md_handle* handle) : handle_(handle) {}

    std::unique_ptr<gcry_md_handle, Close> handle_;
    bool ended_ = false;  // Value() was called
};

// With the default parameter set.
DigestValue DigestOf(ByteView data);
DigestValue AuthenticationCode(const SymmetricKey& key, ByteView data);

// PBKDF2 (RFC 2898) of the password's bytes, of which there may be none.
SymmetricKey DerivePasswordKey(ByteView password, const Salt& salt, std::uint32_t rounds);

enum class Randomness {
    Strong,      // session keys, ephemeral key pairs, initial values, keying material
    LastingKey,  // keys that are stored: fresh entropy is gathered for them
};
void FillRandom(std::span<std::uint8_t> bytes, Randomness randomness = Randomness::Strong);

}  // namespace softcsp
