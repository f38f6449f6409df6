// UTF-8, in which the program reads and writes files and pipes. Both functions throw std::bad_alloc when the system
// can't convert.
#pragma once

#include <string>
#include <string_view>

// Half of a surrogate pair without the other half becomes U+FFFD, so that the result is always valid.
std::string ToUtf8(std::wstring_view text);

// Bytes that are not valid UTF-8 become U+FFFD.
std::wstring FromUtf8(std::string_view bytes);
