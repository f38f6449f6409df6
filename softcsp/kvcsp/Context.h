// An open provider context with its keys and hashes, the table of open contexts, and the frame of the exports. Failures
// are exceptions with the codes of ProviderInterface.h.
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
#include "softcsp/kvcsp/ProviderInterface.h"

namespace softcsp {

class Context {
  public:
    // CPAcquireContext. Null for CRYPT_DELETEKEYSET.
    static std::shared_ptr<Context> Open(const char* container, DWORD flags, const ProviderTable& table);

    // Held while an export works with the context, and released while a dialog is shown.
    Mutex& Lock() { return mutex_; }

    void GetParameter(DWORD parameter, BYTE* data, DWORD* size, DWORD flags);
    void SetParameter(DWORD parameter, BYTE* data, DWORD flags);

    bool HasContainer() const { return container_.has_value(); }
    OpenContainer& OpenedContainer() {
        Require(HasContainer(), NTE_NOT_FOUND);
        return *container_;
    }
    Prompt UserPrompt();
    // The parameter set for new objects.
    const ParameterSet& SetInUse(ParameterKind kind) const;

    // A key pair of the container, or one that was generated in a context without a container. NTE_NO_KEY.
    std::shared_ptr<Key> UserKey(bool signatureKey);
    KeyPair UserPair(bool signatureKey);
    std::shared_ptr<Key> ephemeral[2];  // in a context without a container: exchange, signature

    HandleTable<Key, NTE_BAD_KEY> keys;
    HandleTable<Hash, NTE_BAD_HASH> hashes;

  private:
    // The items of a list that a program reads one by one.
    struct Listing {
        std::vector<Bytes> items;
        std::size_t next = 0;
    };

    void OpenNamed(const char* container);
    void CreateContainer(const ContainerStore& store, const std::wstring& name);
    void RemoveContainer(const ContainerStore& store, const std::wstring& name);
    Carrier PickCarrier(const std::wstring& container);

    Owner KeyOwner() const { return (flags_ & CRYPT_MACHINE_KEYSET) != 0 ? Owner::Computer : Owner::User; }
    bool ForParametersOnly() const { return (flags_ & kParametersOnly) != 0; }
    std::vector<ContainerPlace> ListContainers() const;
    Bytes Value(DWORD parameter, DWORD flags);
    Bytes ContainerValue(DWORD parameter, DWORD flags);
    void ChooseName(BYTE* data, DWORD* size);
    DWORD LoadKeys();
    std::vector<Bytes> List(DWORD parameter);
    void Step(DWORD parameter, DWORD flags, BYTE* data, DWORD* size);
    void ChangeSet(ParameterKind kind, const BYTE* data);
    void ChangeSetting(DWORD parameter, const BYTE* data);
    void AddExtension(const ExtensionRequest& request);

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

// Created when the library is loaded, before any thread can use it.
inline HandleTable<Context, NTE_BAD_UID> openContexts;

// Runs the body of an export of the provider.
template <class Body>
BOOL Answer(Body&& body) noexcept {
    return Succeeded(Guarded(std::forward<Body>(body), Code(NTE_NO_MEMORY), Code(NTE_FAIL)));
}

// The same with the context of the handle, locked.
template <class Body>
BOOL AnswerIn(HCRYPTPROV provider, Body&& body) noexcept {
    return Answer([&] {
        const auto context = openContexts.Find(provider);
        const Mutex::Held held(context->Lock());
        body(*context);
    });
}

}  // namespace softcsp
