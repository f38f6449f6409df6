#include "console/settings/SavedState.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

#include "applet/services/SupportLibrary.h"
#include "framework/Handles.h"
#include "framework/Registry.h"

namespace {

using Text = std::wstring;

struct Missing {
    bool operator==(const Missing&) const = default;
};
struct Flag {
    bool on;
    bool operator==(const Flag&) const = default;
};
// The flag comes last: the library may read a number as a flag, too.
using Parameter = std::variant<Missing, LONG, Text, Flag>;

// A library's failure to find something doesn't say whether it is missing, and its codes are its own. A single failing
// call would then be read as a missing parameter, which would be removed when the state is put back. Therefore each
// state is read twice, and must be the same.
template <class Read>
auto ReadTwice(Read&& read) -> decltype(read()) {
    auto first = read();
    if (!first) return first;
    auto second = read();
    if (second && !(*first == *second)) return Failure{ERROR_INVALID_DATA};
    return second;
}

Result<Parameter> ReadParameterOnce(const Text& path) {
    UniqueSupportValue value;
    if (support_registry_find(path.c_str(), value.put()) != 0) return Parameter(Missing{});
    LONG number = 0;
    if (support_registry_value_long(value.get(), &number) == 0) return Parameter(number);
    Text text;
    const auto getText = [&](wchar_t* buffer, DWORD* length) {
        return support_registry_get_string(path.c_str(), length, buffer);
    };
    if (ReadSupportText(getText, text) == 0) return Parameter(std::move(text));
    BOOL on = FALSE;
    if (support_registry_get_bool(path.c_str(), &on) == 0) return Parameter(Flag{on != FALSE});
    return Failure{ERROR_INVALID_DATA};
}

struct Write {
    const wchar_t* path;
    DWORD operator()(Missing) const { return RemoveParameter(path); }
    DWORD operator()(LONG number) const { return support_registry_put_long(path, number); }
    DWORD operator()(const Text& text) const { return support_registry_put_string(path, text.c_str()); }
    DWORD operator()(Flag flag) const { return support_registry_put_bool(path, flag.on); }
};

Result<> PutBackParameter(const Text& path, const Parameter& state) {
    const Result<Parameter> now = ReadTwice([&] { return ReadParameterOnce(path); });
    if (now && *now == state) return {};
    return TryCode(std::visit(Write{path.c_str()}, state));
}

Text PathIn(const Text& section, const Text& name) {
    return section + L'\\' + name;
}

bool IsSection(const Text& path) {
    UniqueSupportSearch search;
    return support_registry_search_open(path.c_str(), search.put()) == 0;
}

// The names of a section's entries, sorted. Nothing when there is no such section.
Result<std::optional<std::vector<Text>>> ReadNames(const Text& section) {
    UniqueSupportSearch search;
    std::optional<std::vector<Text>> names;
    if (support_registry_search_open(section.c_str(), search.put()) != 0) return names;
    names.emplace();
    UniqueSupportValue entry;
    while (support_registry_search_next(search.get(), entry.put()) == 0) {
        const auto getName = [&](wchar_t* buffer, DWORD* length) {
            return support_registry_value_name(entry.get(), length, buffer);
        };
        if (const DWORD error = ReadSupportText(getName, names->emplace_back())) return Failure{error};
    }
    std::sort(names->begin(), names->end());
    return names;
}

// The sections above a parameter, the uppermost first: "\a", "\a\b".
std::vector<Text> SectionsAbove(const Text& path) {
    std::vector<Text> sections;
    for (size_t end = path.find(L'\\', 1); end != Text::npos; end = path.find(L'\\', end + 1)) {
        sections.push_back(path.substr(0, end));
    }
    return sections;
}

Result<std::vector<Text>> MissingSections(const Text& path) {
    std::vector<Text> missing = SectionsAbove(path);
    std::erase_if(missing, &IsSection);
    return missing;
}

// Removes the sections that came into being, the lowest first, as long as nothing is in them.
Result<> RemoveEmptied(const std::vector<Text>& sections) {
    for (auto section = sections.rbegin(); section != sections.rend(); ++section) {
        const auto names = ReadTwice([&] { return ReadNames(*section); });
        if (!names) return names.Failed();
        if (!*names) continue;
        if (!(*names)->empty()) return {};
        if (const DWORD error = support_registry_delete_section(section->c_str())) return Failure{error};
    }
    return {};
}

class SavedParameter final : public SavedPlace {
  public:
    SavedParameter(Text path, Parameter state, std::vector<Text> missingSections)
        : path_(std::move(path)), state_(std::move(state)), missingSections_(std::move(missingSections)) {}

    Result<> PutBack() const override {
        return PutBackParameter(path_, state_).Then([this] { return RemoveEmptied(missingSections_); });
    }

  private:
    Text path_;
    Parameter state_;
    std::vector<Text> missingSections_;
};

// Parameters and subsections by their names.
struct SectionState {
    bool exists = false;
    std::map<Text, Parameter> parameters;
    std::map<Text, SectionState> sections;

