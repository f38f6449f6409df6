// Bytes as values and as views of them.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace softcsp {

using ByteView = std::span<const std::uint8_t>;
using Bytes = std::vector<std::uint8_t>;

}  // namespace softcsp
