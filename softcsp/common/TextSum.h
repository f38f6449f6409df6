// Texts whose letter case doesn't matter, and short names for long ones.
#pragma once

#include <string>
#include <string_view>

namespace softcsp {

std::wstring LowerCase(std::wstring_view text);

// FNV-1a of 64 bits over the text in lower case, as 16 hexadecimal digits.
std::wstring TextSum(std::wstring_view text);

}  // namespace softcsp
