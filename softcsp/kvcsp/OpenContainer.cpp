#include "softcsp/kvcsp/OpenContainer.h"

#include <winscard.h>

#include "softcsp/container/SavedPasswords.h"
#include "softcsp/dialogs/Dialogs.h"
#include "softcsp/kvcsp/Values.h"

namespace softcsp {
namespace {

constexpr int kMostTries = 3;

}  // namespace

DWORD OpenContainer::Open(const ContainerStore& store, const ContainerPlace& place,
                          std::optional<OpenContainer>& opened) {
    OpenContainer container(store, place);
    if (const DWORD result = store.Load(place, container.container_)) return result;
    container.place_.name = container.container_.name;  // in the letter case that it was made with
    SavedPasswords(store).NoteCarrier(place.carrier);
    opened = std::move(container);
    return ERROR_SUCCESS;
}

DWORD OpenContainer::Create(const ContainerStore& store, const ContainerPlace& place, const Password& password,
                            std::optional<OpenContainer>& opened) {
    auto made = MakeContainer(place.name, password);
    if (!made) return Code(NTE_FAIL);
    if (const DWORD result = store.Create(place, made->container)) return result;
    OpenContainer container(store, place);
    container.container_ = std::move(made->container);
    container.master_ = made->master;
    SavedPasswords(store).NoteCarrier(place.carrier);
    opened = std::move(container);
    return ERROR_SUCCESS;
}

// The container as it is now. A lock that another program has changed must be opened anew: its master key may be
// another one.
DWORD OpenContainer::Refresh() {
    Container fresh;
    if (const DWORD result = store_.Load(place_, fresh)) return result;
    if (fresh.lock != container_.lock) master_.reset();
    container_ = std::move(fresh);
    return ERROR_SUCCESS;
}

bool OpenContainer::TryKey(const std::optional<SymmetricKey>& openingKey) {
    if (openingKey) master_ = OpenLock(container_.lock, *openingKey);
    return master_.has_value();
}

bool OpenContainer::TryWithoutAsking() {
    if (!container_.lock.hasPassword) return TryKey(OpeningKey(container_.lock, {}));
    if (!given_.Empty()) return TryKey(OpeningKey(container_.lock, given_));
    const SavedPasswords saved(store_);
    const auto openingKey = saved.Find(place_);
    if (!openingKey) return false;
    if (TryKey(openingKey)) return true;
    saved.Forget(place_);  // of a password that was changed since
    return false;
}

DWORD OpenContainer::AskForPassword(const Asking& asking) {
    PasswordQuestion question{.container = place_.QualifiedName()};
    for (int tries = 0; tries < kMostTries; ++tries) {
        PasswordAnswer answer;
        if (const DWORD result = AskPassword(asking.window, question, answer)) return result;
        const auto openingKey = OpeningKey(container_.lock, answer.password);
        if (TryKey(openingKey)) {
            if (answer.save) SavedPasswords(store_).Save(place_, *openingKey);  // unsaved, it is asked for again
            return ERROR_SUCCESS;
        }
        question.refused = true;
    }
    return Code(SCARD_W_WRONG_CHV);
}

DWORD OpenContainer::Unlock(const Asking& asking) {
    if (master_) return ERROR_SUCCESS;
    if (const DWORD result = Refresh()) return result;
    if (TryWithoutAsking()) return ERROR_SUCCESS;
    if (!container_.lock.hasPassword) return Code(NTE_KEYSET_ENTRY_BAD);
    if (!given_.Empty()) return Code(SCARD_W_WRONG_CHV);
    return asking.silent ? Code(NTE_SILENT_CONTEXT) : AskForPassword(asking);
}

DWORD OpenContainer::PrivateKey(bool signatureKey, const Asking& asking, std::optional<KeyPair>& pair) {
    if (!container_.Key(signatureKey)) return Code(NTE_NO_KEY);
    auto& ready = pairs_[signatureKey];
    if (!ready) {
        if (const DWORD result = Unlock(asking)) return result;
        const auto& key = container_.Key(signatureKey);
        if (!key) return Code(NTE_NO_KEY);
        const auto secret = Unseal(*master_, key->privateKey);
        ready = secret ? KeyPair::FromPrivate(*key->curve, *secret) : std::nullopt;
        if (!ready) return Code(NTE_KEYSET_ENTRY_BAD);
    }
    pair = ready;
    return ERROR_SUCCESS;
}

DWORD OpenContainer::AddKeyPair(bool signatureKey, const Asking& asking, const KeyPair& pair,
                                const ParameterSet& digest, bool exportable) {
    if (const DWORD result = Refresh()) return result;
    if (container_.Key(signatureKey)) return Code(NTE_EXISTS);
    if (const DWORD result = Unlock(asking)) return result;
    const DWORD result = Modify([&](Container& container) {
        if (container.lock != container_.lock) return Code(NTE_BAD_KEYSET);
        if (container.Key(signatureKey)) return Code(NTE_EXISTS);
        const bool stored = StoreKeyPair(container, signatureKey, *master_, pair, digest, exportable);
        return stored ? ERROR_SUCCESS : Code(NTE_FAIL);
    });
    if (result == ERROR_SUCCESS) pairs_[signatureKey] = pair;
    return result;
}

DWORD OpenContainer::ChangePassword(const Asking& asking) {
    if (asking.silent) return Code(NTE_SILENT_CONTEXT);
    PasswordChange change;
    const bool hasOld = container_.lock.hasPassword;
    if (const DWORD result = AskPasswordChange(asking.window, place_.QualifiedName(), hasOld, change)) return result;
    const DWORD result = Modify([&](Container& container) {
        const auto oldKey = OpeningKey(container.lock, change.old);
        const auto master = oldKey ? OpenLock(container.lock, *oldKey) : std::nullopt;
        if (!master) return Code(SCARD_W_WRONG_CHV);
        const auto lock = LockMasterKey(*master, change.next);
        if (!lock) return Code(NTE_FAIL);
        container.lock = *lock;
        master_ = master;
        return DWORD{ERROR_SUCCESS};
    });
    if (result == ERROR_SUCCESS) SavedPasswords(store_).Forget(place_);
    return result;
}

DWORD OpenContainer::Remove(const Asking& asking) {
    Bytes bytes;
    if (const DWORD result = store_.LoadBytes(place_, bytes)) return result;
    if (container_.lock.hasPassword && IsIntact(bytes))  // what is damaged may have no right password any more
        if (const DWORD result = Unlock(asking)) return result;
    if (const DWORD result = store_.Remove(place_)) return result;
    SavedPasswords(store_).Forget(place_);
    return ERROR_SUCCESS;
}

DWORD OpenContainer::Integrity(DWORD& damage) const {
    Bytes bytes;
    if (const DWORD result = store_.LoadBytes(place_, bytes)) return result;
    damage = container_.reportedDamage | (IsIntact(bytes) ? 0 : 1);
    return ERROR_SUCCESS;
}

}  // namespace softcsp
