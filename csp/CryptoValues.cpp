#include "csp/CryptoValues.h"

#include <cwchar>

std::wstring FromAnsi(std::string_view text) {
    const int length = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');  // no code page has more UTF-16 units than bytes
    const int written = MultiByteToWideChar(CP_ACP, 0, text.data(), length, wide.data(), length);
    wide.resize(static_cast<std::size_t>(std::max(written, 0)));
    return wide;
}

std::wstring FromAnsi(const Bytes& text) {
    const auto end = std::find(text.begin(), text.end(), BYTE{0});
    return FromAnsi(
        std::string_view(reinterpret_cast<const char*>(text.data()), static_cast<std::size_t>(end - text.begin())));
}

std::wstring FromWide(const Bytes& text) {
    const auto* units = reinterpret_cast<const wchar_t*>(text.data());
    return {units, wcsnlen(units, text.size() / sizeof(wchar_t))};
}
