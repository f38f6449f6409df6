#include "applet/services/ParameterEntry.h"

bool ReadParameterName(const uint8_t* entry, size_t length, ParameterName& name) {
    constexpr uint32_t kFirstOffset = 0x10000;
    if (length < sizeof(uint32_t)) return false;
    const uint32_t place =
        uint32_t{entry[0]} | uint32_t{entry[1]} << 8 | uint32_t{entry[2]} << 16 | uint32_t{entry[3]} << 24;
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
