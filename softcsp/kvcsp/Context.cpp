#include "softcsp/kvcsp/Context.h"

#include <lmcons.h>

#include <algorithm>
#include <cstring>

#include "softcsp/common/Language.h"
#include "softcsp/common/Names.h"
#include "softcsp/common/Settings.h"
#include "softcsp/dialogs/Dialogs.h"
#include "softcsp/kvcsp/Values.h"

namespace softcsp {
namespace {

constexpr DWORD kFlagsKnown = CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET | CRYPT_MACHINE_KEYSET |
                              CRYPT_SILENT | kParametersOnly | kTakesForeignKeys;
constexpr DWORD kTableWithType = 3;  // the version of the system's table that gives type and name

std::string Narrow(const wchar_t* ascii) {
    return {ascii, ascii + std::wcslen(ascii)};
}

DWORD CheckFlags(const char* container, DWORD flags) {
    if ((flags & ~kFlagsKnown) != 0) return Code(NTE_BAD_FLAGS);
    const bool verify = (flags & CRYPT_VERIFYCONTEXT) == CRYPT_VERIFYCONTEXT;
    const DWORD change = flags & (CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET);
    if (!verify && (flags & CRYPT_VERIFYCONTEXT) != 0) return Code(NTE_BAD_FLAGS);
    if (change == (CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET) || (verify && change != 0)) return Code(NTE_BAD_FLAGS);
    const bool named = container != nullptr && *container != '\0';
    return verify && named ? Code(NTE_BAD_KEYSET_PARAM) : ERROR_SUCCESS;
}

// The name as characters; the user's own name where none is given.
DWORD ContainerName(const char* container, std::wstring& name) {
    wchar_t user[UNLEN + 1];
    DWORD length = UNLEN + 1;
    if (container == nullptr || *container == '\0') {
        if (!GetUserNameW(user, &length)) return GetLastError();
        name = user;
        return ERROR_SUCCESS;
    }
    const int size = MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, container, -1, nullptr, 0);
    if (size == 0) return Code(NTE_BAD_KEYSET_PARAM);
    name.resize(static_cast<std::size_t>(size));
    MultiByteToWideChar(CP_ACP, 0, container, -1, name.data(), size);
    name.pop_back();  // the terminator
    return ERROR_SUCCESS;
}

}  // namespace

DWORD Context::Open(const char* container, DWORD flags, const ProviderTable& table, std::shared_ptr<Context>& context) {
    const bool told = table.version >= kTableWithType;
    const ProviderName* provider = told ? FindProvider(table.type) : &kProviders[0];
    if (provider == nullptr) return Code(NTE_BAD_PROV_TYPE);
    if (const DWORD result = CheckFlags(container, flags)) return result;
    auto opened = std::make_shared<Context>();
    opened->type_ = provider->type;
    opened->flags_ = flags;
    opened->name_ = told && table.name != nullptr ? table.name : Narrow(provider->name);
    opened->returnWindow_ = table.returnWindow;
    if (opened->AsksOnly()) Language::Update();  // of the names that such a context shows
    if ((flags & CRYPT_VERIFYCONTEXT) == 0) {
        std::wstring name;
        if (const DWORD result = ContainerName(container, name)) return result;
        const ContainerStore store(opened->KeyOwner(), opened->type_);
        if ((flags & CRYPT_DELETEKEYSET) != 0) return DeleteContainer(*opened, store, name);
        ContainerPlace place;
        DWORD result = (flags & CRYPT_NEWKEYSET) != 0 ? MakeContainer(*opened, store, name) : store.Find(name, place);
        if (result == ERROR_SUCCESS && !opened->container_)
            result = OpenContainer::Open(store, place, opened->container_);
        if (result != ERROR_SUCCESS) return result;
    }
    context = std::move(opened);
    return ERROR_SUCCESS;
}

// Where the user wants it; nobody is asked when there is only one place, or nobody to ask.
DWORD Context::PickCarrier(const ContainerPlace& place, Carrier& carrier) const {
    std::vector<Carrier> carriers = Carriers();
    std::erase_if(carriers, [](const Carrier& one) { return !one.present; });
    std::size_t chosen = 0;
    const Asking asking = WhomToAsk();
    if (carriers.size() > 1 && !asking.silent)
        if (const DWORD result = ChooseCarrier(asking.window, place.name, carriers, chosen)) return result;
    carrier = carriers[chosen];
    return ERROR_SUCCESS;
}

DWORD Context::MakeContainer(Context& context, const ContainerStore& store, const std::wstring& name) {
    ContainerPlace place, taken;
    bool carrierNamed = false;
    if (const DWORD result = store.PlaceForNew(name, place, carrierNamed)) return result;
    if (!carrierNamed)
        if (const DWORD result = context.PickCarrier(place, place.carrier)) return result;
    if (store.Find(place.QualifiedName(), taken) == ERROR_SUCCESS) return Code(NTE_EXISTS);
    Password password;
    const Asking asking = context.WhomToAsk();
    if (!asking.silent && ReadSetting(kNewPasswordSetting) != 0)
        if (const DWORD result = AskNewPassword(asking.window, place.QualifiedName(), password)) return result;
    return OpenContainer::Create(store, place, password, context.container_);
}

DWORD Context::DeleteContainer(const Context& context, const ContainerStore& store, const std::wstring& name) {
    ContainerPlace place;
    if (const DWORD result = store.Find(name, place)) return result;
    std::optional<OpenContainer> container;
    const DWORD result = OpenContainer::Open(store, place, container);
    // What can't be read has no password that could be asked for, and must be possible to get rid of.
    if (result == Code(NTE_KEYSET_ENTRY_BAD) || result == ERROR_FILE_TOO_LARGE) return store.Remove(place);
    return result != ERROR_SUCCESS ? result : container->Remove(context.WhomToAsk());
}

Asking Context::WhomToAsk() const {
    Asking asking{.silent = (flags_ & CRYPT_SILENT) != 0};
    if (window_) {
        asking.window = *window_;
    } else if (returnWindow_ != nullptr) {
        reinterpret_cast<void(WINAPI*)(HWND*)>(reinterpret_cast<void*>(returnWindow_))(&asking.window);
    }
    if (!IsWindow(asking.window)) asking.window = nullptr;
    return asking;
}

const ParameterSet& Context::SetInUse(ParameterKind kind) const {
    if (const auto found = sets_.find(kind); found != sets_.end()) return *found->second;
    if (container_ && kind == ParameterKind::Digest) return *container_->Record().digest;
    if (container_ && kind == ParameterKind::Cipher) return *container_->Record().cipher;
    for (const DWORD parameter : {kParamDigestSet, kParamCipherSet, kParamSignatureSet, kParamExchangeSet})
        if (FindChoice(parameter)->kind == kind) return MachineSet(*FindChoice(parameter), type_);
    return DefaultParameterSet(kind);
}

}  // namespace softcsp
