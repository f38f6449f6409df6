#include "settings/AlgorithmSettings.h"

#include <algorithm>
#include <utility>

#include "applet/services/ParameterEntry.h"
#include "applet/services/Strings.h"

namespace {

using Bytes = std::vector<BYTE>;

// More than any provider offers; a longer list is cut here, since it may not end at all.
constexpr std::size_t kMostEntries = 1000;
constexpr DWORD kMostBytes = 0x10000;  // of one value

Result<> ReadValue(HCRYPTPROV provider, DWORD parameter, DWORD flags, Bytes& value) {
    DWORD length = 0;
    if (!CryptGetProvParam(provider, parameter, nullptr, &length, flags)) return LastFailure();
    if (length > kMostBytes) return Failure{ERROR_INVALID_DATA};
    value.resize(length);
    if (!CryptGetProvParam(provider, parameter, value.data(), &length, flags)) return LastFailure();
    value.resize(std::min<std::size_t>(length, value.size()));
    return {};
}

// False for an entry without a name.
bool ReadEntry(const Bytes& value, AlgorithmParameter::Entry& entry) {
    ParameterName name;
    if (!ReadParameterName(value.data(), value.size(), name)) return false;
    entry.name = name.stringId ? LoadStringLang(name.stringId) : std::wstring(name.text.begin(), name.text.end());
    const std::string identifier = ReadParameterIdentifier(value.data(), value.size());
    entry.identifier = identifier.empty() ? entry.name : std::wstring(identifier.begin(), identifier.end());
    entry.value = value;
    return true;
}

}  // namespace

Result<> AlgorithmParameter::ReadEntries(HCRYPTPROV provider) {
    Bytes value;
    if (const Result<> first = ReadValue(provider, listParameter, CRYPT_FIRST, value); !first) return first;
    // Reading an entry without bytes does not advance the provider's list, so such an entry ends it.
    for (std::size_t read = 0; read < kMostEntries && !value.empty(); ++read) {
        if (AlgorithmParameter::Entry entry; ReadEntry(value, entry)) entries.push_back(std::move(entry));
        value.clear();
        if (!ReadValue(provider, listParameter, 0, value)) break;
    }
    return {};
}

Result<> AlgorithmParameter::Read(HCRYPTPROV provider) {
    entries.clear();
    choice.Reset(-1);
    if (const Result<> listed = ReadEntries(provider); !listed) return listed;
    if (entries.empty()) return Failure{ERROR_SUCCESS};
    Bytes current;
    if (const Result<> read = ReadValue(provider, valueParameter, 0, current); !read) return read;
    const auto last =
        std::find_if(entries.rbegin(), entries.rend(), [&](const Entry& entry) { return entry.value == current; });
    choice.Reset(last == entries.rend() ? 0 : static_cast<int>(entries.rend() - last) - 1);
    return {};
}

Result<> AlgorithmParameter::Write(HCRYPTPROV provider) {
    const auto position = static_cast<std::size_t>(choice.shown);
    if (!Changed() || position >= entries.size()) return {};
    choice.stored = choice.shown;
    return Try(CryptSetProvParam(provider, valueParameter, entries[position].value.data(), 0));
}
