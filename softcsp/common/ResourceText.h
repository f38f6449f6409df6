// Texts in the resources of a module. The parser is independent of <windows.h>, so that it can be fuzzed natively.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace softcsp {

// String number `index` (0 to 15) of one block of a string table: a block is sixteen strings, each with its length (16
// bits) in front. Empty if the block ends before it.
inline std::optional<std::u16string> StringOfBlock(std::span<const std::uint8_t> block, unsigned index) {
    const auto word = [&](std::size_t at) { return static_cast<char16_t>(block[at] | block[at + 1] << 8); };
    for (;; --index) {
        const std::size_t size = block.size() < 2 ? block.size() : 2 + word(0) * std::size_t{2};
        if (size < 2 || size > block.size()) return std::nullopt;
        if (index == 0) {
            std::u16string text;
            for (std::size_t at = 2; at < size; at += 2) text.push_back(word(at));
            return text;
        }
        block = block.subspan(size);
    }
}

}  // namespace softcsp
