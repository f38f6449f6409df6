// Secrets that are overwritten in memory when they are released: bytes, keys and passwords.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
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

    Password() { text_.reserve(kLongest); }
    explicit Password(std::wstring_view text) : Password() { text_ = text.substr(0, kLongest); }
    ~Password() { Wipe(text_.data(), text_.capacity() * sizeof(wchar_t)); }
    Password(const Password& other) : Password(other.Text()) {}
    Password& operator=(const Password& other) {
        if (this != &other) {
            Wipe(text_.data(), text_.capacity() * sizeof(wchar_t));
            text_ = other.text_;
        }
        return *this;
    }

    std::wstring_view Text() const { return text_; }
    bool Empty() const { return text_.empty(); }

  private:
    std::wstring text_;  // never exceeds the reserved capacity, so that it is never moved and left behind
};

}  // namespace softcsp
