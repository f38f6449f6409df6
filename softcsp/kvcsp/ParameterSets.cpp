#include "softcsp/kvcsp/ParameterSets.h"

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

Bytes EntryOf(const ParameterSet& set) {
    const std::size_t identifierSize = std::strlen(set.identifier) + 1;
    const std::size_t nameAt = (sizeof kNameFollows + identifierSize + 1) / sizeof(wchar_t) * sizeof(wchar_t);
    ByteWriter entry;
    entry.Number(kNameFollows + static_cast<std::uint32_t>(nameAt));
    Bytes identifier(nameAt - sizeof kNameFollows);  // zeros up to the name, which is aligned
    std::memcpy(identifier.data(), set.identifier, identifierSize);
    entry.Raw(identifier);
    const wchar_t* name = Language::Get() == kRussian ? set.russianName : set.name;
    entry.Raw({reinterpret_cast<const std::uint8_t*>(name), (std::wcslen(name) + 1) * sizeof(wchar_t)});
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
    StoreValue value;
    std::wstring identifier;
    if (Store().Find(StorePathOf(parameter, providerType).c_str(), value) == ERROR_SUCCESS &&
        value.data.Text(identifier) == ERROR_SUCCESS)
        for (const ParameterSet& set : ParameterSets())
            if (set.kind == parameter.kind && identifier == Wide(set.identifier) && MayUse(set)) return set;
    return DefaultParameterSet(parameter.kind);
}

DWORD WriteMachineSet(const ParameterChoice& parameter, DWORD providerType, const ParameterSet& set) {
    return Store().WriteText(StorePathOf(parameter, providerType).c_str(), Wide(set.identifier));
}

}  // namespace softcsp
