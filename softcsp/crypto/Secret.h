// Bytes that are nobody's but their owner's: every copy is wiped when it is released.
#pragma once

#include <windows.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "softcsp/common/Bytes.h"

namespace softcsp {

template <std::size_t Size>
class Secret {
  public:
    Secret() = default;
    explicit Secret(const std::array<std::uint8_t, Size>& bytes) : bytes_(bytes) {}
    Secret(const Secret&) = default;
    Secret& operator=(const Secret&) = default;
    ~Secret() { SecureZeroMemory(bytes_.data(), Size); }

    std::span<std::uint8_t, Size> Room() { return bytes_; }
    const std::array<std::uint8_t, Size>& Bytes() const { return bytes_; }
    bool operator==(const Secret&) const = default;  // takes as long as the bytes agree: not for what others supply

  private:
    std::array<std::uint8_t, Size> bytes_{};
};

}  // namespace softcsp
