#include "softcsp/kvcsp/ParameterSets.h"

#include <cstring>
#include <string>

#include "softcsp/common/ByteStream.h"
#include "softcsp/common/Store.h"
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
    entry.Raw({reinterpret_cast<const std::uint8_t*>(set.name), (std::wcslen(set.name) + 1) * sizeof(wchar_t)});
    return entry.Take();
}

std::vector<Bytes> EntriesOf(ParameterKind kind) {
    std::vector<Bytes> entries;
    for (const ParameterSet& set : ParameterSets())
        if (set.kind == kind && !set.example) entries.push_back(EntryOf(set));
    return entries;
}

const ParameterSet* SetOfEntry(ParameterKind kind, const BYTE* entry) {
    for (const ParameterSet& set : ParameterSets()) {
        if (set.kind != kind || set.example) continue;
        // As far as it agrees with the set's own entry it can't have ended.
        const Bytes own = EntryOf(set);
        std::size_t at = 0;
        while (at < own.size() && entry[at] == own[at]) ++at;
        if (at == own.size()) return &set;
    }
    return nullptr;
}

const ParameterSet& MachineSet(const ParameterChoice& parameter, DWORD providerType) {
    StoreValue value;
    std::wstring identifier;
    if (Store().Find(StorePathOf(parameter, providerType).c_str(), value) == ERROR_SUCCESS &&
        value.data.Text(identifier) == ERROR_SUCCESS)
        for (const ParameterSet& set : ParameterSets())
            if (set.kind == parameter.kind &&
                identifier == std::wstring(set.identifier, set.identifier + std::strlen(set.identifier)))
                return set;
    return DefaultParameterSet(parameter.kind);
}

DWORD WriteMachineSet(const ParameterChoice& parameter, DWORD providerType, const ParameterSet& set) {
    return Store().PutText(StorePathOf(parameter, providerType).c_str(),
                           std::wstring(set.identifier, set.identifier + std::strlen(set.identifier)));
}

}  // namespace softcsp
