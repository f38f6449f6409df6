// A private key container as a value, and its file format. Independent of <windows.h>, so that it can be fuzzed
// natively.
//
// A file is "SPKC", the number of its format (32 bits: 2), the GOST R 34.11-94 digest of everything after the digest
// (32 bytes), the authentication code of the body (32 bytes), and the body: records of little-endian numbers and
// counted bytes in the order of the members of Container. The digest detects damage without a password. The code, keyed
// by the master key, detects every change by others and is checked when the container is unlocked. The body is read
// with every length checked whether its digest is right or not.
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
    Bytes certificate;     // DER; empty if there is none
};

struct ContainerExtension {
    std::string identifier;      // dotted
    std::uint32_t critical = 0;  // above 0: critical
    Bytes value;                 // usually DER
};

struct Container {
    std::wstring name;
    const ParameterSet* digest = &DefaultParameterSet(ParameterKind::Digest);  // for keys that are created in it
    const ParameterSet* cipher = &DefaultParameterSet(ParameterKind::Cipher);
    PasswordLock lock;
    std::optional<ContainerKey> exchange;
    std::optional<ContainerKey> signature;
    std::vector<ContainerExtension> extensions;
    std::uint32_t reportedDamage = 0;  // bits added to the result of an integrity check, for demonstrations

    std::optional<ContainerKey>& Key(bool signatureKey) { return signatureKey ? signature : exchange; }
    const std::optional<ContainerKey>& Key(bool signatureKey) const { return signatureKey ? signature : exchange; }
};

constexpr std::size_t kLongestContainerName = 260;  // characters
constexpr std::size_t kMostExtensions = 100'000;    // far more than fit on a medium

// The bytes of the file.
Bytes WriteContainer(const Container& container);
// Empty if the bytes are not a container.
std::optional<Container> ReadContainer(ByteView bytes);
// True if the digest is right.
bool IsIntact(ByteView bytes);

// What the authentication code is computed from.
Bytes WriteBody(const Container& container);

}  // namespace softcsp
