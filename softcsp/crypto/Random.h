// Random bytes of libgcrypt's generator.
#pragma once

#include <cstdint>
#include <span>

namespace softcsp {

enum class Randomness {
    Strong,      // keys of a session, initial values, keying material
    LastingKey,  // keys that are kept: fresh entropy is gathered for them
};

// False when libgcrypt can't be used; the bytes are as they were then.
bool FillRandom(std::span<std::uint8_t> bytes, Randomness randomness = Randomness::Strong);

}  // namespace softcsp
