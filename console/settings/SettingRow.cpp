#include "console/settings/SettingRow.h"

#include <algorithm>
#include <utility>

#include "applet/services/SupportLibrary.h"

std::wstring Widen(const char* name) {
    return {name, name + std::char_traits<char>::length(name)};
}

std::wstring SettingName(const char* name, const std::wstring& whose) {
    return Widen(name) + L'[' + whose + L']';
}

SettingValue TextOrNothing(const std::wstring& text) {
    return text.empty() ? SettingValue() : SettingValue(text);
}

std::wstring TextIn(const SettingValue& value) {
    const std::wstring* text = std::get_if<std::wstring>(&value);
    return text ? *text : std::wstring();
}

CheckedSetting& CheckedSetting::Require(bool condition, SettingObstacle obstacle, const std::wstring& detail) {
    if (!condition) problems.push_back({name, obstacle, detail});
    return *this;
}

CheckedSetting& CheckedSetting::RequireFlag(const SettingValue& value) {
    return Require(std::holds_alternative<bool>(value), SettingObstacle::NotAllowed, L"false, true");
}

CheckedSetting& CheckedSetting::RequireNumber(const SettingValue& value, std::int64_t least, std::int64_t most) {
    const auto* number = std::get_if<std::int64_t>(&value);
    return Require(number && *number >= least && *number <= most, SettingObstacle::NotAllowed,
                   std::to_wstring(least) + L".." + std::to_wstring(most));
}

CheckedSetting& CheckedSetting::RequireOneOf(const SettingValue& value, const std::vector<std::wstring>& allowed) {
    std::wstring list;
    for (const std::wstring& one : allowed) {
        list += (list.empty() ? L"" : L", ") + (one.empty() ? std::wstring(L"null") : one);
    }
    const bool found = std::any_of(allowed.begin(), allowed.end(),
                                   [&](const std::wstring& one) { return value == TextOrNothing(one); });
    return Require(found, SettingObstacle::NotAllowed, list);
}

bool MayWriteOrCreate(std::wstring section) {
    while (true) {
        UniqueSupportSearch search;
        if (support_registry_search_open(section.c_str(), search.put()) == 0) return MayWrite(section.c_str());
        const size_t end = section.rfind(L'\\');
        if (end == 0 || end == std::wstring::npos) return true;  // only the write can show it
        section.resize(end);
    }
}

namespace {

class SavedInProvider final : public SavedPlace {
  public:
    explicit SavedInProvider(std::function<Result<>()> putBack) : putBack_(std::move(putBack)) {}
    Result<> PutBack() const override { return putBack_(); }

  private:
    std::function<Result<>()> putBack_;
};

// `save(place)` for each of them, up to the first failure.
template <class Place, class Save>
Result<SavedPlaces> SaveEach(const std::vector<Place>& list, Save&& save) {
    SavedPlaces places;
    for (const Place& one : list) {
        Result<std::unique_ptr<SavedPlace>> place = save(one);
        if (!place) return place.Failed();
        places.push_back(*std::move(place));
    }
    return places;
}

}  // namespace

SavePlaces SavesParameters(std::vector<std::wstring> paths) {
    return [paths = std::move(paths)] { return SaveEach(paths, &SaveParameter); };
}

SavePlaces SavesRegistry(std::vector<RegistryPlace> places) {
    return [places = std::move(places)] { return SaveEach(places, &SaveRegistryValue); };
}

std::unique_ptr<SavedPlace> SaveInProvider(std::function<Result<>()> putBack) {
    return std::make_unique<SavedInProvider>(std::move(putBack));
}

SavePlaces SavesInProvider(const std::function<Result<>()>& putBack) {
    return [putBack]() -> Result<SavedPlaces> {
        SavedPlaces places;
        places.push_back(SaveInProvider(putBack));
        return places;
    };
}
