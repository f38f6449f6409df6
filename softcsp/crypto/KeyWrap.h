// Keys wrapped by other keys with the cipher GOST 28147-89 (RFC 4357, 6.1 to 6.5), under the default cipher set.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "softcsp/crypto/KeyAgreement.h"

namespace softcsp {

enum class Wrapping {
    Plain,        // the key encryption key as it is: 6.1, 6.2
    Diversified,  // one made of it and the keying material: 6.3, 6.4
};

struct WrappedKey {
    std::array<std::uint8_t, 32> key;  // encrypted
    std::array<std::uint8_t, 4> mac;   // of the key in the clear

    bool operator==(const WrappedKey&) const = default;
};

std::optional<WrappedKey> WrapKey(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material,
                                  const SymmetricKey& key);

// Nothing when any of it isn't what the key was wrapped with; which part, and how much of it, can't be told.
std::optional<SymmetricKey> UnwrapKey(Wrapping wrapping, const SymmetricKey& by, const KeyingMaterial& material,
                                      const WrappedKey& wrapped);

// The key encryption key that diversified wrapping takes in place of the given one (6.5).
std::optional<SymmetricKey> DiversifyKey(const SymmetricKey& key, const KeyingMaterial& material);

}  // namespace softcsp
