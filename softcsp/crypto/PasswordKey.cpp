#include "softcsp/crypto/Library.h"

#include "softcsp/crypto/PasswordKey.h"

namespace softcsp {

std::optional<SymmetricKey> DerivePasswordKey(ByteView password, const Salt& salt, std::uint32_t rounds) {
    SymmetricKey key;
    const std::uint8_t none = 0;  // the library wants an address even where there are no bytes
    const auto room = key.Room();
    if (!CryptoReady() ||
        gcry_kdf_derive(password.empty() ? &none : password.data(), password.size(), GCRY_KDF_PBKDF2,
                        GCRY_MD_GOSTR3411_CP, salt.data(), salt.size(), rounds, room.size(), room.data()) != 0)
        return std::nullopt;
    return key;
}

}  // namespace softcsp
