// One extension of a container as the provider hands it out:
//   critical flag    32 bits, little-endian; above 0: critical
//   length n         32 bits, little-endian
//   value            n bytes, DER as a rule
//   identifier       object identifier, zero-terminated ANSI text
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

// Encoded structures whose size is read from their own header. Free of <windows.h>: the bytes come from outside.

// Whether the bytes are one DER SEQUENCE, such as a certificate: its header and exactly the content that it announces.
// What the content holds is not looked at.
bool IsOneSequence(const std::uint8_t* bytes, std::size_t length);

// Points into the record that it was read from.
struct ExtensionRecord {
    std::uint32_t critical = 0;
    std::span<const std::uint8_t> value;
    std::string_view identifier;  // without its terminator, which follows it in the record
};

// Nothing when the bytes end before the record does. What lies behind the identifier's terminator is left aside.
std::optional<ExtensionRecord> ReadExtensionRecord(const std::uint8_t* bytes, std::size_t length);
