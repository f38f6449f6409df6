#include "console/Utf8.h"

#include <windows.h>

std::string ToUtf8(std::wstring_view text) {
    const int length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    const int written = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(written));
    return bytes;
}

std::wstring FromUtf8(std::string_view bytes) {
    const int length = static_cast<int>(bytes.size());
    const int size = MultiByteToWideChar(CP_UTF8, 0, bytes.data(), length, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(size), L'\0');
    text.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, bytes.data(), length, text.data(), size)));
    return text;
}
