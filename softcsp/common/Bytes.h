// Bytes as values and views, and records of little-endian numbers and counted bytes: one writer, and one reader that
// checks every length.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace softcsp {

static_assert(std::endian::native == std::endian::little);

using ByteView = std::span<const std::uint8_t>;
using Bytes = std::vector<std::uint8_t>;

// The bytes of a record or number.
template <class Record>
Bytes BytesOf(const Record& record) {
    const auto* first = reinterpret_cast<const std::uint8_t*>(&record);
    return {first, first + sizeof record};
}

// A text with its terminator.
inline Bytes TextBytes(std::string_view text) {
    Bytes bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
}

// The characters of a text in UTF-16, without a terminator. Native fuzzers have wider ones.
inline Bytes Utf16Bytes(std::wstring_view text) {
    Bytes bytes;
    for (const wchar_t c : text) {
        bytes.push_back(static_cast<std::uint8_t>(c & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(c >> 8));
    }
    return bytes;
}

class ByteWriter {
  public:
    void Raw(ByteView bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
    void Number(std::uint32_t number) { Raw(BytesOf(number)); }
    void Counted(ByteView bytes) {  // the count as a number, then the bytes
        Number(static_cast<std::uint32_t>(bytes.size()));
        Raw(bytes);
    }
    void Text(std::string_view text) { Counted({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}); }

    Bytes Take() { return std::move(bytes_); }

  private:
    Bytes bytes_;
};

// After the first failure everything reads as zero and empty, and Good() stays false.
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
        const ByteView read = rest_.first(count);
        rest_ = rest_.subspan(count);
        return read;
    }
    template <std::size_t Size>
    void Fill(std::span<std::uint8_t, Size> bytes) {
        const ByteView read = Raw(bytes.size());
        if (good_) std::memcpy(bytes.data(), read.data(), read.size());
    }
    std::uint32_t Number() {
        std::array<std::uint8_t, sizeof(std::uint32_t)> bytes{};
        Fill(std::span(bytes));
        return std::bit_cast<std::uint32_t>(bytes);
    }
    ByteView Counted() { return Raw(Number()); }
    Bytes CountedBytes() {
        const ByteView read = Counted();
        return {read.begin(), read.end()};
    }
    std::string Text() {
        const ByteView read = Counted();
        return {read.begin(), read.end()};
    }

  private:
    ByteView rest_;
    bool good_ = true;
};

}  // namespace softcsp
