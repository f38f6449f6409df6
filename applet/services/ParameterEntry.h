// One entry of a provider's list of values for a parameter, as CryptGetProvParam returns it. The whole entry is the
// value that is written back. It begins with a 32-bit little-endian number: below 0x10000 it is the id of a string;
// otherwise the number less 0x10000 is the offset in bytes, from the entry's begin, of the entry's name: UTF-16 text,
// little-endian, up to its terminator or the entry's end. Without <windows.h>, so that the parser can be fuzzed
// natively.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct ParameterName {
    uint32_t stringId = 0;  // 0: `text` is the name
    std::u16string text;
};

// False when the entry contains no name.
bool ReadParameterName(const uint8_t* entry, size_t length, ParameterName& name);

// What identifies an entry in every language: its bytes between the number and the name. As text when they are
// printable ASCII characters, up to their terminator, else in hexadecimal. Empty when there are none.
std::string ReadParameterIdentifier(const uint8_t* entry, size_t length);
