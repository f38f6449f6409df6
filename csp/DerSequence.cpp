#include "csp/DerSequence.h"

bool IsOneSequence(const std::uint8_t* bytes, std::size_t length) {
    constexpr std::uint8_t kSequence = 0x30, kLongForm = 0x80;
    constexpr std::size_t kMostLengthBytes = 4;
    if (length < 2 || bytes[0] != kSequence) return false;
    std::size_t head = 2, content = bytes[1];
    if (content & kLongForm) {
        const std::size_t count = content & ~std::size_t{kLongForm};
        if (count == 0 || count > kMostLengthBytes || length - head < count) return false;
        for (content = 0; head < 2 + count; ++head) content = content << 8 | bytes[head];
    }
    return content == length - head;
}