    bool operator==(const SectionState&) const = default;
};

Result<SectionState> ReadSectionOnce(const Text& path) {
    SectionState state;
    const auto names = ReadNames(path);
    if (!names) return names.Failed();
    if (!*names) return state;
    state.exists = true;
    for (const Text& name : **names) {
        const Text inner = PathIn(path, name);
        const Result<Parameter> parameter = ReadParameterOnce(inner);
        if (!parameter) return parameter.Failed();
        if (*parameter != Parameter(Missing{})) {
            state.parameters.emplace(name, *parameter);
            continue;
        }
        Result<SectionState> section = ReadSectionOnce(inner);
        if (!section) return section;
        if (!section->exists) return Failure{ERROR_INVALID_DATA};
        state.sections.emplace(name, *std::move(section));
    }
    return state;
}

Result<> PutBackSection(const Text& path, const SectionState& state) {
    const Result<SectionState> now = ReadTwice([&] { return ReadSectionOnce(path); });
    if (!now) return now.Failed();
    if (*now == state) return {};
    if (!state.exists) return TryCode(support_registry_delete_section(path.c_str()));
    if (!now->exists) {
        if (const DWORD error = support_registry_put_section(path.c_str())) return Failure{error};
    }
    Result<> result;
    for (const auto& [name, section] : now->sections) {
        if (result && !state.sections.contains(name)) result = PutBackSection(PathIn(path, name), {});
    }
    for (const auto& [name, section] : state.sections) {
        if (result) result = PutBackSection(PathIn(path, name), section);
    }
    for (const auto& [name, parameter] : now->parameters) {
        if (result && !state.parameters.contains(name)) result = PutBackParameter(PathIn(path, name), Missing{});
    }
    for (const auto& [name, parameter] : state.parameters) {
        if (result) result = PutBackParameter(PathIn(path, name), parameter);
    }
    return result;
}

class SavedSection final : public SavedPlace {
  public:
    SavedSection(Text path, SectionState state) : path_(std::move(path)), state_(std::move(state)) {}

    Result<> PutBack() const override { return PutBackSection(path_, state_); }

  private:
    Text path_;
    SectionState state_;
};

// Nothing: the value is missing.
using RegistryState = std::optional<RegistryValue>;

Result<RegistryState> ReadRegistryOnce(const RegistryPlace& place) {
    constexpr DWORD kMostBytes = 0x10000;
    Result<RegistryValue> read = ReadRegistryValue(HKEY_LOCAL_MACHINE, place.key, place.value.c_str(), kMostBytes);
    if (read) return RegistryState(*std::move(read));
    if (read.Failed().Is(ERROR_FILE_NOT_FOUND)) return RegistryState();
    return read.Failed();
}

class SavedRegistryValue final : public SavedPlace {
  public:
    SavedRegistryValue(RegistryPlace place, RegistryState state) : place_(std::move(place)), state_(std::move(state)) {}

    Result<> PutBack() const override {
        const Result<RegistryState> now = ReadTwice([this] { return ReadRegistryOnce(place_); });
        if (now && *now == state_) return {};
        UniqueRegistryKey key;
        const LSTATUS opened = RegOpenKeyExW(HKEY_LOCAL_MACHINE, place_.key.c_str(), 0, KEY_SET_VALUE, key.put());
        if (opened != ERROR_SUCCESS) return Failure{static_cast<DWORD>(opened)};
        if (!state_) return TryCode(static_cast<DWORD>(RegDeleteValueW(key.get(), place_.value.c_str())));
        return TryCode(
            static_cast<DWORD>(RegSetValueExW(key.get(), place_.value.c_str(), 0, state_->type, state_->bytes.data(),
                                              static_cast<DWORD>(state_->bytes.size()))));
    }

  private:
    RegistryPlace place_;
    RegistryState state_;
};

}  // namespace

Result<std::unique_ptr<SavedPlace>> SaveParameter(const std::wstring& path) {
    Result<Parameter> state = ReadTwice([&] { return ReadParameterOnce(path); });
    if (!state) return state.Failed();
    Result<std::vector<Text>> missing = ReadTwice([&] { return MissingSections(path); });
    if (!missing) return missing.Failed();
    return std::unique_ptr<SavedPlace>(new SavedParameter(path, *std::move(state), *std::move(missing)));
}

Result<std::unique_ptr<SavedPlace>> SaveSection(const std::wstring& path) {
    Result<SectionState> state = ReadTwice([&] { return ReadSectionOnce(path); });
    if (!state) return state.Failed();
    return std::unique_ptr<SavedPlace>(new SavedSection(path, *std::move(state)));
}

Result<std::unique_ptr<SavedPlace>> SaveRegistryValue(const RegistryPlace& place) {
    Result<RegistryState> state = ReadTwice([&] { return ReadRegistryOnce(place); });
    if (!state) return state.Failed();
    return std::unique_ptr<SavedPlace>(new SavedRegistryValue(place, *std::move(state)));
}
