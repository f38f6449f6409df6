// The parameters of a context.
#include <algorithm>
#include <cstring>
#include <optional>
#include <set>

#include "softcsp/common/Settings.h"
#include "softcsp/common/Store.h"
#include "softcsp/common/Text.h"
#include "softcsp/dialogs/Dialogs.h"
#include "softcsp/kvcsp/Context.h"

namespace softcsp {
namespace {

struct Algorithm {
    ALG_ID identifier;
    DWORD bits;
    const char* name;
    const char* longName;
    DWORD protocols;
};

constexpr Algorithm kAlgorithms[] = {
    {kAlgDigest, 256, "GOST R 34.11-94", "GOST R 34.11-94 hash", CRYPT_FLAG_SIGNING},
    {kAlgCipher, 256, "GOST 28147-89", "GOST 28147-89 cipher", 0},
    {kAlgSignature, 512, "GOST R 34.10-2001", "GOST R 34.10-2001 signature", CRYPT_FLAG_SIGNING},
    {kAlgExchange, 512, "GOST 34.10-2001 KX", "GOST R 34.10-2001 key agreement", 0},
    {kAlgEphemeralExchange, 512, "GOST 34.10-2001 EX", "GOST R 34.10-2001 ephemeral key agreement", 0},
};

// A name with its terminator, truncated if necessary; returns its length.
template <std::size_t Size>
DWORD PutName(char (&field)[Size], const char* name) {
    const std::size_t length = std::min(std::strlen(name), Size - 1);
    std::memcpy(field, name, length);
    return static_cast<DWORD>(length + 1);
}

Bytes ShortRecord(const Algorithm& algorithm) {
    PROV_ENUMALGS record{};
    record.aiAlgid = algorithm.identifier;
    record.dwBitLen = algorithm.bits;
    record.dwNameLen = PutName(record.szName, algorithm.name);
    return BytesOf(record);
}

Bytes LongRecord(const Algorithm& algorithm) {
    PROV_ENUMALGS_EX record{};
    record.aiAlgid = algorithm.identifier;
    record.dwDefaultLen = record.dwMinLen = record.dwMaxLen = algorithm.bits;
    record.dwProtocols = algorithm.protocols;
    record.dwNameLen = PutName(record.szName, algorithm.name);
    record.dwLongNameLen = PutName(record.szLongName, algorithm.longName);
    return BytesOf(record);
}

// An item of kParamExtensions: the critical flag and the value's length as numbers, the value, the identifier (ASCII
// with terminator).
Bytes ExtensionItem(const ContainerExtension& extension) {
    ByteWriter item;
    item.Number(extension.critical);
    item.Counted(extension.value);
    item.Raw(TextBytes(extension.identifier));
    return item.Take();
}

// In the code page of ANSI programs. Other characters become '?', never a similar letter, which could make it the name
// of another container.
Bytes AnsiText(const std::wstring& text) {
    const int size = WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
    Bytes bytes(static_cast<std::size_t>(size));
    WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, text.c_str(), -1, reinterpret_cast<char*>(bytes.data()), size,
                        nullptr, nullptr);
    return bytes;
}

// Passwords given as parameters are ANSI texts. NTE_BAD_DATA: the password is too long.
Password AnsiPassword(const BYTE* data) {
    wchar_t text[Password::kLongest + 1] = L"";
    const int length = MultiByteToWideChar(CP_ACP, 0, reinterpret_cast<const char*>(data), -1, text,
                                           static_cast<int>(std::size(text)));
    Password password({text, static_cast<std::size_t>(std::max(length - 1, 0))});
    Wipe(text, sizeof text);
    Require(length > 0, NTE_BAD_DATA);
    return password;
}

// The parameter sets that programs can choose.
struct ParameterChoice {
    DWORD value;  // number of the parameter that holds the set in use
    DWORD list;   // number of the parameter that lists all sets
    ParameterKind kind;
    const wchar_t* storeName;
};
constexpr ParameterChoice kParameters[] = {
    {kParamDigestSet, kParamDigestSets, ParameterKind::Digest, L"Digest"},
    {kParamCipherSet, kParamCipherSets, ParameterKind::Cipher, L"Cipher"},
    {kParamSignatureSet, kParamSignatureSets, ParameterKind::Signature, L"Signature"},
    {kParamExchangeSet, kParamExchangeSets, ParameterKind::Exchange, L"Exchange"},
};

constexpr std::uint32_t kNameFollows = 0x10000;  // plus the offset of the name

std::wstring StorePathOf(ParameterKind kind, DWORD providerType) {
    const auto* choice = std::ranges::find(kParameters, kind, &ParameterChoice::kind);
    return L"\\config\\oid\\" + std::to_wstring(providerType) + L'\\' + choice->storeName;
}

// Null for every other number.
const ParameterChoice* FindChoice(DWORD number) {
    for (const ParameterChoice& parameter : kParameters)
        if (number == parameter.value || number == parameter.list) return &parameter;
    return nullptr;
}

// In the form of kParamDigestSets.
Bytes EntryOf(const ParameterSet& set) {
    Bytes identifier = TextBytes(set.identifier);
    if (identifier.size() % sizeof(wchar_t) != 0) identifier.push_back(0);  // so that the name is aligned
    Bytes name = Utf16Bytes(Language::Get() == kRussian ? set.russianName : set.name);
    name.resize(name.size() + sizeof(wchar_t));
    ByteWriter entry;
    entry.Number(static_cast<std::uint32_t>(kNameFollows + sizeof kNameFollows + identifier.size()));
    entry.Raw(identifier);
    entry.Raw(name);
    return entry.Take();
}

std::vector<Bytes> EntriesOf(ParameterKind kind) {
    std::vector<Bytes> entries;
    for (const ParameterSet& set : ParameterSets())
        if (set.kind == kind && !set.example) entries.push_back(EntryOf(set));
    return entries;
}

// The set of an entry, whose length is not passed when parameters are set. Only the identifier is compared: the name
// may be in another language now.
const ParameterSet* SetOfEntry(ParameterKind kind, const BYTE* entry) {
    const ParameterSet* set = FindParameterSet(kind, reinterpret_cast<const char*>(entry) + sizeof kNameFollows);
    return set != nullptr && !set->example ? set : nullptr;
}

// The machine's choice for a provider type, in "\config\oid"; the default if there is none.
const ParameterSet& MachineSet(ParameterKind kind, DWORD providerType) {
    std::wstring identifier;
    Store().ReadText(StorePathOf(kind, providerType), identifier);
    for (const ParameterSet& set : ParameterSets())
        if (set.kind == kind && identifier == Wide(set.identifier) && MayUse(set)) return set;
    return DefaultParameterSet(kind);
}

bool IsList(DWORD parameter) {
    const ParameterChoice* sets = FindChoice(parameter);
    return parameter == PP_ENUMALGS || parameter == PP_ENUMALGS_EX || parameter == PP_ENUMCONTAINERS ||
           parameter == kParamExtensions || (sets != nullptr && sets->list == parameter);
}

// Parameters that an older provider does not have, for demonstrations.
bool IsHidden(DWORD parameter) {
    return (parameter == kParamCache && ReadSetting(kCacheAvailableSetting) == kNoSuchParameter) ||
           (parameter == kParamDhControl && ReadSetting(kDhMayChangeSetting) == kNoSuchParameter);
}

}  // namespace

