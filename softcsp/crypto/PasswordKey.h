// The key that a password stands for (PBKDF2, RFC 2898, with GOST R 34.11-94).
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "softcsp/crypto/KeyAgreement.h"

namespace softcsp {

using Salt = std::array<std::uint8_t, 16>;

// Of the password's bytes, of which there may be none. Nothing when libgcrypt can't be used.
std::optional<SymmetricKey> DerivePasswordKey(ByteView password, const Salt& salt, std::uint32_t rounds);

}  // namespace softcsp
