#include "applet/services/ParameterEntry.h"

#include <algorithm>

namespace {

constexpr uint32_t kFirstOffset = 0x10000;

uint32_t PlaceOfName(const uint8_t* entry) {
    return uint32_t{entry[0]} | uint32_t{entry[1]} << 8 | uint32_t{entry[2]} << 16 | uint32_t{entry[3]} << 24;
}

bool IsPrintable(char character) {
    return character > 0x20 && character < 0x7F;
}

}  // namespace

bool ReadParameterName(const uint8_t* entry, size_t length, ParameterName& name) {
    if (length < sizeof(uint32_t)) return false;
    const uint32_t place = PlaceOfName(entry);
    if (place < kFirstOffset) {
        name = {place, {}};
        return place != 0;
    }
    name = {};
    for (size_t at = place - kFirstOffset; at + 1 < length; at += 2) {
        const auto character = static_cast<char16_t>(entry[at] | entry[at + 1] << 8);
        if (character == 0) break;
        name.text += character;
    }
    return !name.text.empty();
}

std::string ReadParameterIdentifier(const uint8_t* entry, size_t length) {
    if (length < sizeof(uint32_t)) return {};
    const uint32_t place = PlaceOfName(entry);
    const size_t end = place < kFirstOffset ? length : std::min<size_t>(length, place - kFirstOffset);
    if (end <= sizeof(uint32_t)) return {};
    const std::string bytes(entry + sizeof(uint32_t), entry + end);
    std::string text = bytes.substr(0, bytes.find('\0'));
    const bool padded = bytes.find_first_not_of('\0', text.size()) == std::string::npos;
    if (padded && !text.empty() && std::all_of(text.begin(), text.end(), &IsPrintable)) return text;
    std::string digits;
    for (const char byte : bytes) {
        constexpr char kDigits[] = "0123456789abcdef";
        digits += kDigits[static_cast<uint8_t>(byte) >> 4];
        digits += kDigits[static_cast<uint8_t>(byte) & 15];
    }
    return digits;
}
