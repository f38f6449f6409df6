// What doesn't fit between the certificates in the stores and the containers: found from lists of both, which the
// caller has read.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "console/Session.h"
#include "csp/CryptoValues.h"
#include "csp/KeyLink.h"
#include "framework/Handles.h"

// A key in a container. `publicKey`: the bits of its public key; empty when it can't be read.
struct HeldKey {
    DWORD keySpec;
    Bytes publicKey;
    UniqueCertificate certificate;  // stored with the key; may be empty
};

// `names`: all names by which a link may name the container; the first one is shown.
struct HeldContainer {
    ContainerPlace place;
    std::vector<std::wstring> names;
    std::vector<HeldKey> keys;
};

// A certificate in a store of the user or the computer.
struct StoredCertificate {
    KeySet keySet;
    std::wstring store;
    UniqueCertificate certificate;
    std::optional<KeyLink> link;
};

enum class Mismatch {
    NoContainer,        // the link's container isn't there
    OtherKeyLinked,     // the link's container has another key
    OtherKeyHeld,       // the container has the certificate beside another key
    NotInStore,         // no store has the container's certificate
    NoLink,             // a container has the key, but the certificate has no link
    SeveralContainers,  // several containers have the key
};

// A key of a container in the list.
struct KeyPlace {
    std::size_t container;  // position
    DWORD keySpec;

    bool operator==(const KeyPlace&) const = default;
};

enum class Repair { None, Link, Install };

struct Finding {
    Mismatch mismatch;
    const CERT_CONTEXT* certificate;  // owned by the lists
    const StoredCertificate* stored;  // nullptr for a container's certificate
    std::vector<KeyPlace> keys;       // that the finding is about, or that have the certificate's key
    Repair repair = Repair::None;     // when it is certain: `keys` has exactly the key to link to
};

// What a link leads to that names none of the listed containers.
enum class LinkTarget { Missing, SameKey, OtherKey, Unknown };
using FollowLink = std::function<LinkTarget(const KeyLink& link, const CERT_CONTEXT& certificate)>;

// Findings of stored certificates first, in their order, then of containers, in theirs. Each certificate whose link
// names none of the containers is followed once.
std::vector<Finding> FindMismatches(const std::vector<HeldContainer>& containers,
                                    const std::vector<StoredCertificate>& certificates, const FollowLink& follow);
