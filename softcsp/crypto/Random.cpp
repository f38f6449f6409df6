#include "softcsp/crypto/Library.h"

#include "softcsp/crypto/Random.h"

namespace softcsp {

bool FillRandom(std::span<std::uint8_t> bytes, Randomness randomness) {
    if (!CryptoReady()) return false;
    gcry_randomize(bytes.data(), bytes.size(),
                   randomness == Randomness::LastingKey ? GCRY_VERY_STRONG_RANDOM : GCRY_STRONG_RANDOM);
    return true;
}

}  // namespace softcsp
