// Random bytes from libgcrypt's generator.
#pragma once

#include <cstdint>
#include <span>

namespace softcsp {

enum class Randomness {
    Strong,      // session keys, ephemeral key pairs, initial values, keying material
    LastingKey,  // keys that are stored: fresh entropy is gathered for them
};

void FillRandom(std::span<std::uint8_t> bytes, Randomness randomness = Randomness::Strong);

}  // namespace softcsp
