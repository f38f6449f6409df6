// Contexts, and the exports that open, close and query them.
#include "softcsp/crypto/Library.h"

#include "softcsp/kvcsp/Context.h"

#include <lmcons.h>

#include <algorithm>

#include "softcsp/common/Names.h"
#include "softcsp/common/Settings.h"
#include "softcsp/common/Store.h"
#include "softcsp/dialogs/Dialogs.h"

namespace softcsp {
namespace {

constexpr DWORD kFlagsKnown = CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET | CRYPT_MACHINE_KEYSET |
                              CRYPT_SILENT | CRYPT_DEFAULT_CONTAINER_OPTIONAL | kParametersOnly | kTakesForeignKeys;
constexpr DWORD kTableWithType = 3;  // the first version of the system's table with type and name
constexpr std::string_view kQualified = R"(\\.\)";

bool IsVerify(DWORD flags) {
    return (flags & CRYPT_VERIFYCONTEXT) == CRYPT_VERIFYCONTEXT;
}

bool IsDefault(const char* container) {
    return container == nullptr || *container == '\0';
}

// "\\.\CARRIER\" and "\\.\CARRIER", which a context for verification may be opened for. Empty for other names.
std::string_view CarrierOnly(const char* container) {
    std::string_view name = container != nullptr ? container : "";
    if (!name.starts_with(kQualified)) return {};
    name.remove_prefix(kQualified.size());
    if (name.ends_with('\\')) name.remove_suffix(1);
    return name.find('\\') == name.npos ? name : std::string_view();
}

void CheckFlags(const char* container, DWORD flags) {
    const bool verify = IsVerify(flags);
    const DWORD change = flags & (CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET);
    Require((flags & ~kFlagsKnown) == 0, NTE_BAD_FLAGS);
    Require(verify || (flags & CRYPT_VERIFYCONTEXT) == 0, NTE_BAD_FLAGS);
    Require(change != (CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET) && (!verify || change == 0), NTE_BAD_FLAGS);
    Require(!verify || IsDefault(container) || !CarrierOnly(container).empty(), NTE_BAD_KEYSET_PARAM);
}

std::wstring FromAnsi(std::string_view text) {
    const int length = static_cast<int>(text.size());
    const int size = MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text.data(), length, nullptr, 0);
    Require(size != 0, NTE_BAD_KEYSET_PARAM);
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text.data(), length, wide.data(), size);
    return wide;
}

// The name of the default container is the user's name.
std::wstring ContainerName(const char* container) {
    if (!IsDefault(container)) return FromAnsi(container);
    wchar_t user[UNLEN + 1];
    DWORD length = UNLEN + 1;
    if (!GetUserNameW(user, &length)) Check(GetLastError());
    return user;
}

}  // namespace

std::shared_ptr<Context> Context::Open(const char* container, DWORD flags, const ProviderTable& table) {
    const bool hasType = table.version >= kTableWithType;
    const ProviderName* provider = hasType ? FindProvider(table.type) : &kProviders[0];
    Require(provider != nullptr, NTE_BAD_PROV_TYPE);
    CheckFlags(container, flags);
    auto opened = std::make_shared<Context>();
    const Mutex::Held held(opened->mutex_);
    opened->type_ = provider->type;
    opened->flags_ = flags;
    const std::wstring_view name = provider->name;
    opened->name_ = hasType && table.name != nullptr ? table.name : std::string(name.begin(), name.end());
    opened->returnWindow_ = table.returnWindow;
    if (opened->ForParametersOnly()) Language::Update();  // such a context returns texts
    if (!IsVerify(flags)) {
        opened->OpenNamed(container);
    } else if (const std::string_view carrier = CarrierOnly(container); !carrier.empty()) {
        Check(FindCarrier(FromAnsi(carrier), opened->carrier_.emplace()));
    }
    return (flags & CRYPT_DELETEKEYSET) == 0 ? opened : nullptr;
}

void Context::OpenNamed(const char* container) {
    const std::wstring name = ContainerName(container);
    const ContainerStore store(KeyOwner(), type_);
    if ((flags_ & CRYPT_DELETEKEYSET) != 0) return RemoveContainer(store, name);
    if ((flags_ & CRYPT_NEWKEYSET) != 0) return CreateContainer(store, name);
    ContainerPlace place;
    const DWORD result = store.Find(name, place);
    const bool optional = (flags_ & CRYPT_DEFAULT_CONTAINER_OPTIONAL) != 0 && IsDefault(container);
    if (result == Code(NTE_BAD_KEYSET) && optional) return;
    Check(result);
    container_ = OpenContainer::Open(store, place);
}

