// The objects that handles refer to, and the tables of handles.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <atomic>
#include <map>
#include <memory>
#include <optional>

#include "softcsp/common/CallRecord.h"
#include "softcsp/common/Handles.h"
#include "softcsp/crypto/Cipher.h"
#include "softcsp/crypto/KeyPair.h"
#include "softcsp/encoding/KeyEncoding.h"

namespace softcsp {

// Handles are numbers, not addresses, so that a closed one is detected. They are unique in the process, so that a
// handle of one context is not accepted by another.
inline std::atomic<ULONG_PTR> lastHandle = 0;

template <class Object, HandleKind kind>
class HandleTable {
  public:
    HandleTable() = default;
    ~HandleTable() { CountHandles(kind, -static_cast<LONG>(objects_.size())); }
    HandleTable(const HandleTable&) = delete;
    HandleTable& operator=(const HandleTable&) = delete;

    ULONG_PTR Add(std::shared_ptr<Object> object) {
        const Mutex::Held held(mutex_);
        const ULONG_PTR handle = ++lastHandle;
        objects_.emplace(handle, std::move(object));
        CountHandles(kind, 1);
        return handle;
    }
    // Null if it is not open. The object exists as long as it is used, even if the handle is closed meanwhile.
    std::shared_ptr<Object> Find(ULONG_PTR handle) {
        const Mutex::Held held(mutex_);
        const auto found = objects_.find(handle);
        return found != objects_.end() ? found->second : nullptr;
    }
    bool Remove(ULONG_PTR handle) {
        std::shared_ptr<Object> removed;  // destroyed after the lock is released
        const Mutex::Held held(mutex_);
        const auto found = objects_.find(handle);
        if (found == objects_.end()) return false;
        removed = std::move(found->second);
        objects_.erase(found);
        CountHandles(kind, -1);
        return true;
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
        auto digest = digest_.Copy();
        if (!digest) return nullptr;
        auto copy = std::make_shared<Hash>(std::move(*digest));
        copy->finished_ = finished_;
        copy->given_ = given_;
        return copy;
    }

    bool Finished() const { return finished_; }  // nothing can be added any more
    void Add(ByteView data) { digest_.Add(data); }
    SymmetricKey Value() {
        finished_ = true;
        return given_ ? *given_ : SymmetricKey(digest_.Value());
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

struct Key {
    KeyKind kind = KeyKind::Session;
    ALG_ID algorithm = 0;
    bool exportable = false;
    bool signatureKey = false;           // User: which of the two
    PublicKeyData publicKey;             // User, Ephemeral, Public; Agreement: the other side's
    std::optional<KeyPair> pair;         // Ephemeral; Agreement: the own side's
    std::optional<SymmetricKey> secret;  // Session; Agreement: with the constant keying material
    const ParameterSet* cipher = &DefaultParameterSet(ParameterKind::Cipher);  // Session, Agreement
    std::optional<InitialValue> start;    // Session, Agreement: for encryption; zero for a Session if missing
    Wrapping wrapping = Wrapping::Plain;  // Session, Agreement: how other keys are wrapped by it
    std::optional<Cipher> stream;         // begun and not ended yet

    // An exact copy with the state of the stream; null if memory is short.
    std::shared_ptr<Key> Copy() const {
        auto copy = std::make_shared<Key>();
        copy->kind = kind;
        copy->algorithm = algorithm;
        copy->exportable = exportable;
        copy->signatureKey = signatureKey;
        copy->publicKey = publicKey;
        copy->pair = pair;
        copy->secret = secret;
        copy->cipher = cipher;
        copy->start = start;
        copy->wrapping = wrapping;
        if (stream) copy->stream = stream->Copy();
        return stream && !copy->stream ? nullptr : copy;
    }
};

}  // namespace softcsp
