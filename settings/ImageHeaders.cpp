#include "settings/ImageHeaders.h"

#include <cstring>

std::optional<ImageHeaders> ReadImageHeaders(const std::uint8_t* bytes, std::size_t length) {
    constexpr std::size_t kDosHeader = 64, kOffsetPlace = 60, kSignature = 4, kFileHeader = 20;
    constexpr std::size_t kMachinePlace = kSignature, kCharacteristicsPlace = kSignature + 18;
    if (length < kDosHeader || std::memcmp(bytes, "MZ", 2) != 0) return {};
    std::size_t offset = 0;  // 32 bits, little-endian, a signed number to the system
    for (std::size_t i = 0; i < 4; ++i) offset |= std::size_t{bytes[kOffsetPlace + i]} << (8 * i);
    if (offset > 0x7FFFFFFF || offset > length || length - offset < kSignature + kFileHeader) return {};
    const std::uint8_t* headers = bytes + offset;
    if (std::memcmp(headers, "PE\0\0", kSignature) != 0) return {};
    const auto number = [headers](std::size_t place) {
        return static_cast<std::uint16_t>(headers[place] | headers[place + 1] << 8);
    };
    return ImageHeaders{number(kMachinePlace), number(kCharacteristicsPlace)};
}
