// One setting of the settings document, and what rows are made of: checks of values and rights, and saved places.
#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "console/settings/SavedState.h"
#include "csp/Providers.h"
#include "framework/Result.h"
#include "settings/StoredValue.h"

// Nothing (std::monostate): not set.
using SettingValue = std::variant<std::monostate, bool, std::int64_t, std::wstring>;

struct SettingEntry {
    std::wstring name;
    SettingValue value;

    bool operator==(const SettingEntry&) const = default;
};
using SettingEntries = std::vector<SettingEntry>;

// Why a value can't be applied.
enum class SettingObstacle {
    Unknown,      // this machine has no such setting
    NotAllowed,   // not one of the values that are allowed
    NoRight,      // the user may not write it
    NotOffered,   // the provider doesn't allow it
    NoModule,     // a module or service that it needs isn't installed
    Conflicting,  // contradicts the value of another setting in the same document
};

struct SettingProblem {
    std::wstring name;
    SettingObstacle obstacle;
    std::wstring detail{};  // the allowed values, the module, the other setting; may be empty
};

using SettingProblems = std::vector<SettingProblem>;
using SavedPlaces = std::vector<std::unique_ptr<SavedPlace>>;

// One setting. Its functions call the unit in settings/ that the panel's page uses.
struct SettingRow {
    std::wstring name;
    SettingValue stored;
    bool needsRestart = false;

    // What keeps a changed value from being applied. `document` has the values that all settings will have.
    using Find = std::function<const SettingValue*(std::wstring_view name)>;
    std::function<SettingProblems(const SettingValue& value, const Find& document)> check;

    // Only with a value that `check` accepts.
    std::function<Result<>(const SettingValue& value)> write;

    // The places that `write` changes, saved before it is called.
    std::function<Result<SavedPlaces>()> save;

    // What else follows from the place's new state, once it is put back.
    std::function<Result<>()> afterPutBack;
};

std::wstring Widen(const char* name);

// "security.cache[Provider]"
std::wstring SettingName(const char* name, const std::wstring& whose);

// An empty text is no value; no value, and every value that isn't a text, is an empty text.
SettingValue TextOrNothing(const std::wstring& text);
std::wstring TextIn(const SettingValue& value);

// Problems of the setting `name`, collected condition by condition.
struct CheckedSetting {
    std::wstring name;
    SettingProblems problems{};

    CheckedSetting& Require(bool condition, SettingObstacle obstacle, const std::wstring& detail = {});
    CheckedSetting& RequireFlag(const SettingValue& value);
    CheckedSetting& RequireNumber(const SettingValue& value, std::int64_t least, std::int64_t most);
    // An empty text in `allowed` is no value.
    CheckedSetting& RequireOneOf(const SettingValue& value, const std::vector<std::wstring>& allowed);
};

// Whether the user may write a section, or create it where it is missing: nothing is created to find out. True when not
// even the scope exists.
bool MayWriteOrCreate(std::wstring section);

// What saves the places that a row writes.
using SavePlaces = std::function<Result<SavedPlaces>()>;
SavePlaces SavesParameters(std::vector<std::wstring> paths);
SavePlaces SavesRegistry(std::vector<RegistryPlace> places);

// A value that only its provider can put back, by a call of `putBack`.
std::unique_ptr<SavedPlace> SaveInProvider(std::function<Result<>()> putBack);
SavePlaces SavesInProvider(const std::function<Result<>()>& putBack);

// A row of a table of stored values. `module`: what the value needs and is missing; empty when nothing is.
template <class Settings>
SettingRow RowOf(const StoredValue<Settings>& value, const Settings& settings, bool mayWrite,
                 const std::wstring& module = {}) {
    SettingRow row{.name = Widen(value.name),
                   .stored = {},
                   .needsRestart = value.needsRestart,
                   .check = {},
                   .write = {},
                   .save = SavesParameters({value.path}),
                   .afterPutBack = {}};
    if (value.flag) row.stored = (settings.*value.flag).stored;
    if (value.number) row.stored = std::int64_t{(settings.*value.number).stored};
    row.check = [=, name = row.name](const SettingValue& wanted, const SettingRow::Find&) {
        CheckedSetting checked{name};
        if (value.flag) checked.RequireFlag(wanted);
        if (value.number) checked.RequireNumber(wanted, value.range.least, value.range.most);
        return checked.Require(mayWrite, SettingObstacle::NoRight)
            .Require(module.empty(), SettingObstacle::NoModule, module)
            .problems;
    };
    row.write = [value](const SettingValue& wanted) {
        const auto* number = std::get_if<std::int64_t>(&wanted);
        const Result<> written =
            WriteStoredValue(value.Form(), number ? static_cast<int>(*number) : int{std::get<bool>(wanted)});
        return written && value.afterWrite ? value.afterWrite(written) : written;
    };
    if (value.afterWrite) row.afterPutBack = [value] { return value.afterWrite({}); };
    return row;
}
