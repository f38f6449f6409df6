// New containers and keys, and the authentication of a container's contents by its master key.
#pragma once

#include "softcsp/container/Container.h"

namespace softcsp {

// A new container without keys. Everything that seals or authenticates throws std::runtime_error if libgcrypt fails.
struct NewContainer {
    Container container;
    SymmetricKey master;
};
NewContainer CreateContainer(const std::wstring& name, const Password& password,
                             Protection protection = Protection::None);

// Computes the authentication code after a change.
void Authenticate(Container& container, const SymmetricKey& master);
// The same with the master key of a container without a password; false for others.
bool AuthenticateWithoutPassword(Container& container);
// True if nobody without the master key has changed the container.
bool IsAuthentic(const Container& container, const SymmetricKey& master);

// Puts the key pair into its slot, without a certificate; the caller authenticates the container.
void StoreKeyPair(Container& container, bool signatureKey, const SymmetricKey& master, const KeyPair& pair,
                  const ParameterSet& digest, bool exportable);

}  // namespace softcsp
