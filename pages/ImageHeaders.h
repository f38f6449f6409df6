// Headers of executable images. Free of <windows.h>: the bytes come from outside.
#pragma once

#include <cstddef>
#include <cstdint>

// Whether a file's bytes hold an image's headers up to the file header's end. imagehlp.dll looks for the signatures but
// not for the file's end, and would read on behind it.
bool HasImageHeaders(const std::uint8_t* bytes, std::size_t length);
