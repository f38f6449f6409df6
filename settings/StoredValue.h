// Settings as tables: each row is one value of a group of settings, with its place in the configuration store. One
// loop each reads, compares and writes all rows, in table order.
//
//   struct Settings {
//       Setting<bool> usesOcsp;
//       Setting<int> sessions;
//   };
//   constexpr StoredValue<Settings> kValues[] = {
//       {.name = "usesOcsp", .flag = &Settings::usesOcsp, .path = L"\\config\\Parameters\\use_ocsp"},
//       {.name = "sessions", .number = &Settings::sessions, .path = L"\\config\\Parameters\\sessions",
//        .missing = 64, .range = {.least = 0, .most = 65536}},
//   };
#pragma once

#include <windows.h>

#include <algorithm>
#include <span>

#include "framework/Result.h"

// A value as the user sees it and as it is stored.
template <class T>
struct Setting {
    T shown{}, stored{};

    bool Changed() const { return shown != stored; }
    void Reset(const T& value) { shown = stored = value; }
};

struct Range {
    int least = 0, most = 1;
};

// How a flag is stored. Numbers are always stored as numbers.
enum class FlagForm {
    NonZero,       // a number; any but 0 is on, written as 1 or 0
    Positive,      // a number; above 0 is on, written as 1 or 0
    InvertedBool,  // the store's own boolean type, which holds the opposite
};

// Where and how a value is stored, whatever its type. Flags are 0 or 1.
struct StoredForm {
    const wchar_t* path;  // in the configuration store
    int missing;          // holds when nothing is stored, or something that is not a number in the range
    bool isFlag;
    Range range;    // of a number
    FlagForm form;  // of a flag
};

// The stored value; `missing` when there is none, it is not a number, or it is out of range.
int ReadStoredValue(const StoredForm& form) noexcept;

// The same for comparing before a write: a number that is out of range is returned as it is, so that it differs from
// every valid one and is replaced.
int ReadRawValue(const StoredForm& form) noexcept;

// Fails with the code of the configuration store.
Result<> WriteStoredValue(const StoredForm& form, int value) noexcept;

template <class Settings>
struct StoredValue {
    const char* name;  // in exported documents; never changes
    // Exactly one of both is set.
    Setting<bool> Settings::*flag = nullptr;
    Setting<int> Settings::*number = nullptr;
    const wchar_t* path;
    int missing = 0;
    Range range{};  // of a number
    FlagForm form = FlagForm::NonZero;
    bool needsRestart = false;  // a change takes effect with the next start of Windows
    // Called after each attempt to write a change, with the result of all writes up to then. What it returns replaces
    // that result.
    Result<> (*afterWrite)(Result<> soFar) = nullptr;

    constexpr StoredForm Form() const noexcept { return {path, missing, flag != nullptr, range, form}; }
};

template <class Settings>
using StoredValues = std::span<const StoredValue<Settings>>;

enum class StoredNumbers { InRange, Raw };

// Reads into `stored` alone, for settings that are compared with the store as it is at that moment.
template <class Settings>
void RefreshStored(StoredValues<Settings> values, Settings& settings, StoredNumbers numbers = StoredNumbers::InRange) {
    for (const StoredValue<Settings>& row : values) {
        const StoredForm form = row.Form();
        if (row.flag) {
            (settings.*row.flag).stored = ReadStoredValue(form) != 0;
        } else {
            (settings.*row.number).stored = numbers == StoredNumbers::Raw ? ReadRawValue(form) : ReadStoredValue(form);
        }
    }
}

// Reads both `shown` and `stored`.
template <class Settings>
void ReadValues(StoredValues<Settings> values, Settings& settings) {
    RefreshStored(values, settings);
    for (const StoredValue<Settings>& row : values) {
        if (row.flag) {
            (settings.*row.flag).shown = (settings.*row.flag).stored;
        } else {
            (settings.*row.number).shown = (settings.*row.number).stored;
        }
    }
}

template <class Settings>
bool IsChanged(const StoredValue<Settings>& row, const Settings& settings) {
    return row.flag ? (settings.*row.flag).Changed() : (settings.*row.number).Changed();
}

template <class Settings>
bool AnyChanged(StoredValues<Settings> values, const Settings& settings) {
    return std::any_of(values.begin(), values.end(), [&](const auto& row) { return IsChanged(row, settings); });
}

struct WriteReport {
    Result<> result;             // the first failure, unless a row's afterWrite replaced it
    bool restartNeeded = false;  // a row that needs a restart was changed, written or not
};

// Writes the rows whose shown value differs from `stored`; a value that was written becomes `stored`. A row that fails
// stays changed, and the others are still written.
template <class Settings>
WriteReport WriteChanged(StoredValues<Settings> values, Settings& settings) {
    WriteReport report;
    for (const StoredValue<Settings>& row : values) {
        if (!IsChanged(row, settings)) continue;
        const int value = row.flag ? static_cast<int>((settings.*row.flag).shown) : (settings.*row.number).shown;
        const Result<> written = WriteStoredValue(row.Form(), value);
        if (written) {
            if (row.flag) (settings.*row.flag).stored = value != 0;
            if (row.number) (settings.*row.number).stored = value;
        } else if (report.result) {
            report.result = written;
        }
        report.restartNeeded = report.restartNeeded || row.needsRestart;
        if (row.afterWrite) report.result = row.afterWrite(report.result);
    }
    return report;
}