const ParameterSet& Context::SetInUse(ParameterKind kind) const {
    if (const auto found = sets_.find(kind); found != sets_.end()) return *found->second;
    if (container_ && kind == ParameterKind::Digest) return *container_->Record().digest;
    if (container_ && kind == ParameterKind::Cipher) return *container_->Record().cipher;
    return MachineSet(kind, type_);
}

void Context::GetParameter(DWORD parameter, BYTE* data, DWORD* size, DWORD flags) {
    Require(size != nullptr, ERROR_INVALID_PARAMETER);
    if (IsList(parameter)) return Step(parameter, flags, data, size);
    Require(!IsHidden(parameter), NTE_BAD_TYPE);
    Require(flags == 0 || parameter == PP_KEYSET_SEC_DESCR, NTE_BAD_FLAGS);
    if (parameter == kParamChooseContainer) return ChooseName(data, size);
    Give(Value(parameter, flags), data, size);
}

Bytes Context::Value(DWORD parameter, DWORD flags) {
    if (const ParameterChoice* sets = FindChoice(parameter))
        return ForParametersOnly() ? EntryOf(MachineSet(sets->kind, type_))
                                   : TextBytes(SetInUse(sets->kind).identifier);
    DWORD number = 0;
    switch (parameter) {
        case PP_VERSION: return BytesOf(ReadSetting(kVersionSetting));
        case PP_PROVTYPE: number = ReadSetting(kTypeSetting); return BytesOf(number != 0 ? number : type_);
        case PP_IMPTYPE: return BytesOf(DWORD{CRYPT_IMPL_SOFTWARE});
        case PP_NAME: return TextBytes(name_);
        case PP_KEYSET_TYPE: return BytesOf(flags_ & CRYPT_MACHINE_KEYSET);
        case PP_KEYSPEC: return BytesOf(DWORD{AT_KEYEXCHANGE | AT_SIGNATURE});
        case PP_KEYX_KEYSIZE_INC:
        case PP_SIG_KEYSIZE_INC: return BytesOf(DWORD{0});  // there is only one size
        case kParamCache:
            return BytesOf(CacheRecord{ReadSetting(kCacheSetting), ReadSetting(kCacheMaximumSetting),
                                       ReadSetting(kCacheAvailableSetting)});
        case kParamProtectionClass: return BytesOf(ReadSetting(kClassSetting));
        case kParamDhControl:
            return BytesOf(DhRecord{ReadSetting(kDhControlSetting), ReadSetting(kDhMayChangeSetting)});
        case kParamBuild:
            return BytesOf(BuildRecord{.size = sizeof(BuildRecord),
                                       .build = ReadSetting(kBuildSetting),
                                       .debug = ReadSetting(kDebugSetting),
                                       .reserved = {}});
        default: return ContainerValue(parameter, flags);
    }
}

