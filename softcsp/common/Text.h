// Texts whose letter case does not matter, short names for long ones, and bytes as hexadecimal digits.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "softcsp/common/Bytes.h"

namespace softcsp {

std::wstring LowerCase(std::wstring_view text);
bool SameText(std::wstring_view left, std::wstring_view right);

// FNV-1a of 64 bits over the text in lower case, as 16 hexadecimal digits.
std::wstring TextSum(std::wstring_view text);

// ASCII to wide characters.
std::wstring Wide(std::string_view ascii);

// Two upper-case digits for each byte, the first byte first; parsing accepts both letter cases.
std::wstring HexText(ByteView bytes);
std::optional<Bytes> ParseHex(std::wstring_view text);

}  // namespace softcsp
