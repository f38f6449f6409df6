#include "softcsp/container/ContainerProtection.h"

#include "softcsp/crypto/Digest.h"

namespace softcsp {
namespace {

constexpr char kCodeLabel[] = "container authentication";

// The code is keyed by a key of its own, derived from the master key, which wraps other keys.
DigestValue CodeOf(const Container& container, const SymmetricKey& master) {
    const SymmetricKey key(AuthenticationCode(master, TextBytes(kCodeLabel)));
    return AuthenticationCode(key, WriteBody(container));
}

}  // namespace

NewContainer CreateContainer(const std::wstring& name, const Password& password, Protection protection) {
    NewContainer created{{}, CreateMasterKey()};
    created.container.name = name;
    created.container.lock = LockMasterKey(created.master, password, protection);
    Authenticate(created.container, created.master);
    return created;
}

void Authenticate(Container& container, const SymmetricKey& master) {
    container.lock.code = CodeOf(container, master);
}

bool AuthenticateWithoutPassword(Container& container) {
    if (container.lock.hasPassword) return false;
    const auto opening = OpeningKey(container.lock, {});
    const auto master = opening ? OpenLock(container.lock, *opening) : std::nullopt;
    if (master) Authenticate(container, *master);
    return master.has_value();
}

bool IsAuthentic(const Container& container, const SymmetricKey& master) {
    return EqualInConstantTime(CodeOf(container, master), container.lock.code);
}

void StoreKeyPair(Container& container, bool signatureKey, const SymmetricKey& master, const KeyPair& pair,
                  const ParameterSet& digest, bool exportable) {
    container.Key(signatureKey) = ContainerKey{.curve = &pair.Set(),
                                               .digest = &digest,
                                               .exportable = exportable,
                                               .publicKey = pair.Public(),
                                               .privateKey = SealPrivateKey(master, pair.Private(), exportable),
                                               .certificate = {}};
}

}  // namespace softcsp
