// A private key container as a value, and its form on disk.
//
// On disk: "SPKC", the format's number (32 bits), the GOST R 34.11-94 digest of everything behind it (32 bytes), then
// the body: records of little-endian numbers and counted bytes in the order of the members here. Bodies are read with
// every length checked, whether their digest is right or not; damage that leaves the body readable is told by IsIntact.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "softcsp/common/Bytes.h"
#include "softcsp/container/KeyLock.h"
#include "softcsp/crypto/ParameterSet.h"

namespace softcsp {

struct ContainerKey {
    const ParameterSet* curve = nullptr;  // of kind Signature or Exchange
    const ParameterSet* digest = nullptr;
    bool exportable = false;
    PublicKey publicKey{};
    SealedKey privateKey;  // by the master key
    Bytes certificate;     // DER; empty when there is none
};

struct ContainerExtension {
    std::string identifier;      // dotted
    std::uint32_t critical = 0;  // above 0: critical
    Bytes value;                 // DER, as a rule
};

struct Container {
    std::wstring name;
    const ParameterSet* digest = &DefaultParameterSet(ParameterKind::Digest);  // for what is made in it
    const ParameterSet* cipher = &DefaultParameterSet(ParameterKind::Cipher);
    PasswordLock lock;
    std::optional<ContainerKey> exchange;
    std::optional<ContainerKey> signature;
    std::vector<ContainerExtension> extensions;
    std::uint32_t reportedDamage = 0;  // bits added to what a check of the integrity finds, for demonstrations

    std::optional<ContainerKey>& Key(bool signatureKey) { return signatureKey ? signature : exchange; }
    const std::optional<ContainerKey>& Key(bool signatureKey) const { return signatureKey ? signature : exchange; }
};

constexpr std::size_t kLongestContainerName = 260;  // characters
constexpr std::size_t kMostExtensions = 100'000;    // far more than a medium holds

// An empty container whose keys the password will lock. Nothing when libgcrypt can't be used.
struct NewContainer {
    Container container;
    SymmetricKey master;
};
std::optional<NewContainer> MakeContainer(const std::wstring& name, const Password& password);

// The file's bytes; empty when libgcrypt can't be used.
Bytes WriteContainer(const Container& container);
// Nothing when the bytes are no container.
std::optional<Container> ReadContainer(ByteView bytes);
// True when the digest fits.
bool IsIntact(ByteView bytes);

// Puts the key pair, sealed, into its slot; a certificate that was there goes. False when it can't be sealed.
bool StoreKeyPair(Container& container, bool signatureKey, const SymmetricKey& master, const KeyPair& pair,
                  const ParameterSet& digest, bool exportable);

}  // namespace softcsp
