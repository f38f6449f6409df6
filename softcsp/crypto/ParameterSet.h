// The parameter sets that the provider works with. They are known by their object identifiers; the names are only for
// people to read.
#pragma once

#include <span>
#include <string_view>

namespace softcsp {

enum class ParameterKind {
    Signature,  // a curve for keys that sign
    Exchange,   // a curve for keys that sign and agree
    Digest,     // substitution boxes of the hash function
    Cipher,     // substitution boxes of the cipher
};

struct ParameterSet {
    const char* identifier;
    ParameterKind kind;
    const wchar_t* name;
    const wchar_t* russianName;
    bool example;  // made for the published examples only, never to be offered
};

std::span<const ParameterSet> ParameterSets();

// Null when there is no such set of that kind.
const ParameterSet* FindParameterSet(ParameterKind kind, std::string_view identifier);

// The set that is taken when nobody names one.
const ParameterSet& DefaultParameterSet(ParameterKind kind);

}  // namespace softcsp
