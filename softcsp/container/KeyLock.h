// How a container keeps its private keys: each is wrapped by the container's master key, and the master key by the key
// that the password stands for. So a new password touches one record, and no password is stored or compared.
#pragma once

#include <optional>

#include "softcsp/common/Password.h"
#include "softcsp/crypto/KeyPair.h"
#include "softcsp/crypto/KeyWrap.h"
#include "softcsp/crypto/PasswordKey.h"

namespace softcsp {

struct SealedKey {
    KeyingMaterial material{};
    WrappedKey wrapped{};

    bool operator==(const SealedKey&) const = default;
};

struct PasswordLock {
    bool hasPassword = false;  // false: locked by the empty one, so nobody is asked
    Salt salt{};
    std::uint32_t rounds = 1;
    SealedKey master;

    bool operator==(const PasswordLock&) const = default;
};

constexpr std::uint32_t kMostRounds = 1'000'000;  // ten seconds; what asks for more is no container of ours

// A fresh master key. Nothing here and below when libgcrypt can't be used.
std::optional<SymmetricKey> MakeMasterKey();
std::optional<PasswordLock> LockMasterKey(const SymmetricKey& master, const Password& password);

// The key that opens the lock if the password is right; what is kept of a password that the user wants to be saved.
std::optional<SymmetricKey> OpeningKey(const PasswordLock& lock, const Password& password);
// The master key; nothing when the password was wrong.
std::optional<SymmetricKey> OpenLock(const PasswordLock& lock, const SymmetricKey& openingKey);

std::optional<SealedKey> Seal(const SymmetricKey& by, const Secret<32>& key);
std::optional<Secret<32>> Unseal(const SymmetricKey& by, const SealedKey& sealed);

}  // namespace softcsp
