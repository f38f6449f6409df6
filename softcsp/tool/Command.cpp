#include "softcsp/tool/Command.h"

#include <algorithm>
#include <charconv>
#include <cwchar>

namespace softcsp {

Options::Options(Arguments arguments, std::span<const Option> known, Count names) {
    bool onlyNames = false;
    while (!arguments.empty()) {
        std::size_t taken = 1;
        if (!onlyNames && arguments[0] == L"--") {
            onlyNames = true;
        } else if (!onlyNames && arguments[0].starts_with(L"--")) {
            taken = Read(arguments, known);
        } else {
            names_.emplace_back(arguments[0]);
        }
        arguments = arguments.subspan(taken);
    }
    if (names_.size() < names.least) throw WrongUsage{L"a name or value is missing"};
    if (names_.size() > names.most) throw WrongUsage{L"one too many: " + names_[names.most]};
}

// The first option with its values. Returns the number of arguments read.
std::size_t Options::Read(Arguments arguments, std::span<const Option> known) {
    const std::wstring_view name = arguments[0];
    const auto option = std::find_if(known.begin(), known.end(), [&](const Option& one) { return one.name == name; });
    if (option == known.end()) throw WrongUsage{L"unknown option " + std::wstring(name)};
    if (Has(name)) throw WrongUsage{std::wstring(name) + L" is given twice"};
    if (arguments.size() <= option->values) throw WrongUsage{std::wstring(name) + L" lacks a value"};
    given_.push_back({name, arguments.subspan(1, option->values)});
    return 1 + option->values;
}

const Options::Given* Options::Find(std::wstring_view option) const {
    const auto given = std::find_if(given_.begin(), given_.end(), [&](const Given& one) { return one.name == option; });
    return given != given_.end() ? &*given : nullptr;
}

std::optional<std::wstring> Options::Value(std::wstring_view option, std::size_t index) const {
    const Given* given = Find(option);
    return given != nullptr ? std::optional(std::wstring(given->values[index])) : std::nullopt;
}

std::optional<unsigned long> ParseNumber(std::wstring_view text) {
    const bool hexadecimal = text.starts_with(L"0x") || text.starts_with(L"0X");
    const std::string digits = Narrow(hexadecimal ? text.substr(2) : text);
    unsigned long number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [last, error] = std::from_chars(digits.data(), end, number, hexadecimal ? 16 : 10);
    return error == std::errc() && last == end ? std::optional(number) : std::nullopt;
}

std::wstring HexNumber(unsigned long number) {
    wchar_t text[16];
    swprintf(text, std::size(text), L"0x%lX", number);
    return text;
}

std::string Narrow(std::wstring_view ascii) {
    std::string narrow;
    for (const wchar_t c : ascii) narrow += c < 0x80 ? static_cast<char>(c) : '?';
    return narrow;
}

std::pair<std::wstring, std::wstring> SplitAtEquals(const std::wstring& text) {
    const std::size_t equals = text.find(L'=');
    if (equals == text.npos) throw WrongUsage{L"no WHAT=VALUE: " + text};
    return {text.substr(0, equals), text.substr(equals + 1)};
}

void Print(Stream stream, std::wstring_view text) {
    const HANDLE handle = GetStdHandle(stream == Stream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
    const auto length = static_cast<int>(text.size());
    DWORD written = 0;
    DWORD mode = 0;
    if (GetConsoleMode(handle, &mode)) {
        WriteConsoleW(handle, text.data(), static_cast<DWORD>(length), &written, nullptr);
        return;
    }
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
    WriteFile(handle, bytes.data(), static_cast<DWORD>(size), &written, nullptr);
}

void Check(DWORD code, const std::wstring& what) {
    if (code != ERROR_SUCCESS) throw CommandFailure{what, code};
}

}  // namespace softcsp
