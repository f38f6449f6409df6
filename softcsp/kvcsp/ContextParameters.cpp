// The parameters of a context.
#include <windows.h>
#include <wincrypt.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <set>

#include "softcsp/common/Bytes.h"
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

// Passwords given as parameters are ANSI texts. Empty if the password is too long.
std::optional<Password> AnsiPassword(const BYTE* data) {
    wchar_t text[Password::kLongest + 1] = L"";
    const int length = MultiByteToWideChar(CP_ACP, 0, reinterpret_cast<const char*>(data), -1, text,
                                           static_cast<int>(std::size(text)));
    std::optional<Password> password;
    if (length > 0) password.emplace(std::wstring_view(text, static_cast<std::size_t>(length - 1)));
    Wipe(text, sizeof text);
    return password;
}

DWORD NumberAt(const BYTE* data) {
    DWORD number = 0;
    std::memcpy(&number, data, sizeof number);
    return number;
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

DWORD Context::GetParameter(DWORD parameter, BYTE* data, DWORD* size, DWORD flags) {
    if (size == nullptr) return ERROR_INVALID_PARAMETER;
    if (IsList(parameter)) return Step(parameter, flags, data, size);
    if (IsHidden(parameter)) return Code(NTE_BAD_TYPE);
    Bytes value;
    if (parameter == PP_KEYSET_SEC_DESCR) {
        if (const DWORD result = ContainerValue(parameter, flags, value)) return result;
        return Give(value, data, size);
    }
    if (flags != 0) return Code(NTE_BAD_FLAGS);
    if (parameter == kParamChooseContainer) return ChooseName(data, size);
    if (const DWORD result = Value(parameter, value)) return result;
    return Give(value, data, size);
}

DWORD Context::Value(DWORD parameter, Bytes& value) {
    if (const ParameterChoice* sets = FindChoice(parameter)) return SetValue(*sets, value);
    switch (parameter) {
        case PP_VERSION: value = BytesOf(ReadSetting(kVersionSetting)); break;
        case PP_PROVTYPE: {
            const DWORD reported = ReadSetting(kTypeSetting);
            value = BytesOf(reported != 0 ? reported : type_);
            break;
        }
        case PP_IMPTYPE: value = BytesOf(DWORD{CRYPT_IMPL_SOFTWARE}); break;
        case PP_NAME: value = TextBytes(name_); break;
        case PP_KEYSET_TYPE: value = BytesOf(flags_ & CRYPT_MACHINE_KEYSET); break;
        case PP_KEYSPEC: value = BytesOf(DWORD{AT_KEYEXCHANGE | AT_SIGNATURE}); break;
        case PP_KEYX_KEYSIZE_INC:
        case PP_SIG_KEYSIZE_INC: value = BytesOf(DWORD{0}); break;  // there is only one size
        case kParamCache:
            value = BytesOf(CacheRecord{ReadSetting(kCacheSetting), ReadSetting(kCacheMaximumSetting),
                                        ReadSetting(kCacheAvailableSetting)});
            break;
        case kParamProtectionClass: value = BytesOf(ReadSetting(kClassSetting)); break;
        case kParamDhControl:
            value = BytesOf(DhRecord{ReadSetting(kDhControlSetting), ReadSetting(kDhMayChangeSetting)});
            break;
        case kParamBuild:
            value = BytesOf(BuildRecord{.size = sizeof(BuildRecord),
                                        .build = ReadSetting(kBuildSetting),
                                        .debug = ReadSetting(kDebugSetting),
                                        .reserved = {}});
            break;
        default: return ContainerValue(parameter, 0, value);
    }
    return ERROR_SUCCESS;
}

DWORD Context::ContainerValue(DWORD parameter, DWORD flags, Bytes& value) {
    if (parameter != PP_CONTAINER && parameter != PP_UNIQUE_CONTAINER && parameter != kParamQualifiedName &&
        parameter != kParamLoadKeys && parameter != kParamIntegrity && parameter != PP_KEYSET_SEC_DESCR)
        return Code(NTE_BAD_TYPE);
    if (!container_) return Code(NTE_NOT_FOUND);
    DWORD damage = 0;
    switch (parameter) {
        case PP_CONTAINER: value = AnsiText(container_->Place().name); break;
        case PP_UNIQUE_CONTAINER: value = AnsiText(container_->Place().UniqueName()); break;
        case kParamQualifiedName: value = AnsiText(container_->Place().QualifiedName()); break;
        case kParamLoadKeys: return LoadKeys(value);
        case PP_KEYSET_SEC_DESCR: return container_->InStore().ReadSecurity(container_->Place(), flags, value);
        default:
            if (const DWORD result = container_->Integrity(damage)) return result;
            value = BytesOf(damage);
    }
    return ERROR_SUCCESS;
}

DWORD Context::SetValue(const ParameterChoice& parameter, Bytes& value) const {
    value =
        ForParametersOnly() ? EntryOf(MachineSet(parameter, type_)) : TextBytes(SetInUse(parameter.kind).identifier);
    return ERROR_SUCCESS;
}

std::vector<ContainerPlace> Context::ListContainers() const {
    auto places = ContainerStore(KeyOwner(), type_).List();
    if (carrier_)
        std::erase_if(places, [&](const ContainerPlace& place) { return place.carrier.name != carrier_->name; });
    return places;
}

// The buffer must have room for every name in the list, so that the user's choice cannot fail afterwards.
DWORD Context::ChooseName(BYTE* data, DWORD* size) {
    const Prompt prompt = UserPrompt();
    if (prompt.silent) return Code(NTE_SILENT_CONTEXT);
    const auto places = ListContainers();
    std::vector<ContainerChoice> choices;
    std::vector<Bytes> names;
    std::size_t largest = 0;
    for (const ContainerPlace& place : places) {
        choices.push_back({place.name, place.carrier.name});
        names.push_back(AnsiText(place.QualifiedName()));
        largest = std::max(largest, names.back().size());
    }
    if (data == nullptr || *size < largest) {
        *size = static_cast<DWORD>(largest);
        return data == nullptr ? ERROR_SUCCESS : ERROR_MORE_DATA;
    }
    std::size_t chosen = 0;
    const DWORD result = prompt.Show([&](HWND owner) { return ChooseContainer(owner, choices, chosen); });
    return result != ERROR_SUCCESS ? result : Give(names[chosen], data, size);
}

DWORD Context::LoadKeys(Bytes& value) {
    DWORD loaded = 0;
    for (const bool signatureKey : {false, true}) {
        std::optional<KeyPair> pair;
        const DWORD result = container_->PrivateKey(signatureKey, UserPrompt(), pair);
        if (result == Code(NTE_NO_KEY)) continue;
        if (result != ERROR_SUCCESS) return result;
        loaded |= signatureKey ? 2 : 1;
    }
    value = BytesOf(loaded);
    return ERROR_SUCCESS;
}

DWORD Context::List(DWORD parameter, std::vector<Bytes>& items) {
    if (const ParameterChoice* sets = FindChoice(parameter)) {
        items = EntriesOf(sets->kind);
    } else if (parameter == PP_ENUMCONTAINERS) {
        std::set<std::wstring> names;  // a bare name opens the first container that has it
        for (const ContainerPlace& place : ListContainers())
            items.push_back(AnsiText(names.insert(LowerCase(place.name)).second ? place.name : place.UniqueName()));
    } else if (parameter == kParamExtensions) {
        if (!container_) return Code(NTE_NOT_FOUND);
        if (const DWORD result = container_->Refresh()) return result;
        for (const ContainerExtension& extension : container_->Record().extensions)
            items.push_back(ExtensionItem(extension));
    } else {
        for (const Algorithm& algorithm : kAlgorithms)
            items.push_back(parameter == PP_ENUMALGS ? ShortRecord(algorithm) : LongRecord(algorithm));
    }
    return ERROR_SUCCESS;
}

// CRYPT_FIRST begins; without it the list continues. Without a buffer the list stays where it is, and the size returned
// is that of the largest item at the beginning and of the next one later.
DWORD Context::Step(DWORD parameter, DWORD flags, BYTE* data, DWORD* size) {
    if ((flags & ~DWORD{CRYPT_FIRST | CRYPT_NEXT}) != 0) return Code(NTE_BAD_FLAGS);
    Listing& listing = listings_[parameter];
    const bool first = (flags & CRYPT_FIRST) != 0;
    if (first) {
        listing = {};
        if (const DWORD result = List(parameter, listing.items)) return result;
    }
    if (listing.next == listing.items.size()) return ERROR_NO_MORE_ITEMS;
    if (first && data == nullptr) {
        const auto largest = std::max_element(listing.items.begin(), listing.items.end(),
                                              [](const Bytes& a, const Bytes& b) { return a.size() < b.size(); });
        return Give(*largest, nullptr, size);
    }
    const DWORD result = Give(listing.items[listing.next], data, size);
    if (data != nullptr && result == ERROR_SUCCESS) ++listing.next;
    return result;
}

DWORD Context::SetParameter(DWORD parameter, BYTE* data, DWORD flags) {
    if (flags != 0) return Code(NTE_BAD_FLAGS);
    if (parameter == PP_CLIENT_HWND) {
        window_.reset();
        if (data != nullptr) window_ = *reinterpret_cast<const HWND*>(data);
        return ERROR_SUCCESS;
    }
    if (data == nullptr) return ERROR_INVALID_PARAMETER;
    if (IsHidden(parameter)) return Code(NTE_BAD_TYPE);
    if (const ParameterChoice* sets = FindChoice(parameter); sets != nullptr && sets->value == parameter)
        return ChangeSet(*sets, data);
    if (parameter == kParamCache || parameter == kParamDhControl) return ChangeSetting(parameter, data);
    return ChangeContainer(parameter, data);
}

DWORD Context::ChangeSet(const ParameterChoice& parameter, const BYTE* data) {
    const auto* set = ForParametersOnly() ? SetOfEntry(parameter.kind, data)
                                          : FindParameterSet(parameter.kind, reinterpret_cast<const char*>(data));
    if (set == nullptr || !MayUse(*set)) return Code(NTE_BAD_DATA);
    if (ForParametersOnly()) return WriteMachineSet(parameter, type_, *set);
    if (!container_ || parameter.kind == ParameterKind::Signature || parameter.kind == ParameterKind::Exchange) {
        sets_[parameter.kind] = set;
        return ERROR_SUCCESS;
    }
    return container_->Modify(UserPrompt(), [&](Container& container) {
        (parameter.kind == ParameterKind::Digest ? container.digest : container.cipher) = set;
        return DWORD{ERROR_SUCCESS};
    });
}

// These settings are the machine's, so that the right to change the provider is needed.
DWORD Context::ChangeSetting(DWORD parameter, const BYTE* data) {
    DWORD rights = 0;
    if (Store().Granted(L"\\config\\Provider", rights) != ERROR_SUCCESS || (rights & kRightWrite) == 0)
        return ERROR_ACCESS_DENIED;
    const DWORD number = NumberAt(data);
    if (parameter == kParamCache) {
        if (number > ReadSetting(kCacheMaximumSetting)) return Code(NTE_BAD_DATA);
        return WriteSetting(kCacheSetting, number);
    }
    if (number != 1 && number != 2) return Code(NTE_BAD_DATA);
    return ReadSetting(kDhMayChangeSetting) != 0 ? WriteSetting(kDhControlSetting, number) : ERROR_ACCESS_DENIED;
}

DWORD Context::ChangeContainer(DWORD parameter, const BYTE* data) {
    if (parameter != PP_KEYEXCHANGE_PIN && parameter != PP_SIGNATURE_PIN && parameter != kParamChangePassword &&
        parameter != kParamAddExtension)
        return Code(NTE_BAD_TYPE);
    if (!container_) return Code(NTE_NOT_FOUND);
    if (parameter == kParamChangePassword) {
        const auto& request = *reinterpret_cast<const PasswordRequest*>(data);
        const bool known = request.kind == kPasswordByDialog && request.value == nullptr;
        return known ? container_->ChangePassword(UserPrompt()) : Code(NTE_BAD_DATA);
    }
    if (parameter == kParamAddExtension) {
        const auto& request = *reinterpret_cast<const ExtensionRequest*>(data);
        if (request.identifier == nullptr || (request.value == nullptr && request.size != 0)) return Code(NTE_BAD_DATA);
        return container_->Modify(UserPrompt(), [&](Container& container) {
            container.extensions.push_back(
                {request.identifier, request.critical, Bytes(request.value, request.value + request.size)});
            return DWORD{ERROR_SUCCESS};
        });
    }
    const auto password = AnsiPassword(data);
    if (!password) return Code(NTE_BAD_DATA);
    container_->GivePassword(*password);
    return ERROR_SUCCESS;
}

}  // namespace softcsp
