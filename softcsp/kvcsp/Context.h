// An open provider context with its keys and hashes, the table of open contexts, and the frame of the exports. Results
// are codes, 0 = success; see ProviderInterface.h.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "softcsp/common/ExportGuard.h"
#include "softcsp/kvcsp/Objects.h"
#include "softcsp/kvcsp/OpenContainer.h"
#include "softcsp/kvcsp/ParameterSets.h"
#include "softcsp/kvcsp/ProviderInterface.h"

namespace softcsp {

class Context {
  public:
    // CPAcquireContext. CRYPT_DELETEKEYSET succeeds without a context.
    static DWORD Open(const char* container, DWORD flags, const ProviderTable& table,
                      std::shared_ptr<Context>& context);

    // Held while an export works with the context, and released while a dialog is shown.
    Mutex& Lock() { return mutex_; }

    DWORD GetParameter(DWORD parameter, BYTE* data, DWORD* size, DWORD flags);
    DWORD SetParameter(DWORD parameter, BYTE* data, DWORD flags);

    // Null without a container.
    OpenContainer* OpenedContainer() { return container_ ? &*container_ : nullptr; }
    Prompt UserPrompt();
    // The parameter set for new objects.
    const ParameterSet& SetInUse(ParameterKind kind) const;

    // A key pair of the container, or one that was generated in a context without a container. NTE_NO_KEY.
    DWORD UserKey(bool signatureKey, std::shared_ptr<Key>& key);
    DWORD UserPair(bool signatureKey, std::optional<KeyPair>& pair);
    std::shared_ptr<Key> ephemeral[2];  // in a context without a container: exchange, signature

    HandleTable<Key, HandleKind::Key> keys;
    HandleTable<Hash, HandleKind::Hash> hashes;

  private:
    // The items of a list that a program reads one by one.
    struct Listing {
        std::vector<Bytes> items;
        std::size_t next = 0;
    };

    DWORD CreateContainer(const ContainerStore& store, const std::wstring& name);
    DWORD RemoveContainer(const ContainerStore& store, const std::wstring& name);
    DWORD OpenNamed(const char* container);
    DWORD PickCarrier(const ContainerPlace& place, Carrier& carrier);

    Owner KeyOwner() const { return (flags_ & CRYPT_MACHINE_KEYSET) != 0 ? Owner::Computer : Owner::User; }
    bool ForParametersOnly() const { return (flags_ & kParametersOnly) != 0; }
    std::vector<ContainerPlace> ListContainers() const;
    DWORD Value(DWORD parameter, Bytes& value);
    DWORD ContainerValue(DWORD parameter, DWORD flags, Bytes& value);
    DWORD SetValue(const ParameterChoice& parameter, Bytes& value) const;
    DWORD ChooseName(BYTE* data, DWORD* size);
    DWORD LoadKeys(Bytes& value);
    DWORD List(DWORD parameter, std::vector<Bytes>& items);
    DWORD Step(DWORD parameter, DWORD flags, BYTE* data, DWORD* size);
    DWORD ChangeSet(const ParameterChoice& parameter, const BYTE* data);
    DWORD ChangeSetting(DWORD parameter, const BYTE* data);
    DWORD ChangeContainer(DWORD parameter, const BYTE* data);

    Mutex mutex_;
    DWORD type_ = 0;
    DWORD flags_ = 0;
    std::string name_;  // the provider's name that it was opened by, ANSI
    std::optional<HWND> window_;
    FARPROC returnWindow_ = nullptr;
    std::optional<Carrier> carrier_;  // of a context for one carrier
    std::optional<OpenContainer> container_;
    std::map<ParameterKind, const ParameterSet*> sets_;  // set for this context alone
    std::map<DWORD, Listing> listings_;                  // by the parameter that lists
};

using ContextTable = HandleTable<Context, HandleKind::Context>;
ContextTable& OpenContexts();

// Runs the body of an export of the provider, which returns a code.
template <class Body>
BOOL Answer(ProviderEntry entry, Body&& body) noexcept {
    CountCall(entry);
    return Succeeded(Guarded(std::forward<Body>(body), Code(NTE_NO_MEMORY), Code(NTE_FAIL)));
}

// The same with the context of the handle, locked.
template <class Body>
BOOL AnswerIn(ProviderEntry entry, HCRYPTPROV provider, Body&& body) noexcept {
    return Answer(entry, [&]() -> DWORD {
        const auto context = OpenContexts().Find(provider);
        if (!context) return Code(NTE_BAD_UID);
        const Mutex::Held held(context->Lock());
        return body(*context);
    });
}

}  // namespace softcsp
