// Headers of executable images. Without <windows.h>, so that the parser of foreign bytes can be fuzzed natively.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

struct ImageHeaders {
    std::uint16_t machine = 0, characteristics = 0;  // of the file header
};

// The headers in a file's bytes; nothing when the bytes end before the file header does. imagehlp.dll checks the
// signatures but not the length, and would read beyond the end of a truncated file.
std::optional<ImageHeaders> ReadImageHeaders(const std::uint8_t* bytes, std::size_t length);
