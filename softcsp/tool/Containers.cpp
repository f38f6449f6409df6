#include "softcsp/tool/Containers.h"

#include <winscard.h>

#include "softcsp/common/Names.h"
#include "softcsp/tool/Command.h"

namespace softcsp {
namespace {

// The first one without a name.
const ProviderName& ProviderOf(const Options& options) {
    const std::wstring name = options.Value(kProvider.name).value_or(kProviders[0].name);
    for (const ProviderName& known : kProviders)
        if (name == known.name) return known;
    throw WrongUsage{L"no such provider: " + name};
}

}  // namespace

ContainerStore StoreOf(const Options& options) {
    return {options.Has(kMachine.name) ? Owner::Computer : Owner::User, ProviderOf(options).type};
}

ContainerPlace FindContainer(const ContainerStore& store, const std::wstring& name) {
    ContainerPlace place;
    Check(store.Find(name, place), L"can't find " + name);
    return place;
}

Container LoadContainer(const ContainerStore& store, const std::wstring& name, ContainerPlace& place) {
    place = FindContainer(store, name);
    Container container;
    Check(store.Load(place, container), L"can't read " + name);
    return container;
}

const ContainerKey& KeyOf(const Container& container, bool signatureKey) {
    const auto& key = container.Key(signatureKey);
    if (!key) throw CommandFailure{container.name + L" has no " + KeyName(signatureKey) + L" key", Code(NTE_NO_KEY)};
    return *key;
}

SymmetricKey UnlockContainer(const Container& container, const Options& options) {
    const auto opening = OpeningKey(container.lock, container.lock.hasPassword ? PasswordOf(options) : Password());
    const auto master = opening ? OpenLock(container.lock, *opening) : std::nullopt;
    if (!master) throw CommandFailure{L"wrong password for " + container.name, Code(SCARD_W_WRONG_CHV)};
    return *master;
}

Password PasswordOf(const Options& options) {
    const std::wstring text = options.Value(kPassword.name).value_or(L"");
    if (text.size() > Password::kLongest) throw WrongUsage{L"the password is too long"};
    return Password(text);
}

const wchar_t* KeyName(bool signatureKey) {
    return signatureKey ? L"signature" : L"exchange";
}

}  // namespace softcsp
