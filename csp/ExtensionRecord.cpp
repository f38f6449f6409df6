#include "csp/ExtensionRecord.h"

#include <cstring>

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

namespace {

constexpr std::size_t kHead = 2 * sizeof(std::uint32_t);

std::uint32_t Number(const std::uint8_t* bytes) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

}  // namespace

std::optional<ExtensionRecord> ReadExtensionRecord(const std::uint8_t* bytes, std::size_t length) {
    if (length < kHead) return {};
    const std::size_t size = Number(bytes + sizeof(std::uint32_t));
    const std::size_t rest = length - kHead;
    if (size > rest) return {};
    const std::uint8_t* value = bytes + kHead;
    const std::uint8_t* identifier = value + size;
    const std::size_t left = rest - size;
    if (left == 0) return {};
    const void* end = std::memchr(identifier, 0, left);
    if (!end) return {};
    return ExtensionRecord{Number(bytes),
                           {value, size},
                           {reinterpret_cast<const char*>(identifier),
                            static_cast<std::size_t>(static_cast<const std::uint8_t*>(end) - identifier)}};
}
