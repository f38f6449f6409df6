// Headers of executable images. Free of <windows.h>: the bytes come from outside.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

struct ImageHeaders {
    std::uint16_t machine = 0, characteristics = 0;  // of the file header
};

// The headers in a file's bytes; nothing when the bytes end before the file header does. imagehlp.dll looks for the
// signatures but not for the file's end, and would read on behind it.
std::optional<ImageHeaders> ReadImageHeaders(const std::uint8_t* bytes, std::size_t length);
