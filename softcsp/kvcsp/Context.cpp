// Contexts, and the exports that open, close and query them.
#include "softcsp/kvcsp/Context.h"

#include <lmcons.h>

#include <algorithm>

#include "softcsp/common/Names.h"
#include "softcsp/common/Store.h"
#include "softcsp/common/Settings.h"
#include "softcsp/crypto/Random.h"
#include "softcsp/dialogs/Dialogs.h"

namespace softcsp {
namespace {

constexpr DWORD kFlagsKnown = CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET | CRYPT_MACHINE_KEYSET |
                              CRYPT_SILENT | CRYPT_DEFAULT_CONTAINER_OPTIONAL | kParametersOnly | kTakesForeignKeys;
constexpr DWORD kTableWithType = 3;  // the first version of the system's table with type and name
constexpr std::string_view kQualified = "\\\\.\\";

// At namespace scope, so that it is created when the library is loaded, before any thread can use it.
ContextTable openContexts;

bool IsVerify(DWORD flags) {
    return (flags & CRYPT_VERIFYCONTEXT) == CRYPT_VERIFYCONTEXT;
}

// "\\.\CARRIER\" and "\\.\CARRIER", which a context for verification may be opened for. Empty for other names.
std::string_view CarrierOnly(const char* container) {
    std::string_view name = container != nullptr ? container : "";
    if (!name.starts_with(kQualified)) return {};
    name.remove_prefix(kQualified.size());
    if (name.ends_with('\\')) name.remove_suffix(1);
    return name.find('\\') == name.npos ? name : std::string_view();
}

DWORD CheckFlags(const char* container, DWORD flags) {
    if ((flags & ~kFlagsKnown) != 0) return Code(NTE_BAD_FLAGS);
    const bool verify = IsVerify(flags);
    const DWORD change = flags & (CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET);
    if (!verify && (flags & CRYPT_VERIFYCONTEXT) != 0) return Code(NTE_BAD_FLAGS);
    if (change == (CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET) || (verify && change != 0)) return Code(NTE_BAD_FLAGS);
    const bool named = container != nullptr && *container != '\0';
    return verify && named && CarrierOnly(container).empty() ? Code(NTE_BAD_KEYSET_PARAM) : ERROR_SUCCESS;
}

DWORD FromAnsi(std::string_view text, std::wstring& wide) {
    const int length = static_cast<int>(text.size());
    const int size = MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text.data(), length, nullptr, 0);
    if (size == 0) return Code(NTE_BAD_KEYSET_PARAM);
    wide.resize(static_cast<std::size_t>(size));
    MultiByteToWideChar(CP_ACP, 0, text.data(), length, wide.data(), size);
    return ERROR_SUCCESS;
}

// The name of the default container is the user's name.
DWORD ContainerName(const char* container, std::wstring& name) {
    if (container != nullptr && *container != '\0') return FromAnsi(container, name);
    wchar_t user[UNLEN + 1];
    DWORD length = UNLEN + 1;
    if (!GetUserNameW(user, &length)) return GetLastError();
    name = user;
    return ERROR_SUCCESS;
}

}  // namespace

ContextTable& OpenContexts() {
    return openContexts;
}

DWORD Context::Open(const char* container, DWORD flags, const ProviderTable& table, std::shared_ptr<Context>& context) {
    const bool hasType = table.version >= kTableWithType;
    const ProviderName* provider = hasType ? FindProvider(table.type) : &kProviders[0];
    if (provider == nullptr) return Code(NTE_BAD_PROV_TYPE);
    if (const DWORD result = CheckFlags(container, flags)) return result;
    auto opened = std::make_shared<Context>();
    const Mutex::Held held(opened->mutex_);
    opened->type_ = provider->type;
    opened->flags_ = flags;
    const std::wstring_view name = provider->name;
    opened->name_ = hasType && table.name != nullptr ? table.name : std::string(name.begin(), name.end());
    opened->returnWindow_ = table.returnWindow;
    if (opened->ForParametersOnly()) Language::Update();  // such a context returns texts
    if (const std::string_view carrier = CarrierOnly(container); IsVerify(flags) && !carrier.empty()) {
        std::wstring wide;
        if (const DWORD result = FromAnsi(carrier, wide)) return result;
        if (const DWORD result = FindCarrier(wide, opened->carrier_.emplace())) return result;
    }
    const DWORD result = IsVerify(flags) ? ERROR_SUCCESS : opened->OpenNamed(container);
    if (result == ERROR_SUCCESS && (flags & CRYPT_DELETEKEYSET) == 0) context = std::move(opened);
    return result;
}

