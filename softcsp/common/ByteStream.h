// Records of little-endian numbers and counted bytes: one writer, one reader that checks every length.
#pragma once

#include <array>
#include <bit>
#include <cstring>
#include <string>

#include "softcsp/common/Bytes.h"

namespace softcsp {

static_assert(std::endian::native == std::endian::little);

class ByteWriter {
  public:
    void Raw(ByteView bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
    void Number(std::uint32_t number) {
        std::uint8_t bytes[sizeof number];
        std::memcpy(bytes, &number, sizeof number);
        Raw(bytes);
    }
    void Counted(ByteView bytes) {  // the count as a number, then the bytes
        Number(static_cast<std::uint32_t>(bytes.size()));
        Raw(bytes);
    }
    void Text(std::string_view text) { Counted({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}); }

    Bytes Take() { return std::move(bytes_); }

  private:
    Bytes bytes_;
};

// After the first failure nothing more is given: everything reads as zero and empty, and Good() is false for good.
class ByteReader {
  public:
    explicit ByteReader(ByteView bytes) : rest_(bytes) {}

    bool Good() const { return good_; }
    bool Ended() const { return good_ && rest_.empty(); }
    void Fail() { good_ = false; }

    ByteView Raw(std::size_t count) {
        if (!good_ || count > rest_.size()) {
            good_ = false;
            return {};
        }
        const ByteView taken = rest_.first(count);
        rest_ = rest_.subspan(count);
        return taken;
    }
    template <std::size_t Size>
    void Fill(std::span<std::uint8_t, Size> room) {
        const ByteView taken = Raw(room.size());
        if (good_) std::memcpy(room.data(), taken.data(), taken.size());
    }
    std::uint32_t Number() {
        std::array<std::uint8_t, sizeof(std::uint32_t)> bytes{};
        Fill(std::span(bytes));
        return std::bit_cast<std::uint32_t>(bytes);
    }
    ByteView Counted() { return Raw(Number()); }
    Bytes CountedBytes() {
        const ByteView taken = Counted();
        return {taken.begin(), taken.end()};
    }
    std::string Text() {
        const ByteView taken = Counted();
        return {taken.begin(), taken.end()};
    }

  private:
    ByteView rest_;
    bool good_ = true;
};

}  // namespace softcsp
