#include "pages/ImageHeaders.h"

#include <cstring>

bool HasImageHeaders(const std::uint8_t* bytes, std::size_t length) {
    constexpr std::size_t kDosHeader = 64, kOffsetPlace = 60, kSignatureAndFileHeader = 4 + 20;
    if (length < kDosHeader || std::memcmp(bytes, "MZ", 2) != 0) return false;
    std::size_t offset = 0;  // 32 bits, little-endian, a signed number to the system
    for (std::size_t i = 0; i < 4; ++i) offset |= std::size_t{bytes[kOffsetPlace + i]} << (8 * i);
    if (offset > 0x7FFFFFFF || offset > length || length - offset < kSignatureAndFileHeader) return false;
    return std::memcmp(bytes + offset, "PE\0\0", 4) == 0;
}
