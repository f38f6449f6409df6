// Texts in the resources of a module, parsed from their bytes. Every length is checked against the bytes present.
// Independent of <windows.h>, so that it can be fuzzed natively with sanitizers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace softcsp {

using ResourceBytes = std::span<const std::uint8_t>;

// String number `index` (0 to 15) of one block of a string table; empty if the block ends before it.
std::optional<std::u16string> StringOfBlock(ResourceBytes block, unsigned index);

// The value `name` from StringFileInfo of a version resource. `block` is eight hexadecimal digits, language and code
// page ("041904b0"), in any letter case.
std::optional<std::u16string> VersionString(ResourceBytes version, std::u16string_view block, std::u16string_view name);

// The first entry of the translation table, as the name of its block.
std::optional<std::u16string> FirstTranslation(ResourceBytes version);

}  // namespace softcsp
