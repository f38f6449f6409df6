// The objects that handles refer to, and the tables of handles.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <atomic>
#include <map>
#include <memory>
#include <optional>

#include "softcsp/common/ExportGuard.h"
#include "softcsp/common/Handles.h"
#include "softcsp/common/Settings.h"
#include "softcsp/crypto/Cipher.h"
#include "softcsp/crypto/KeyPair.h"
#include "softcsp/encoding/KeyEncoding.h"

namespace softcsp {

// Handles are numbers, not addresses, so that a closed one is detected. They are unique in the process, so that a
// handle of one context is not accepted by another.
inline std::atomic<ULONG_PTR> lastHandle = 0;

// `notOpen` is the code of calls with a handle that is not open.
template <class Object, LONG notOpen>
class HandleTable {
  public:
    ULONG_PTR Add(std::shared_ptr<Object> object) {
        const Mutex::Held held(mutex_);
        const ULONG_PTR handle = ++lastHandle;
        objects_.emplace(handle, std::move(object));
        return handle;
    }
    // The object exists as long as it is used, even if the handle is closed meanwhile.
    std::shared_ptr<Object> Find(ULONG_PTR handle) {
        const Mutex::Held held(mutex_);
        const auto found = objects_.find(handle);
        Require(found != objects_.end(), notOpen);
        return found->second;
    }
    void Remove(ULONG_PTR handle) {
        const std::shared_ptr<Object> removed = Find(handle);  // destroyed after the lock is released
        const Mutex::Held held(mutex_);
        objects_.erase(handle);
    }

  private:
    Mutex mutex_;
    std::map<ULONG_PTR, std::shared_ptr<Object>> objects_;
};

// The value of a finished hash may be a key, so that it is kept in the digest's secure memory or wiped.
class Hash {
  public:
    explicit Hash(Digest digest) : digest_(std::move(digest)) {}

    std::shared_ptr<Hash> Copy() const {
        auto copy = std::make_shared<Hash>(Required(digest_.Copy(), NTE_NO_MEMORY));
        copy->finished_ = finished_;
        copy->given_ = given_;
        return copy;
    }

    bool Finished() const { return finished_; }  // nothing can be added any more
    void Add(ByteView data) { digest_.Add(data); }
    SymmetricKey Value() {
        finished_ = true;
        if (given_) return *given_;
        DigestValue value = digest_.Value();
        SymmetricKey key(value);
        Wipe(value.data(), value.size());
        return key;
    }
    void SetValue(const SymmetricKey& value) {
        finished_ = true;
        given_ = value;
    }

  private:
    Digest digest_;
    bool finished_ = false;
    std::optional<SymmetricKey> given_;  // by the program, instead of computed
};

enum class KeyKind {
    User,       // a key pair of the container
    Ephemeral,  // a key pair of the context alone; without `pair` until it is complete
    Public,     // another party's public key
    Session,    // a symmetric key
    Agreement,  // the shared key of both sides of a key agreement
};

// What a key is, without the state of its use.
struct KeyData {
    KeyKind kind = KeyKind::Session;
    ALG_ID algorithm = 0;
    bool exportable = false;
    bool signatureKey = false;             // User: which of the two
    PublicKeyData publicKey{};             // User, Ephemeral, Public; Agreement: the other side's
    std::optional<KeyPair> pair{};         // Ephemeral; Agreement: the own side's
    std::optional<SymmetricKey> secret{};  // Session; Agreement: with the constant keying material
    const ParameterSet* cipher = &DefaultParameterSet(ParameterKind::Cipher);  // Session, Agreement
    std::optional<InitialValue> start{};  // Session, Agreement: for encryption; zero for a Session if missing
    Wrapping wrapping = Wrapping::Plain;  // Session, Agreement: how other keys are wrapped by it
};

// The sets of published examples are for tests only.
inline bool MayUse(const ParameterSet& set) {
    return !set.example || ReadSetting(kExampleSetsSetting) != 0;
}

struct Key : KeyData {
    std::optional<Cipher> stream;  // begun and not ended yet

    // The pair of an ephemeral key of the curve that is set.
    void Generate() {
        pair = Required(KeyPair::Generate(*publicKey.curve, Randomness::Strong), NTE_FAIL);
        publicKey.key = pair->Public();
    }
    // An exact copy with the state of the stream.
    std::shared_ptr<Key> Copy() const {
        auto copy = std::make_shared<Key>(Key{*this, {}});
        if (stream) copy->stream = stream->Copy();
        return copy;
    }
};

}  // namespace softcsp
