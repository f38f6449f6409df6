#include "softcsp/kvcsp/OpenContainer.h"

#include <winscard.h>

#include "softcsp/container/SavedPasswords.h"
#include "softcsp/dialogs/Dialogs.h"
#include "softcsp/kvcsp/ParameterSets.h"

namespace softcsp {
namespace {

constexpr int kMostTries = 3;

}  // namespace

DWORD OpenContainer::Open(const ContainerStore& store, const ContainerPlace& place,
                          std::optional<OpenContainer>& opened) {
    OpenContainer container(store, place);
    if (const DWORD result = container.Refresh()) return result;
    container.place_.name = container.container_.name;  // in the letter case that it was created with
    SavedPasswords(store).AddCarrier(place.carrier);
    opened = std::move(container);
    return ERROR_SUCCESS;
}

DWORD OpenContainer::Create(const ContainerStore& store, const ContainerPlace& place, const Password& password,
                            std::optional<OpenContainer>& opened) {
    auto created = CreateContainer(place.name, password, store.ProtectionOf(place));
    if (!created) return Code(NTE_FAIL);
    if (const DWORD result = store.Create(place, created->container)) return result;
    OpenContainer container(store, place);
    container.container_ = std::move(created->container);
    container.stamp_ = store.Stamp(place);
    container.master_ = created->master;
    SavedPasswords(store).AddCarrier(place.carrier);
    opened = std::move(container);
    return ERROR_SUCCESS;
}

DWORD OpenContainer::Refresh() {
    const FileStamp stamp = store_.Stamp(place_);
    if (stamp == stamp_ && stamp.size != 0) return ERROR_SUCCESS;
    Container fresh;
    if (const DWORD result = store_.Load(place_, fresh)) return result;
    // A lock that another program has changed is opened again: the master key may be another one.
    if (fresh.lock.master != container_.lock.master) {
        master_.reset();
        for (auto& pair : pairs_) pair.reset();
    }
    container_ = std::move(fresh);
    stamp_ = stamp;
    return master_ ? CheckAuthentic() : ERROR_SUCCESS;
}

DWORD OpenContainer::CheckAuthentic() {
    if (IsAuthentic(container_, *master_)) return ERROR_SUCCESS;
    master_.reset();
    return Code(NTE_KEYSET_ENTRY_BAD);
}

bool OpenContainer::TryKey(const std::optional<SymmetricKey>& openingKey) {
    if (openingKey) master_ = OpenLock(container_.lock, *openingKey);
    return master_.has_value();
}

bool OpenContainer::TryWithoutAsking() {
    if (!container_.lock.hasPassword) return TryKey(OpeningKey(container_.lock, {}));
    if (!given_.Empty()) {
        if (refused_ == container_.lock.master) return false;
        const bool opened = TryKey(OpeningKey(container_.lock, given_));
        if (!opened) refused_ = container_.lock.master;
        return opened;
    }
    const SavedPasswords saved(store_);
    const auto openingKey = saved.Find(place_);
    if (!openingKey) return false;
    if (TryKey(openingKey)) return true;
    saved.Remove(place_);  // the password was changed since it was saved
    return false;
}

DWORD OpenContainer::AskForPassword(const Prompt& prompt) {
    PasswordQuestion question{.container = place_.QualifiedName()};
    for (int tries = 0; tries < kMostTries; ++tries) {
        PasswordAnswer answer;
        if (const DWORD result = prompt.Show([&](HWND owner) { return AskPassword(owner, question, answer); }))
            return result;
        if (const DWORD result = Refresh()) return result;
        if (master_) return ERROR_SUCCESS;  // another thread has unlocked the container meanwhile
        const auto openingKey = OpeningKey(container_.lock, answer.password);
        if (TryKey(openingKey)) {
            // If the password cannot be saved, it is asked again the next time.
            if (answer.save) SavedPasswords(store_).Save(place_, *openingKey);
            return ERROR_SUCCESS;
        }
        question.refused = true;
    }
    return Code(SCARD_W_WRONG_CHV);
}

DWORD OpenContainer::Unlock(const Prompt& prompt) {
    if (const DWORD result = Refresh()) return result;
    if (master_) return ERROR_SUCCESS;
    if (!TryWithoutAsking()) {
        if (!container_.lock.hasPassword) return Code(NTE_KEYSET_ENTRY_BAD);
        if (!given_.Empty()) return Code(SCARD_W_WRONG_CHV);
        if (const DWORD result = AskForPassword(prompt)) return result;
    }
    return CheckAuthentic();
}

DWORD OpenContainer::PrivateKey(bool signatureKey, const Prompt& prompt, std::optional<KeyPair>& pair) {
    if (!container_.Key(signatureKey)) return Code(NTE_NO_KEY);
    auto& unsealed = pairs_[signatureKey];
    if (!unsealed) {
        if (const DWORD result = Unlock(prompt)) return result;
        const auto& key = container_.Key(signatureKey);
        if (!key) return Code(NTE_NO_KEY);
        const auto secret = UnsealPrivateKey(*master_, key->privateKey, key->exportable);
        auto found = secret && MayUse(*key->curve) ? KeyPair::FromPrivate(*key->curve, *secret) : std::nullopt;
        if (!found || found->Public() != key->publicKey) return Code(NTE_KEYSET_ENTRY_BAD);
        unsealed = std::move(found);
    }
    pair = unsealed;
    return ERROR_SUCCESS;
}

DWORD OpenContainer::Modify(const Prompt& prompt, const ContainerStore::Change& change) {
    if (const DWORD result = Unlock(prompt)) return result;
    const auto changeAuthentically = [&](Container& fresh) {
        if (fresh.lock.master != container_.lock.master) return Code(NTE_BAD_KEYSET);
        if (!IsAuthentic(fresh, *master_)) return Code(NTE_KEYSET_ENTRY_BAD);
        if (const DWORD result = change(fresh)) return result;
        return Authenticate(fresh, *master_) ? ERROR_SUCCESS : Code(NTE_FAIL);
    };
    return store_.Modify(place_, container_, changeAuthentically, &stamp_);
}

DWORD OpenContainer::AddKeyPair(bool signatureKey, const Prompt& prompt, const KeyPair& pair,
                                const ParameterSet& digest, bool exportable) {
    const DWORD result = Modify(prompt, [&](Container& container) {
        if (container.Key(signatureKey)) return Code(NTE_EXISTS);
        const bool stored = StoreKeyPair(container, signatureKey, *master_, pair, digest, exportable);
        return stored ? ERROR_SUCCESS : Code(NTE_FAIL);
    });
    if (result == ERROR_SUCCESS) pairs_[signatureKey] = pair;
    return result;
}

DWORD OpenContainer::ChangePassword(const Prompt& prompt) {
    PasswordChange change;
    if (const DWORD result = Refresh()) return result;
    const DWORD asked = prompt.Show([&, hasOld = container_.lock.hasPassword](HWND owner) {
        return AskPasswordChange(owner, place_.QualifiedName(), hasOld, change);
    });
    if (asked != ERROR_SUCCESS) return asked;
    if (const DWORD result = Refresh()) return result;
    const auto oldKey = OpeningKey(container_.lock, change.old);
    const auto master = oldKey ? OpenLock(container_.lock, *oldKey) : std::nullopt;
    if (!master) return Code(SCARD_W_WRONG_CHV);
    const auto lock = LockMasterKey(*master, change.next, store_.ProtectionOf(place_));
    if (!lock) return Code(NTE_FAIL);
    master_ = master;
    if (const DWORD result = CheckAuthentic()) return result;
    const DWORD result = Modify(prompt, [&](Container& container) {
        container.lock = *lock;
        return DWORD{ERROR_SUCCESS};
    });
    if (result == ERROR_SUCCESS) SavedPasswords(store_).Remove(place_);
    return result;
}

DWORD OpenContainer::Remove(const Prompt& prompt) {
    Bytes bytes;
    if (const DWORD result = store_.LoadBytes(place_, bytes)) return result;
    if (container_.lock.hasPassword && IsIntact(bytes)) {  // in a damaged container no password may be right any more
        const DWORD result = Unlock(prompt);
        if (result != ERROR_SUCCESS && result != Code(NTE_KEYSET_ENTRY_BAD)) return result;
    }
    const auto isTheSame = [&](ByteView now) {
        const auto read = ReadContainer(now);
        return read && read->lock.master != container_.lock.master ? Code(NTE_BAD_KEYSET) : ERROR_SUCCESS;
    };
    if (const DWORD result = store_.Remove(place_, isTheSame)) return result;
    SavedPasswords(store_).Remove(place_);
    return ERROR_SUCCESS;
}

DWORD OpenContainer::Integrity(DWORD& damage) const {
    Bytes bytes;
    if (const DWORD result = store_.LoadBytes(place_, bytes)) return result;
    damage = container_.reportedDamage | (IsIntact(bytes) ? 0 : 1);
    return ERROR_SUCCESS;
}

}  // namespace softcsp
