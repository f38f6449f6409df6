#include "softcsp/kvcsp/ParameterSets.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "softcsp/common/Settings.h"
#include "softcsp/common/Store.h"
#include "softcsp/common/Text.h"
#include "softcsp/kvcsp/ProviderInterface.h"

namespace softcsp {
namespace {

constexpr ParameterChoice kParameters[] = {
    {kParamDigestSet, kParamDigestSets, ParameterKind::Digest, L"Digest"},
    {kParamCipherSet, kParamCipherSets, ParameterKind::Cipher, L"Cipher"},
    {kParamSignatureSet, kParamSignatureSets, ParameterKind::Signature, L"Signature"},
    {kParamExchangeSet, kParamExchangeSets, ParameterKind::Exchange, L"Exchange"},
};

constexpr std::uint32_t kNameFollows = 0x10000;  // plus the offset of the name

std::wstring StorePathOf(const ParameterChoice& parameter, DWORD providerType) {
    return L"\\config\\oid\\" + std::to_wstring(providerType) + L'\\' + parameter.storeName;
}

}  // namespace

const ParameterChoice* FindChoice(DWORD number) {
    for (const ParameterChoice& parameter : kParameters)
        if (number == parameter.value || number == parameter.list) return &parameter;
    return nullptr;
}

const ParameterChoice& ChoiceOf(ParameterKind kind) {
    return *std::ranges::find(kParameters, kind, &ParameterChoice::kind);
}

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

// Only the identifier is compared: the name may be in another language now.
const ParameterSet* SetOfEntry(ParameterKind kind, const BYTE* entry) {
    const ParameterSet* set = FindParameterSet(kind, reinterpret_cast<const char*>(entry) + sizeof kNameFollows);
    return set != nullptr && !set->example ? set : nullptr;
}

bool MayUse(const ParameterSet& set) {
    return !set.example || ReadSetting(kExampleSetsSetting) != 0;
}

const ParameterSet& MachineSet(const ParameterChoice& parameter, DWORD providerType) {
    std::wstring identifier;
    Store().ReadText(StorePathOf(parameter, providerType), identifier);
    for (const ParameterSet& set : ParameterSets())
        if (set.kind == parameter.kind && identifier == Wide(set.identifier) && MayUse(set)) return set;
    return DefaultParameterSet(parameter.kind);
}

DWORD WriteMachineSet(const ParameterChoice& parameter, DWORD providerType, const ParameterSet& set) {
    return Store().WriteText(StorePathOf(parameter, providerType).c_str(), Wide(set.identifier));
}

}  // namespace softcsp
