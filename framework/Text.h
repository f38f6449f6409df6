// Texts with inserts.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>

// `format` with every "%1" and "%2" replaced by the inserts, which are taken as they stand: nothing inside an insert is
// replaced again. "%%" gives "%". Any other character after "%" is kept, as is a "%" at the end.
std::wstring FillInserts(const std::wstring& format, const std::wstring& insert1, const std::wstring& insert2 = {});

// `format` with printf's places filled in order: "%s" by a text; "%d", "%u" and "%X", with a width and leading zeros if
// given ("%08X"), by a number. Made for formats that come out of resources: a place without a fitting argument stays in
// the text as it is, and nothing outside the arguments is ever read. "%%" gives "%".
using FormatArgument = std::variant<std::wstring, unsigned>;
std::wstring FillPlaces(const std::wstring& format, std::initializer_list<FormatArgument> arguments);

// `text` with each control and format character as its number: "‹U+202E›". These are line breaks and tabs as well as
// the invisible characters that turn the direction of others. For texts from outside the program, which could
// otherwise rewrite what is shown around them.
std::wstring VisibleText(std::wstring_view text);
