// All that the settings pages keep, as one document: names and values in the pages' order. It can be compared with what
// is stored, and applied: either every change is written, or what was written before a failure is put back.
//
// A setting of a provider has the provider's name in brackets after its own: "security.cache[…]". Settings that this
// machine doesn't have aren't in its document.
#pragma once

#include <string>
#include <vector>

#include "console/settings/SettingRow.h"
#include "framework/Result.h"

struct SettingDifference {
    std::wstring name;
    SettingValue here, there;  // stored on this machine; in the document
    bool needsRestart;
};

struct SettingFailure {
    std::wstring name;
    Failure failure;
};

struct ApplyReport {
    std::vector<SettingDifference> written;
    std::vector<SettingFailure> failed;      // the write that ended the sequence; empty after success
    std::vector<SettingFailure> notPutBack;  // places that couldn't be put back after it

    bool Succeeded() const noexcept { return failed.empty(); }
};

// The settings of this machine and user, read when the object is made.
class MachineSettings {
  public:
    // `panel`: the panel's file, which the installer registered (settings/InstalledProduct.h).
    explicit MachineSettings(const std::wstring& panel);
    explicit MachineSettings(std::vector<SettingRow> rows) : rows_(std::move(rows)) {}

    SettingEntries Entries() const;
    bool Has(const std::wstring& name) const;

    // What differs, in the machine's order, then the entries that this machine doesn't have, in the document's.
    // Settings that the document doesn't have are left out.
    std::vector<SettingDifference> Compare(const SettingEntries& document) const;

    // Why the differences can't be applied; empty when they can.
    std::vector<SettingProblem> Check(const SettingEntries& document) const;

    // Writes the differences in the machine's order. Only after Check found nothing. The first failure ends the
    // sequence; then all places written before it, and its own, are put back, the last one first.
    ApplyReport Apply(const SettingEntries& document);

  private:
    std::vector<SettingRow> rows_;
};
