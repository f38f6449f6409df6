// The parameter sets that programs can choose, and the machine's choice.
#pragma once

#include <windows.h>

#include <string_view>
#include <vector>

#include "softcsp/common/Bytes.h"
#include "softcsp/crypto/ParameterSet.h"

namespace softcsp {

struct ParameterChoice {
    DWORD value;  // number of the parameter that holds the set in use
    DWORD list;   // number of the parameter that lists all sets
    ParameterKind kind;
    const wchar_t* storeName;
};

// Null for every other number.
const ParameterChoice* FindChoice(DWORD number);
const ParameterChoice& ChoiceOf(ParameterKind kind);

// An entry in the form of kParamDigestSets.
Bytes EntryOf(const ParameterSet& set);
std::vector<Bytes> EntriesOf(ParameterKind kind);
// The set of an entry, whose length is not passed when parameters are set. Null if there is no such set.
const ParameterSet* SetOfEntry(ParameterKind kind, const BYTE* entry);

// The sets of published examples are for tests only.
bool MayUse(const ParameterSet& set);

// The machine's choice for a provider type, in "\config\oid"; the default if there is none.
const ParameterSet& MachineSet(const ParameterChoice& parameter, DWORD providerType);
DWORD WriteMachineSet(const ParameterChoice& parameter, DWORD providerType, const ParameterSet& set);  // Win32 code

}  // namespace softcsp
