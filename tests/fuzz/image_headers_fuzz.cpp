// Feeds the check for an image's headers with whatever bytes: where it finds them they must lie in the file.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "settings/ImageHeaders.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (!ReadImageHeaders(data, size)) return 0;
    std::uint32_t offset = 0;
    std::memcpy(&offset, data + 60, sizeof offset);
    if (std::uint64_t{offset} + 24 > size || data[offset] != 'P') std::abort();
    return 0;
}
