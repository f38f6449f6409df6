// The parameter sets in use: which there are to choose from, and which the machine takes.
#pragma once

#include <windows.h>

#include <string_view>
#include <vector>

#include "softcsp/common/Bytes.h"
#include "softcsp/crypto/ParameterSet.h"

namespace softcsp {

struct ParameterChoice {
    DWORD value;  // number of the parameter that holds the set in use
    DWORD list;   // number of the parameter that lists those there are
    ParameterKind kind;
    const wchar_t* storeName;
};

// Null when the number is none of theirs.
const ParameterChoice* FindChoice(DWORD number);

// An entry as kParamDigestSets has it.
Bytes EntryOf(const ParameterSet& set);
std::vector<Bytes> EntriesOf(ParameterKind kind);
// The set of an entry whose length nobody told, as parameters are set. Null when it is none.
const ParameterSet* SetOfEntry(ParameterKind kind, const BYTE* entry);

// The machine's choice for a provider type, in "\config\oid". Reading gives the default where there is none.
const ParameterSet& MachineSet(const ParameterChoice& parameter, DWORD providerType);
DWORD WriteMachineSet(const ParameterChoice& parameter, DWORD providerType, const ParameterSet& set);  // Win32 code

}  // namespace softcsp
