// One opened provider context with the keys and hashes that were made in it, and the table of those that are open.
// Results are codes, 0 = success; see ProviderInterface.h.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "softcsp/common/Mutex.h"
#include "softcsp/kvcsp/HandleTable.h"
#include "softcsp/kvcsp/Hash.h"
#include "softcsp/kvcsp/Key.h"
#include "softcsp/kvcsp/OpenContainer.h"
#include "softcsp/kvcsp/ParameterSets.h"
#include "softcsp/kvcsp/ProviderInterface.h"
#include "softcsp/kvcsp/Values.h"

namespace softcsp {

class Context {
  public:
    // What CPAcquireContext does. CRYPT_DELETEKEYSET succeeds without a context.
    static DWORD Open(const char* container, DWORD flags, const ProviderTable& table,
                      std::shared_ptr<Context>& context);

    // Held by whoever works with the context.
    Mutex& Lock() { return mutex_; }

    DWORD GetParameter(DWORD parameter, BYTE* data, DWORD* size, DWORD flags);
    DWORD SetParameter(DWORD parameter, BYTE* data, DWORD flags);

    // NTE_NO_KEY where the context has none.
    DWORD NeedContainer() const { return container_ ? ERROR_SUCCESS : Code(NTE_NO_KEY); }
    std::optional<OpenContainer>& OpenedContainer() { return container_; }
    Asking WhomToAsk() const;
    // The set that what is made here gets.
    const ParameterSet& SetInUse(ParameterKind kind) const;

    HandleTable<Key, HandleKind::Key> keys;
    HandleTable<Hash, HandleKind::Hash> hashes;

  private:
    // The items of a list as a caller goes through them.
    struct Listing {
        std::vector<Bytes> items;
        std::size_t next = 0;
    };

    static DWORD MakeContainer(Context& context, const ContainerStore& store, const std::wstring& name);
    static DWORD DeleteContainer(const Context& context, const ContainerStore& store, const std::wstring& name);
    DWORD PickCarrier(const ContainerPlace& place, Carrier& carrier) const;

    Owner KeyOwner() const { return (flags_ & CRYPT_MACHINE_KEYSET) != 0 ? Owner::Computer : Owner::User; }
    bool AsksOnly() const { return (flags_ & kParametersOnly) != 0; }
    DWORD Value(DWORD parameter, Bytes& value);
    DWORD ContainerValue(DWORD parameter, Bytes& value);
    DWORD SetValue(const ParameterChoice& parameter, Bytes& value) const;
    DWORD ChooseName(Bytes& value) const;
    DWORD LoadKeys(Bytes& value);
    DWORD List(DWORD parameter, std::vector<Bytes>& items) const;
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
    std::optional<OpenContainer> container_;
    std::map<ParameterKind, const ParameterSet*> sets_;  // those set for this context alone
    std::map<DWORD, Listing> listings_;                  // by the parameter that lists
};

using ContextTable = HandleTable<Context, HandleKind::Context>;
ContextTable& OpenContexts();

}  // namespace softcsp
