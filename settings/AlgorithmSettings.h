// The parameter sets that a provider uses by default for one kind of algorithm: the list that the provider offers, and
// the choice among them.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <string>
#include <vector>

#include "settings/StoredValue.h"

// A kind of algorithm, with the provider parameters that list its entries and that is the current one.
struct AlgorithmKind {
    const char* name;  // in exported documents; never changes
    DWORD list, value;
};
inline constexpr AlgorithmKind kAlgorithmKinds[] = {
    {"algorithms.hash", 103, 92},
    {"algorithms.encryption", 104, 93},
    {"algorithms.signature", 105, 94},
    {"algorithms.diffieHellman", 106, 95},
};

// The section of the configuration store in which the provider keeps the choices.
inline constexpr wchar_t kAlgorithmSection[] = L"\\config\\oid";

struct AlgorithmParameter {
    struct Entry {
        std::wstring name;
        std::vector<BYTE> value;  // passed through to the provider unchanged
        std::wstring identifier;  // the same in every language; the name when the provider has nothing else
    };

    DWORD listParameter;   // the provider parameter that lists the entries
    DWORD valueParameter;  // the one that is the current value

    std::vector<Entry> entries;  // in the provider's order; entries without a name are left out
    Setting<int> choice;         // positions in `entries`; -1: none

    // Reads the list and the current value. A value that is not in the list is read as the first entry; of equal
    // entries the last one is chosen. Fails with the provider's code, or without a code if there are no entries; there
    // is no choice then.
    Result<> Read(HCRYPTPROV provider);

    bool Changed() const { return choice.stored >= 0 && choice.Changed(); }

    // Writes a changed choice, which becomes the stored one even if the provider refuses it. Fails with the provider's
    // code.
    Result<> Write(HCRYPTPROV provider);

  private:
    Result<> ReadEntries(HCRYPTPROV provider);
};
