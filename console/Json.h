// Documents as JSON text in UTF-8.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "console/Value.h"

enum class JsonLayout {
    OneLine,
    Indented,  // for files that people read
};

// Valid JSON for any value: half a surrogate pair becomes U+FFFD.
std::string JsonText(const Value& value, JsonLayout layout = JsonLayout::OneLine);

struct ParsedJson {
    std::optional<Value> value;   // empty when the text is no valid document
    std::size_t errorOffset = 0;  // in bytes; only without a value
};

// Reads one document. Refused are fractions, numbers beyond 64 bits, an object that has two members of the same name,
// and values nested more than 32 deep.
ParsedJson ParseJson(std::string_view text);
