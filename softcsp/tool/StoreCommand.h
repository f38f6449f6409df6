// "store …" and "set …": what the tool does with the configuration store and with the provider's settings.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace softcsp {

using Arguments = std::span<const std::wstring_view>;

// Both throw Failure and answer false when the arguments make no sense.
bool RunStore(Arguments arguments);
bool RunSet(Arguments arguments);

// A whole decimal or 0x number of 32 bits.
std::optional<unsigned long> ParseNumber(std::wstring_view text);

}  // namespace softcsp
