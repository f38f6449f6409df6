#include "console/settings/SettingsDocument.h"

#include <algorithm>
#include <new>

#include "console/settings/SettingRows.h"
#include "settings/InstalledProduct.h"

namespace {

const SettingEntry* FindEntry(const SettingEntries& entries, std::wstring_view name) {
    const auto found =
        std::find_if(entries.begin(), entries.end(), [&](const SettingEntry& entry) { return entry.name == name; });
    return found == entries.end() ? nullptr : &*found;
}

// What was saved of one setting.
struct SavedSetting {
    const SettingRow* row;
    SavedPlaces places;
};

// All places are tried. Returns the first failure.
Result<> PutBack(const SavedSetting& saved) {
    Result<> result;
    for (auto place = saved.places.rbegin(); place != saved.places.rend(); ++place) {
        const Result<> putBack = (*place)->PutBack();
        if (result) result = putBack;
    }
    if (!saved.row->afterPutBack) return result;
    const Result<> after = saved.row->afterPutBack();
    return result ? after : result;
}

// Saves the places of a setting, then writes it.
Result<> Write(const SettingRow& row, const SettingValue& value, std::vector<SavedSetting>& saved) {
    Result<SavedPlaces> places = row.save();
    if (!places) return places.Failed();
    saved.push_back({&row, *std::move(places)});
    return row.write(value);
}

}  // namespace

MachineSettings::MachineSettings(const std::wstring& panel) {
    AddLanguageRows(rows_);
    AddTimeoutRows(rows_);
    AddAlgorithmRows(rows_, InstalledProduct(panel).ProviderName());
    AddSecurityRows(rows_);
    AddWinlogonRows(rows_);
    AddTlsRows(rows_);
}

SettingEntries MachineSettings::Entries() const {
    SettingEntries entries;
    for (const SettingRow& row : rows_) entries.push_back({row.name, row.stored});
    return entries;
}

bool MachineSettings::Has(const std::wstring& name) const {
    return std::any_of(rows_.begin(), rows_.end(), [&](const SettingRow& row) { return row.name == name; });
}

std::vector<SettingDifference> MachineSettings::Compare(const SettingEntries& document) const {
    std::vector<SettingDifference> differences;
    for (const SettingRow& row : rows_) {
        const SettingEntry* entry = FindEntry(document, row.name);
        if (entry && entry->value != row.stored) {
            differences.push_back({row.name, row.stored, entry->value, row.needsRestart});
        }
    }
    const SettingEntries here = Entries();
    for (const SettingEntry& entry : document) {
        if (!FindEntry(here, entry.name)) differences.push_back({entry.name, {}, entry.value, false});
    }
    return differences;
}

std::vector<SettingProblem> MachineSettings::Check(const SettingEntries& document) const {
    std::vector<SettingProblem> problems;
    const SettingEntries here = Entries();
    const SettingRow::Find find = [&](std::wstring_view name) -> const SettingValue* {
        const SettingEntry* entry = FindEntry(document, name);
        if (!entry) entry = FindEntry(here, name);
        return entry ? &entry->value : nullptr;
    };
    for (const SettingDifference& difference : Compare(document)) {
        const auto row = std::find_if(rows_.begin(), rows_.end(),
                                      [&](const SettingRow& one) { return one.name == difference.name; });
        if (row == rows_.end()) {
            problems.push_back({difference.name, SettingObstacle::Unknown});
            continue;
        }
        for (SettingProblem& problem : row->check(difference.there, find)) problems.push_back(std::move(problem));
    }
    return problems;
}

ApplyReport MachineSettings::Apply(const SettingEntries& document) {
    ApplyReport report;
    std::vector<SavedSetting> saved;
    saved.reserve(rows_.size());
    SettingEntries wanted = Entries();
    for (std::size_t i = 0; i < rows_.size() && report.Succeeded(); ++i) {
        const SettingRow& row = rows_[i];
        const SettingEntry* entry = FindEntry(document, row.name);
        if (!entry || entry->value == row.stored) continue;
        Result<> written;
        try {
            wanted[i].value = entry->value;
            report.written.push_back({row.name, row.stored, entry->value, row.needsRestart});
            written = Write(row, entry->value, saved);
        } catch (const std::bad_alloc&) {
            written = Failure{static_cast<DWORD>(E_OUTOFMEMORY)};
        }
        if (!written) report.failed.push_back({row.name, written.Failed()});
    }
    if (report.Succeeded()) {
        for (std::size_t i = 0; i < rows_.size(); ++i) rows_[i].stored.swap(wanted[i].value);
        return report;
    }
    report.written.clear();
    for (auto setting = saved.rbegin(); setting != saved.rend(); ++setting) {
        Result<> putBack;
        try {
            putBack = PutBack(*setting);
        } catch (const std::bad_alloc&) {
            putBack = Failure{static_cast<DWORD>(E_OUTOFMEMORY)};
        }
        if (!putBack) report.notPutBack.push_back({setting->row->name, putBack.Failed()});
    }
    return report;
}