Bytes Context::ContainerValue(DWORD parameter, DWORD flags) {
    Bytes descriptor;
    switch (parameter) {
        case PP_CONTAINER: return AnsiText(OpenedContainer().Place().name);
        case PP_UNIQUE_CONTAINER: return AnsiText(OpenedContainer().Place().UniqueName());
        case kParamQualifiedName: return AnsiText(OpenedContainer().Place().QualifiedName());
        case kParamLoadKeys: return BytesOf(LoadKeys());
        case kParamIntegrity: return BytesOf(OpenedContainer().Integrity());
        case PP_KEYSET_SEC_DESCR:
            Check(OpenedContainer().InStore().ReadSecurity(OpenedContainer().Place(), flags, descriptor));
            return descriptor;
        default: Fail(NTE_BAD_TYPE);
    }
}

std::vector<ContainerPlace> Context::ListContainers() const {
    auto places = ContainerStore(KeyOwner(), type_).List();
    if (carrier_)
        std::erase_if(places, [&](const ContainerPlace& place) { return place.carrier.name != carrier_->name; });
    return places;
}

// The buffer must have room for every name in the list, so that the user's choice cannot fail afterwards.
void Context::ChooseName(BYTE* data, DWORD* size) {
    std::vector<ContainerChoice> choices;
    std::vector<Bytes> names;
    std::size_t largest = 0;
    for (const ContainerPlace& place : ListContainers()) {
        choices.push_back({place.name, place.carrier.name});
        names.push_back(AnsiText(place.QualifiedName()));
        largest = std::max(largest, names.back().size());
    }
    GiveSized(largest, data, size, [] {});
    if (data == nullptr) return;
    std::size_t chosen = 0;
    UserPrompt().Show([&](HWND owner) { return ChooseContainer(owner, choices, chosen); });
    Give(names[chosen], data, size);
}

DWORD Context::LoadKeys() {
    DWORD loaded = 0;
    for (const bool signatureKey : {false, true}) {
        if (!OpenedContainer().Record().Key(signatureKey)) continue;
        OpenedContainer().PrivateKey(signatureKey, UserPrompt());
        loaded |= signatureKey ? 2 : 1;
    }
    return loaded;
}

std::vector<Bytes> Context::List(DWORD parameter) {
    std::vector<Bytes> items;
    if (const ParameterChoice* sets = FindChoice(parameter)) return EntriesOf(sets->kind);
    if (parameter == PP_ENUMCONTAINERS) {
        std::set<std::wstring> names;  // a bare name opens the first container that has it
        for (const ContainerPlace& place : ListContainers())
            items.push_back(AnsiText(names.insert(LowerCase(place.name)).second ? place.name : place.UniqueName()));
    } else if (parameter == kParamExtensions) {
        OpenedContainer().Refresh();
        for (const ContainerExtension& extension : OpenedContainer().Record().extensions)
            items.push_back(ExtensionItem(extension));
    } else {
        for (const Algorithm& algorithm : kAlgorithms)
            items.push_back(parameter == PP_ENUMALGS ? ShortRecord(algorithm) : LongRecord(algorithm));
    }
    return items;
}