DWORD Context::OpenNamed(const char* container) {
    std::wstring name;
    if (const DWORD result = ContainerName(container, name)) return result;
    const ContainerStore store(KeyOwner(), type_);
    if ((flags_ & CRYPT_DELETEKEYSET) != 0) return RemoveContainer(store, name);
    if ((flags_ & CRYPT_NEWKEYSET) != 0) return CreateContainer(store, name);
    ContainerPlace place;
    const DWORD result = store.Find(name, place);
    const bool optional = (flags_ & CRYPT_DEFAULT_CONTAINER_OPTIONAL) != 0 && (container == nullptr || *container == 0);
    if (result == Code(NTE_BAD_KEYSET) && optional) return ERROR_SUCCESS;
    return result == ERROR_SUCCESS ? OpenContainer::Open(store, place, container_) : result;
}

// The user's choice. Without a choice, or without a user, the first carrier.
DWORD Context::PickCarrier(const ContainerPlace& place, Carrier& carrier) {
    std::vector<Carrier> carriers = Carriers();
    std::erase_if(carriers, [](const Carrier& one) { return !one.present; });
    std::size_t chosen = 0;
    const Prompt prompt = UserPrompt();
    if (carriers.size() > 1 && !prompt.silent) {
        const DWORD result =
            prompt.Show([&](HWND owner) { return ChooseCarrier(owner, place.name, carriers, chosen); });
        if (result != ERROR_SUCCESS) return result;
    }
    carrier = carriers[chosen];
    return ERROR_SUCCESS;
}

DWORD Context::CreateContainer(const ContainerStore& store, const std::wstring& name) {
    ContainerPlace place, existing;
    bool carrierNamed = false;
    if (const DWORD result = store.PlaceForNew(name, place, carrierNamed)) return result;
    if (!carrierNamed)
        if (const DWORD result = PickCarrier(place, place.carrier)) return result;
    if (store.Find(place.QualifiedName(), existing) == ERROR_SUCCESS) return Code(NTE_EXISTS);
    Password password;
    const Prompt prompt = UserPrompt();
    if (!prompt.silent && ReadSetting(kNewPasswordSetting) != 0) {
        const DWORD result =
            prompt.Show([&](HWND owner) { return AskNewPassword(owner, place.QualifiedName(), password); });
        if (result != ERROR_SUCCESS) return result;
    }
    return OpenContainer::Create(store, place, password, container_);
}

DWORD Context::RemoveContainer(const ContainerStore& store, const std::wstring& name) {
    ContainerPlace place;
    if (const DWORD result = store.Find(name, place)) return result;
    std::optional<OpenContainer> container;
    const DWORD result = OpenContainer::Open(store, place, container);
    // An unreadable container has no password to ask for, and users must be able to remove it.
    if (result == Code(NTE_KEYSET_ENTRY_BAD) || result == ERROR_FILE_TOO_LARGE) return store.Remove(place);
    return result != ERROR_SUCCESS ? result : container->Remove(UserPrompt());
}

Prompt Context::UserPrompt() {
    Prompt prompt{.silent = (flags_ & CRYPT_SILENT) != 0, .lock = &mutex_};
    if (window_) {
        prompt.window = *window_;
    } else if (returnWindow_ != nullptr) {
        reinterpret_cast<void(WINAPI*)(HWND*)>(reinterpret_cast<void*>(returnWindow_))(&prompt.window);
    }
    if (!IsWindow(prompt.window)) prompt.window = nullptr;
    return prompt;
}

