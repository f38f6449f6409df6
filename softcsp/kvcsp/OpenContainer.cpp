#include "softcsp/kvcsp/OpenContainer.h"

#include <winscard.h>

#include "softcsp/container/ContainerProtection.h"
#include "softcsp/container/SavedPasswords.h"
#include "softcsp/dialogs/Dialogs.h"
#include "softcsp/kvcsp/Objects.h"

namespace softcsp {
namespace {

constexpr int kMostTries = 3;

}  // namespace

OpenContainer OpenContainer::Open(const ContainerStore& store, const ContainerPlace& place) {
    OpenContainer opened(store, place);
    opened.Refresh();
    opened.place_.name = opened.container_.name;  // in the letter case that it was created with
    SavedPasswords(store).AddCarrier(place.carrier);
    return opened;
}

OpenContainer OpenContainer::Create(const ContainerStore& store, const ContainerPlace& place,
                                    const Password& password) {
    auto created = CreateContainer(place.name, password, store.ProtectionOf(place));
    Check(store.Create(place, created.container));
    OpenContainer opened(store, place);
    opened.container_ = std::move(created.container);
    opened.stamp_ = store.Stamp(place);
    opened.master_ = created.master;
    SavedPasswords(store).AddCarrier(place.carrier);
    return opened;
}

void OpenContainer::Refresh() {
    const FileStamp stamp = store_.Stamp(place_);
    if (stamp == stamp_ && stamp.size != 0) return;
    Container fresh;
    Check(store_.Load(place_, fresh));
    // A lock that another program has changed is opened again: the master key may be another one.
    if (fresh.lock.master != container_.lock.master) {
        master_.reset();
        for (auto& pair : pairs_) pair.reset();
    }
    container_ = std::move(fresh);
    stamp_ = stamp;
    if (master_) CheckAuthentic();
}

void OpenContainer::CheckAuthentic() {
    if (IsAuthentic(container_, *master_)) return;
    master_.reset();
    Fail(NTE_KEYSET_ENTRY_BAD);
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
    saved.Remove(place_);  // the password was changed since it was saved
    return false;
}

void OpenContainer::AskForPassword(const Prompt& prompt) {
    for (int tries = 0; tries < kMostTries; ++tries) {
        PasswordAnswer answer;
        prompt.Show([&](HWND owner) { return AskPassword(owner, place_.QualifiedName(), tries > 0, answer); });
        Refresh();
        if (master_) return;  // another thread has unlocked the container meanwhile
        const auto openingKey = OpeningKey(container_.lock, answer.password);
        if (TryKey(openingKey)) {
            // If the password cannot be saved, it is asked again the next time.
            if (answer.save) SavedPasswords(store_).Save(place_, *openingKey);
            return;
        }
    }
    Fail(SCARD_W_WRONG_CHV);
}

void OpenContainer::Unlock(const Prompt& prompt) {
    Refresh();
    if (master_) return;
    if (!TryWithoutAsking()) {
        Require(container_.lock.hasPassword, NTE_KEYSET_ENTRY_BAD);
        Require(given_.Empty(), SCARD_W_WRONG_CHV);
        AskForPassword(prompt);
    }
    CheckAuthentic();
}

KeyPair OpenContainer::PrivateKey(bool signatureKey, const Prompt& prompt) {
    Require(container_.Key(signatureKey).has_value(), NTE_NO_KEY);
    auto& unsealed = pairs_[signatureKey];
    if (!unsealed) {
        Unlock(prompt);
        const ContainerKey key = Required(container_.Key(signatureKey), NTE_NO_KEY);
        const auto secret = UnsealPrivateKey(*master_, key.privateKey, key.exportable);
        auto found = secret && MayUse(*key.curve) ? KeyPair::FromPrivate(*key.curve, *secret) : std::nullopt;
        Require(found && found->Public() == key.publicKey, NTE_KEYSET_ENTRY_BAD);
        unsealed = std::move(found);
    }
    return *unsealed;
}

void OpenContainer::Modify(const Prompt& prompt, const std::function<void(Container&)>& change) {
    Unlock(prompt);
    const auto changeAuthentically = [&](Container& fresh) -> DWORD {
        Require(fresh.lock.master == container_.lock.master, NTE_BAD_KEYSET);
        Require(IsAuthentic(fresh, *master_), NTE_KEYSET_ENTRY_BAD);
        change(fresh);
        Authenticate(fresh, *master_);
        return ERROR_SUCCESS;
    };
    Check(store_.Modify(place_, container_, changeAuthentically, &stamp_));
}

void OpenContainer::AddKeyPair(bool signatureKey, const Prompt& prompt, const KeyPair& pair, const ParameterSet& digest,
                               bool exportable) {
    Modify(prompt, [&](Container& container) {
        Require(!container.Key(signatureKey), NTE_EXISTS);
        StoreKeyPair(container, signatureKey, *master_, pair, digest, exportable);
    });
    pairs_[signatureKey] = pair;
}

void OpenContainer::ChangePassword(const Prompt& prompt) {
    PasswordChange change;
    Refresh();
    prompt.Show([&, hasOld = container_.lock.hasPassword](HWND owner) {
        return AskPasswordChange(owner, place_.QualifiedName(), hasOld, change);
    });
    Refresh();
    const auto oldKey = OpeningKey(container_.lock, change.old);
    const auto master = oldKey ? OpenLock(container_.lock, *oldKey) : std::nullopt;
    Require(master.has_value(), SCARD_W_WRONG_CHV);
    const PasswordLock lock = LockMasterKey(*master, change.next, store_.ProtectionOf(place_));
    master_ = master;
    CheckAuthentic();
    Modify(prompt, [&](Container& container) { container.lock = lock; });
    SavedPasswords(store_).Remove(place_);
}

void OpenContainer::Remove(const Prompt& prompt) {
    Bytes bytes;
    Check(store_.LoadBytes(place_, bytes));
    // In a damaged container no password may be right any more.
    if (container_.lock.hasPassword && IsIntact(bytes)) try {
            Unlock(prompt);
        } catch (const Failure& failure) {
            if (failure.code != Code(NTE_KEYSET_ENTRY_BAD)) throw;
        }
    Check(store_.Remove(place_, [&](ByteView now) {
        const auto read = ReadContainer(now);
        return read && read->lock.master != container_.lock.master ? Code(NTE_BAD_KEYSET) : ERROR_SUCCESS;
    }));
    SavedPasswords(store_).Remove(place_);
}

DWORD OpenContainer::Integrity() const {
    Bytes bytes;
    Check(store_.LoadBytes(place_, bytes));
    return container_.reportedDamage | (IsIntact(bytes) ? 0 : 1);
}

}  // namespace softcsp
