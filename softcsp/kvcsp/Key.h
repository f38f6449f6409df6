// What a key handle stands for.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <optional>

#include "softcsp/crypto/Cipher.h"
#include "softcsp/crypto/KeyPair.h"
#include "softcsp/crypto/KeyWrap.h"
#include "softcsp/encoding/PublicKeyEncoding.h"

namespace softcsp {

enum class KeyKind {
    User,       // a key pair of the container
    Ephemeral,  // a key pair of the context alone; without `pair` while it isn't complete
    Public,     // somebody's public key
    Session,    // a symmetric key
    Agreement,  // what both sides of a key agreement have in common
};

// All that a duplicate takes over.
struct KeyData {
    KeyKind kind = KeyKind::Session;
    ALG_ID algorithm = 0;
    bool exportable = false;
    bool signatureKey = false;           // User: which of the two
    PublicKeyData publicKey;             // User, Ephemeral, Public; Agreement: the other side's
    std::optional<KeyPair> pair;         // Ephemeral; Agreement: the own side's
    std::optional<SymmetricKey> secret;  // Session; Agreement: under the standing keying material
    const ParameterSet* cipher = &DefaultParameterSet(ParameterKind::Cipher);  // Session, Agreement
    InitialValue start{};                                                      // Session, Agreement: for encryption
    Wrapping wrapping = Wrapping::Plain;  // Session, Agreement: how other keys are wrapped by it
};

struct Key : KeyData {
    Key() = default;
    explicit Key(const KeyData& data) : KeyData(data) {}

    // A stream that was begun and not ended yet; a duplicate begins anew.
    std::optional<Cipher> stream;
};

}  // namespace softcsp
