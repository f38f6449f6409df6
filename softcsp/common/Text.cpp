#include "softcsp/common/Text.h"

#include <windows.h>

#include <cstdio>

namespace softcsp {

std::wstring LowerCase(std::wstring_view text) {
    std::wstring lower(text);
    const int length = static_cast<int>(text.size());
    LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_LOWERCASE, text.data(), length, lower.data(), length, nullptr, nullptr,
                  0);
    return lower;
}

bool SameText(std::wstring_view left, std::wstring_view right) {
    return left.size() == right.size() && LowerCase(left) == LowerCase(right);
}

std::wstring TextSum(std::wstring_view text) {
    unsigned long long sum = 0xCBF29CE484222325;
    for (const wchar_t c : LowerCase(text))
        for (const unsigned byte : {c & 0xFFU, static_cast<unsigned>(c) >> 8}) sum = (sum ^ byte) * 0x100000001B3;
    wchar_t digits[17];
    swprintf(digits, std::size(digits), L"%08lx%08lx", static_cast<unsigned long>(sum >> 32),
             static_cast<unsigned long>(sum & MAXDWORD));
    return digits;
}

std::wstring Wide(std::string_view ascii) {
    return {ascii.begin(), ascii.end()};
}

std::wstring HexText(ByteView bytes) {
    std::wstring text;
    for (const std::uint8_t byte : bytes)
        for (const int digit : {byte >> 4, byte & 15}) text += L"0123456789ABCDEF"[digit];
    return text;
}

std::optional<Bytes> ParseHex(std::wstring_view text) {
    constexpr std::wstring_view digits = L"0123456789abcdef";
    if (text.size() % 2 != 0) return std::nullopt;
    const std::wstring lower = LowerCase(text);
    Bytes bytes;
    for (std::size_t i = 0; i < lower.size(); i += 2) {
        const std::size_t high = digits.find(lower[i]), low = digits.find(lower[i + 1]);
        if (high == digits.npos || low == digits.npos) return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
    }
    return bytes;
}

}  // namespace softcsp
