// The parameter sets that the provider supports. They are identified by their object identifiers; the names are only
// shown to users.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace softcsp {

using PublicKey = std::array<std::uint8_t, 64>;  // the coordinates of the point, each with the lowest byte first

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
    bool example = false;  // for published examples only: never offered to users
};

std::span<const ParameterSet> ParameterSets();

// Null if there is no such set of that kind.
const ParameterSet* FindParameterSet(ParameterKind kind, std::string_view identifier);

// A curve of either kind, or null.
const ParameterSet* FindCurve(std::string_view identifier);

// The set used unless another one is named.
const ParameterSet& DefaultParameterSet(ParameterKind kind);

}  // namespace softcsp
