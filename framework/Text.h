// Texts: inserts, comparison, what is shown of foreign texts, and encodings.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>

// `number` in decimal. The panel formats its numbers here and by FillPlaces: the C library's functions would add 50 KB.
std::wstring NumberText(long long number);

// `format` with every "%1" and "%2" replaced by the inserts. Placeholders inside an insert are not replaced. "%%"
// becomes "%". Any other character after "%" is kept, as is a "%" at the end.
std::wstring FillInserts(const std::wstring& format, const std::wstring& insert1, const std::wstring& insert2 = {});

// `format` with printf's places filled in order: "%s" by a text; "%d", "%u" and "%X", with a width and leading zeros if
// given ("%08X"), by a number. Safe for formats from resources: a place without an argument of its type is kept in the
// text, and nothing outside the arguments is read. "%%" becomes "%".
using FormatArgument = std::variant<std::wstring, unsigned>;
std::wstring FillPlaces(const std::wstring& format, std::initializer_list<FormatArgument> arguments);

// Whether `text` begins with `beginning`, ignoring case, in any alphabet.
bool BeginsWith(std::wstring_view text, std::wstring_view beginning) noexcept;

// `text` with each control and format character replaced by its number: "‹U+202E›". These include line breaks, tabs and
// the invisible characters that reverse the text direction. For texts from outside the program, which could otherwise
// change how the surrounding text is shown.
std::wstring VisibleText(std::wstring_view text);

// UTF-8. What is not valid becomes U+FFFD. Both throw std::bad_alloc when the system can't convert.
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view bytes);

// A text in the system's ANSI code page, in which providers return texts. Empty when the system can't convert.
std::wstring FromAnsi(std::string_view bytes);