// The user's choice. Without a choice, or without a user, the first carrier.
Carrier Context::PickCarrier(const std::wstring& container) {
    std::vector<Carrier> carriers = Carriers();
    std::erase_if(carriers, [](const Carrier& one) { return !one.present; });
    std::size_t chosen = 0;
    const Prompt prompt = UserPrompt();
    if (carriers.size() > 1 && !prompt.silent)
        prompt.Show([&](HWND owner) { return ChooseCarrier(owner, container, carriers, chosen); });
    return carriers[chosen];
}

void Context::CreateContainer(const ContainerStore& store, const std::wstring& name) {
    ContainerPlace place, existing;
    Check(store.PlaceForNew(name, place));
    if (place.carrier.name.empty()) place.carrier = PickCarrier(place.name);
    Require(store.Find(place.QualifiedName(), existing) != ERROR_SUCCESS, NTE_EXISTS);
    Password password;
    const Prompt prompt = UserPrompt();
    if (!prompt.silent && ReadSetting(kNewPasswordSetting) != 0)
        prompt.Show([&](HWND owner) { return AskNewPassword(owner, place.QualifiedName(), password); });
    container_ = OpenContainer::Create(store, place, password);
}

void Context::RemoveContainer(const ContainerStore& store, const std::wstring& name) {
    ContainerPlace place;
    Container container;
    Check(store.Find(name, place));
    const DWORD result = store.Load(place, container);
    // An unreadable container has no password to ask for, and users must be able to remove it.
    if (result == Code(NTE_KEYSET_ENTRY_BAD) || result == ERROR_FILE_TOO_LARGE) return Check(store.Remove(place));
    OpenContainer::Open(store, place).Remove(UserPrompt());
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

std::shared_ptr<Key> Context::UserKey(bool signatureKey) {
    if (!container_) {
        Require(ephemeral[signatureKey] != nullptr, NTE_NO_KEY);
        return ephemeral[signatureKey]->Copy();
    }
    container_->Refresh();
    const ContainerKey record = Required(container_->Record().Key(signatureKey), NTE_NO_KEY);
    auto key = std::make_shared<Key>();
    key->kind = KeyKind::User;
    key->algorithm = signatureKey ? kAlgSignature : kAlgExchange;
    key->exportable = record.exportable;
    key->signatureKey = signatureKey;
    key->publicKey = {record.curve, record.digest, record.publicKey};
    return key;
}

KeyPair Context::UserPair(bool signatureKey) {
    if (container_) return container_->PrivateKey(signatureKey, UserPrompt());
    Require(ephemeral[signatureKey] != nullptr, NTE_NO_KEY);
    return *ephemeral[signatureKey]->pair;
}

}  // namespace softcsp

using namespace softcsp;

extern "C" BOOL WINAPI CPAcquireContext(HCRYPTPROV* provider, LPSTR container, DWORD flags, ProviderTable* table) {
    return Answer([=] {
        Require(provider != nullptr && table != nullptr, ERROR_INVALID_PARAMETER);
        PrepareCrypto();  // keeps the module loaded: unloading it after a failure would change the failure's code
        auto context = Context::Open(container, flags, *table);
        *provider = context ? openContexts.Add(std::move(context)) : 0;
    });
}

extern "C" BOOL WINAPI CPReleaseContext(HCRYPTPROV provider, DWORD flags) {
    return Answer([=] {
        openContexts.Remove(provider);
        Require(flags == 0, NTE_BAD_FLAGS);  // it is released nevertheless
    });
}

extern "C" BOOL WINAPI CPGetProvParam(HCRYPTPROV provider, DWORD parameter, BYTE* data, DWORD* size, DWORD flags) {
    return AnswerIn(provider, [=](Context& context) { context.GetParameter(parameter, data, size, flags); });
}

extern "C" BOOL WINAPI CPSetProvParam(HCRYPTPROV provider, DWORD parameter, BYTE* data, DWORD flags) {
    return AnswerIn(provider, [=](Context& context) { context.SetParameter(parameter, data, flags); });
}

extern "C" BOOL WINAPI CPGenRandom(HCRYPTPROV provider, DWORD size, BYTE* data) {
    return AnswerIn(provider, [=](Context&) {
        Require(data != nullptr, ERROR_INVALID_PARAMETER);
        FillRandom({data, size});
    });
}
