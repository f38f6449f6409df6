// The language of the product's windows: each user's own and the machine's default.
#pragma once

#include "framework/Result.h"
#include "settings/StoredValue.h"

// Language ids, kEnglish or kRussian (applet/services/Strings.h).
struct LanguageSettings {
    // In the configuration store.
    static constexpr wchar_t kMachineSection[] = L"\\config", kMachinePath[] = L"\\config\\Language";
    static constexpr wchar_t kUserSection[] = L"\\local", kUserPath[] = L"\\local\\Language";

    static constexpr int kSystemDefault = 0;  // of the user's language: none is stored

    // `stored` is kSystemDefault when nothing is stored. An invalid value is stored -1 of the user's and 0 of the
    // machine's language. A language that may not be written never counts as changed because of what is stored.
    Setting<int> user, machine;
    bool mayWriteUser = false, mayWriteMachine = false;
    // A stored language was missing or invalid, so that what is shown differs from it without a change by the user.
    bool storedInvalid = false;

    void Read();
    bool Changed() const { return machine.Changed() || user.Changed(); }

    // Write even what is unchanged; call them only with the right to write. They fail with the code of the
    // configuration store.
    Result<> WriteMachine();
    Result<> WriteUser();  // kSystemDefault: removes the stored language
};
