#include "console/Utf8.h"

#include <windows.h>

#include <new>

namespace {

// The length that a conversion returned for a text that isn't empty.
std::size_t Checked(int length) {
    if (length <= 0) throw std::bad_alloc();
    return static_cast<std::size_t>(length);
}

}  // namespace

std::string ToUtf8(std::wstring_view text) {
    if (text.empty()) return {};
    const int length = static_cast<int>(text.size());
    const auto convert = [&](char* bytes, int size) {
        return Checked(WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes, size, nullptr, nullptr));
    };
    std::string bytes(convert(nullptr, 0), '\0');
    bytes.resize(convert(bytes.data(), static_cast<int>(bytes.size())));
    return bytes;
}

std::wstring FromUtf8(std::string_view bytes) {
    if (bytes.empty()) return {};
    const int length = static_cast<int>(bytes.size());
    const auto convert = [&](wchar_t* text, int size) {
        return Checked(MultiByteToWideChar(CP_UTF8, 0, bytes.data(), length, text, size));
    };
    std::wstring text(convert(nullptr, 0), L'\0');
    text.resize(convert(text.data(), static_cast<int>(text.size())));
    return text;
}
