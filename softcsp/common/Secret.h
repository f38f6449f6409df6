// Secrets that are overwritten in memory when they are released: bytes, keys and passwords.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "softcsp/common/Bytes.h"

namespace softcsp {

// Overwrites memory. The compiler may not remove it, although nothing reads the memory afterwards.
inline void Wipe(void* memory, std::size_t size) {
    auto* bytes = static_cast<volatile unsigned char*>(memory);
    while (size-- > 0) *bytes++ = 0;
}

template <std::size_t Size>
class Secret {
  public:
    Secret() = default;
    explicit Secret(const std::array<std::uint8_t, Size>& bytes) : bytes_(bytes) {}
    Secret(const Secret&) = default;
    Secret& operator=(const Secret&) = default;
    ~Secret() { Wipe(bytes_.data(), Size); }

    std::span<std::uint8_t, Size> Room() { return bytes_; }
    const std::array<std::uint8_t, Size>& Bytes() const { return bytes_; }
    // Not in constant time, so not for comparisons with what others supply.
    bool operator==(const Secret&) const = default;

  private:
    std::array<std::uint8_t, Size> bytes_{};
};

using SymmetricKey = Secret<32>;

// A password as the user typed it. It is never written anywhere.
class Password {
  public:
    static constexpr std::size_t kLongest = 64;  // characters

    Password() = default;
    explicit Password(std::wstring_view text) : length_(std::min(text.size(), kLongest)) {
        std::memcpy(text_.Room().data(), text.data(), length_ * sizeof(wchar_t));
    }

    std::wstring_view Text() const { return {reinterpret_cast<const wchar_t*>(text_.Bytes().data()), length_}; }
    bool Empty() const { return length_ == 0; }

  private:
    alignas(wchar_t) Secret<kLongest * sizeof(wchar_t)> text_;
    std::size_t length_ = 0;
};

}  // namespace softcsp