const ParameterSet& Context::SetInUse(ParameterKind kind) const {
    if (const auto found = sets_.find(kind); found != sets_.end()) return *found->second;
    if (container_ && kind == ParameterKind::Digest) return *container_->Record().digest;
    if (container_ && kind == ParameterKind::Cipher) return *container_->Record().cipher;
    for (const DWORD parameter : {kParamDigestSet, kParamCipherSet, kParamSignatureSet, kParamExchangeSet})
        if (FindChoice(parameter)->kind == kind) return MachineSet(*FindChoice(parameter), type_);
    return DefaultParameterSet(kind);
}

DWORD Context::UserKey(bool signatureKey, std::shared_ptr<Key>& key) {
    if (!container_) {
        if (ephemeral[signatureKey]) key = ephemeral[signatureKey]->Copy();
        return ephemeral[signatureKey] ? ERROR_SUCCESS : Code(NTE_NO_KEY);
    }
    if (const DWORD result = container_->Refresh()) return result;
    const auto& record = container_->Record().Key(signatureKey);
    if (!record) return Code(NTE_NO_KEY);
    key = std::make_shared<Key>();
    key->kind = KeyKind::User;
    key->algorithm = signatureKey ? kAlgSignature : kAlgExchange;
    key->exportable = record->exportable;
    key->signatureKey = signatureKey;
    key->publicKey = {record->curve, record->digest, record->publicKey};
    return ERROR_SUCCESS;
}

DWORD Context::UserPair(bool signatureKey, std::optional<KeyPair>& pair) {
    if (container_) return container_->PrivateKey(signatureKey, UserPrompt(), pair);
    if (!ephemeral[signatureKey]) return Code(NTE_NO_KEY);
    pair = ephemeral[signatureKey]->pair;
    return ERROR_SUCCESS;
}

}  // namespace softcsp

using namespace softcsp;

extern "C" BOOL WINAPI CPAcquireContext(HCRYPTPROV* provider, LPSTR container, DWORD flags, ProviderTable* table) {
    return Answer(ProviderEntry::AcquireContext, [=]() -> DWORD {
        if (provider == nullptr || table == nullptr) return ERROR_INVALID_PARAMETER;
        std::shared_ptr<Context> context;
        if (const DWORD result = Context::Open(container, flags, *table, context)) return result;
        *provider = context ? OpenContexts().Add(std::move(context)) : 0;
        return ERROR_SUCCESS;
    });
}

extern "C" BOOL WINAPI CPReleaseContext(HCRYPTPROV provider, DWORD flags) {
    return Answer(ProviderEntry::ReleaseContext, [=]() -> DWORD {
        // The context is released even if the flags are wrong.
        if (!OpenContexts().Remove(provider)) return Code(NTE_BAD_UID);
        return flags == 0 ? ERROR_SUCCESS : Code(NTE_BAD_FLAGS);
    });
}

extern "C" BOOL WINAPI CPGetProvParam(HCRYPTPROV provider, DWORD parameter, BYTE* data, DWORD* size, DWORD flags) {
    return AnswerIn(ProviderEntry::GetProvParam, provider,
                    [=](Context& context) { return context.GetParameter(parameter, data, size, flags); });
}

extern "C" BOOL WINAPI CPSetProvParam(HCRYPTPROV provider, DWORD parameter, BYTE* data, DWORD flags) {
    return AnswerIn(ProviderEntry::SetProvParam, provider,
                    [=](Context& context) { return context.SetParameter(parameter, data, flags); });
}

extern "C" BOOL WINAPI CPGenRandom(HCRYPTPROV provider, DWORD size, BYTE* data) {
    return AnswerIn(ProviderEntry::GenRandom, provider, [=](Context&) -> DWORD {
        if (data == nullptr) return ERROR_INVALID_PARAMETER;
        return FillRandom({data, size}) ? ERROR_SUCCESS : Code(NTE_FAIL);
    });
}
