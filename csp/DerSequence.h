// Encoded structures whose size is read from their own header. Free of <windows.h>: the bytes come from outside.
#pragma once

#include <cstddef>
#include <cstdint>

// Whether the bytes are one DER SEQUENCE, such as a certificate: its header and exactly the content that it announces.
// What the content holds is not looked at.
bool IsOneSequence(const std::uint8_t* bytes, std::size_t length);