// CRYPT_FIRST begins; without it the list continues. Without a buffer the list stays where it is, and the size returned
// is that of the largest item at the beginning and of the next one later.
void Context::Step(DWORD parameter, DWORD flags, BYTE* data, DWORD* size) {
    Require((flags & ~DWORD{CRYPT_FIRST | CRYPT_NEXT}) == 0, NTE_BAD_FLAGS);
    Listing& listing = listings_[parameter];
    const bool first = (flags & CRYPT_FIRST) != 0;
    if (first) {
        listing = {};
        listing.items = List(parameter);
    }
    Require(listing.next < listing.items.size(), ERROR_NO_MORE_ITEMS);
    if (first && data == nullptr) return Give(std::ranges::max(listing.items, {}, &Bytes::size), nullptr, size);
    Give(listing.items[listing.next], data, size);
    if (data != nullptr) ++listing.next;
}

void Context::SetParameter(DWORD parameter, BYTE* data, DWORD flags) {
    Require(flags == 0, NTE_BAD_FLAGS);
    if (parameter == PP_CLIENT_HWND) {
        window_.reset();
        if (data != nullptr) window_ = *reinterpret_cast<const HWND*>(data);
        return;
    }
    Require(data != nullptr, ERROR_INVALID_PARAMETER);
    Require(!IsHidden(parameter), NTE_BAD_TYPE);
    if (const ParameterChoice* sets = FindChoice(parameter); sets != nullptr && sets->value == parameter)
        return ChangeSet(sets->kind, data);
    switch (parameter) {
        case kParamCache:
        case kParamDhControl: return ChangeSetting(parameter, data);
        case PP_KEYEXCHANGE_PIN:
        case PP_SIGNATURE_PIN: return OpenedContainer().GivePassword(AnsiPassword(data));
        case kParamChangePassword: {
            const auto& request = *reinterpret_cast<const PasswordRequest*>(data);
            OpenContainer& container = OpenedContainer();
            Require(request.kind == kPasswordByDialog && request.value == nullptr, NTE_BAD_DATA);
            return container.ChangePassword(UserPrompt());
        }
        case kParamAddExtension: return AddExtension(*reinterpret_cast<const ExtensionRequest*>(data));
        default: Fail(NTE_BAD_TYPE);
    }
}

void Context::ChangeSet(ParameterKind kind, const BYTE* data) {
    const auto* set =
        ForParametersOnly() ? SetOfEntry(kind, data) : FindParameterSet(kind, reinterpret_cast<const char*>(data));
    Require(set != nullptr && MayUse(*set), NTE_BAD_DATA);
    if (ForParametersOnly()) return Check(Store().WriteText(StorePathOf(kind, type_).c_str(), Wide(set->identifier)));
    if (!container_ || kind == ParameterKind::Signature || kind == ParameterKind::Exchange) {
        sets_[kind] = set;
        return;
    }
    container_->Modify(UserPrompt(), [&](Container& container) {
        (kind == ParameterKind::Digest ? container.digest : container.cipher) = set;
    });
}

// These settings are the machine's, so that the right to change the provider is needed.
void Context::ChangeSetting(DWORD parameter, const BYTE* data) {
    DWORD rights = 0, number = 0;
    std::memcpy(&number, data, sizeof number);
    const DWORD result = Store().Granted(L"\\config\\Provider", rights);
    Require(result == ERROR_SUCCESS && (rights & kRightWrite) != 0, ERROR_ACCESS_DENIED);
    if (parameter == kParamCache) {
        Require(number <= ReadSetting(kCacheMaximumSetting), NTE_BAD_DATA);
        return Check(WriteSetting(kCacheSetting, number));
    }
    Require(number == 1 || number == 2, NTE_BAD_DATA);
    Require(ReadSetting(kDhMayChangeSetting) != 0, ERROR_ACCESS_DENIED);
    Check(WriteSetting(kDhControlSetting, number));
}

void Context::AddExtension(const ExtensionRequest& request) {
    OpenContainer& opened = OpenedContainer();
    Require(request.identifier != nullptr && (request.value != nullptr || request.size == 0), NTE_BAD_DATA);
    opened.Modify(UserPrompt(), [&](Container& container) {
        container.extensions.push_back(
            {request.identifier, request.critical, Bytes(request.value, request.value + request.size)});
    });
}

}  // namespace softcsp
