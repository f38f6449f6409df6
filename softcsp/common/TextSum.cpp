#include "softcsp/common/TextSum.h"

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

std::wstring TextSum(std::wstring_view text) {
    unsigned long long sum = 0xCBF29CE484222325;
    for (const wchar_t c : LowerCase(text))
        for (const unsigned byte : {c & 0xFFU, static_cast<unsigned>(c) >> 8}) sum = (sum ^ byte) * 0x100000001B3;
    wchar_t digits[17];
    swprintf(digits, std::size(digits), L"%08lx%08lx", static_cast<unsigned long>(sum >> 32),
             static_cast<unsigned long>(sum & MAXDWORD));
    return digits;
}

}  // namespace softcsp
