// Parsers of the encoded structures in a container. They do not include <windows.h>: the bytes come from outside, and
// the parsers are fuzzed natively. An extension record, as the provider returns it, consists of:
//   critical flag    32 bits, little-endian; above 0: critical
//   length n         32 bits, little-endian
//   value            n bytes, usually DER
//   identifier       object identifier, zero-terminated ANSI text
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

// Whether the bytes are one DER SEQUENCE, such as a certificate: its header and exactly the content that it announces.
// The content is not examined.
bool IsOneSequence(const std::uint8_t* bytes, std::size_t length);

// The parts of a record; they point into it.
struct ExtensionRecord {
    std::uint32_t critical = 0;
    std::span<const std::uint8_t> value;
    std::string_view identifier;  // without its terminator, which follows it in the record
};

// Empty when the record is incomplete. Bytes after the identifier's terminator are ignored.
std::optional<ExtensionRecord> ReadExtensionRecord(const std::uint8_t* bytes, std::size_t length);
