// How a container protects its private keys: each is wrapped by the container's master key, and the master key by an
// opening key. The opening key is derived from the password, or is random and protected by the system if there is no
// password. So a new password changes one record, and no password is stored or compared.
#pragma once

#include <optional>

#include "softcsp/common/Secret.h"
#include "softcsp/crypto/KeyPair.h"

namespace softcsp {

struct SealedKey {
    KeyingMaterial material{};
    WrappedKey wrapped{};
    // Wrapped together with a private key; the master key has none. Bit 0 of the first byte: the key may be exported.
    std::optional<std::array<std::uint8_t, 8>> attributes;

    bool operator==(const SealedKey&) const = default;
};

struct PasswordLock {
    bool hasPassword = false;
    Salt salt{};
    std::uint32_t rounds = 1;
    Bytes protectedKey;  // the opening key, protected by the system; if empty, it is derived from the password
    SealedKey master;
    DigestValue code{};  // authenticates the rest of the container by the master key
};

// For whom the system protects the opening key of a container without a password.
enum class Protection { None, User, Computer };

// The system's data protection: only the same user or the same computer can unprotect the key, with the same entropy.
// Both fail if the system does.
bool ProtectKey(const SymmetricKey& key, ByteView entropy, bool forTheComputer, Bytes& protectedKey);
std::optional<SymmetricKey> UnprotectKey(ByteView protectedKey, ByteView entropy);

// Whether this machine accepts a container that asks for so many rounds: at most ten times as many as take 200 ms.
bool AcceptsRounds(std::uint32_t rounds);

SymmetricKey CreateMasterKey();
// `protection` is used without a password only. Throws std::runtime_error if the system does not protect the key.
PasswordLock LockMasterKey(const SymmetricKey& master, const Password& password, Protection protection);

// The key that opens the lock if the password is right. It is what is stored if the user saves the password. Empty if
// it is protected and the system does not unprotect it.
std::optional<SymmetricKey> OpeningKey(const PasswordLock& lock, const Password& password);
// The master key; empty if the opening key is wrong.
std::optional<SymmetricKey> OpenLock(const PasswordLock& lock, const SymmetricKey& openingKey);

SealedKey SealPrivateKey(const SymmetricKey& master, const PrivateKey& key, bool exportable);
// Empty if the key or its attributes were changed.
std::optional<PrivateKey> Unseal(const SymmetricKey& master, const SealedKey& sealed);
// Also empty if the key has another attribute than `exportable`.
std::optional<PrivateKey> UnsealPrivateKey(const SymmetricKey& master, const SealedKey& sealed, bool exportable);

}  // namespace softcsp
