#include "framework/Text.h"

#include <windows.h>

#include <algorithm>
#include <new>

namespace {

// One place of a format: "%", "0"?, up to two digits of width, a kind.
struct Place {
    bool zeros = false;
    size_t width = 0;
    wchar_t kind = L'\0';
    size_t length = 0;  // of the whole place
};

Place ReadPlace(const std::wstring& format, size_t start) {
    Place place;
    size_t at = start + 1;
    if (at < format.size() && format[at] == L'0') {
        place.zeros = true;
        ++at;
    }
    for (int digits = 0; digits < 2 && at < format.size() && format[at] >= L'0' && format[at] <= L'9'; ++digits, ++at) {
        place.width = place.width * 10 + static_cast<size_t>(format[at] - L'0');
    }
    if (at < format.size()) place.kind = format[at];
    place.length = at + 1 - start;
    return place;
}

std::wstring Digits(unsigned long long number, unsigned base) {
    std::wstring digits;
    do {
        digits.insert(digits.begin(), L"0123456789ABCDEF"[number % base]);
        number /= base;
    } while (number != 0);
    return digits;
}

std::wstring PlacedNumber(const Place& place, unsigned number) {
    std::wstring text =
        place.kind == L'd' ? NumberText(static_cast<int>(number)) : Digits(number, place.kind == L'X' ? 16 : 10);
    if (text.size() >= place.width) return text;
    const bool afterSign = place.zeros && text.front() == L'-';
    text.insert(afterSign ? 1 : 0, place.width - text.size(), place.zeros ? L'0' : L' ');
    return text;
}

// Unicode's categories Cc, Cf, Zl and Zp, as far as a single UTF-16 unit holds them.
constexpr struct {
    wchar_t first, last;
} kInvisible[] = {{0x0000, 0x001F}, {0x007F, 0x009F}, {0x00AD, 0x00AD}, {0x0600, 0x0605}, {0x061C, 0x061C},
                  {0x06DD, 0x06DD}, {0x070F, 0x070F}, {0x0890, 0x0891}, {0x08E2, 0x08E2}, {0x180E, 0x180E},
                  {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F}, {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}};

bool IsInvisible(wchar_t character) {
    return std::ranges::any_of(kInvisible,
                               [=](const auto& range) { return character >= range.first && character <= range.last; });
}

// `convert(buffer, size)` returns the converted text's length, without a buffer the length only.
template <class Text, class Convert>
Text Converted(std::size_t length, Convert&& convert) {
    if (length == 0) return {};
    Text text;
    for (int pass = 0; pass < 2; ++pass) {
        const int size = convert(text.empty() ? nullptr : text.data(), static_cast<int>(text.size()));
        if (size <= 0) throw std::bad_alloc();
        text.resize(static_cast<std::size_t>(size));
    }
    return text;
}

}  // namespace

std::wstring NumberText(long long number) {
    const auto bits = static_cast<unsigned long long>(number);
    return number < 0 ? L'-' + Digits(0 - bits, 10) : Digits(bits, 10);
}

std::wstring FillInserts(const std::wstring& format, const std::wstring& insert1, const std::wstring& insert2) {
    std::wstring text;
    text.reserve(format.size() + insert1.size() + insert2.size());
    for (size_t at = 0; at < format.size(); ++at) {
        const wchar_t next = format[at] == L'%' && at + 1 < format.size() ? format[at + 1] : L'\0';
        switch (next) {
            case L'1': text += insert1; break;
            case L'2': text += insert2; break;
            case L'%': text += L'%'; break;
            default: text += format[at]; continue;
        }
        ++at;
    }
    return text;
}

std::wstring FillPlaces(const std::wstring& format, std::initializer_list<FormatArgument> arguments) {
    std::wstring text;
    auto argument = arguments.begin();
    for (size_t at = 0; at < format.size();) {
        if (format[at] != L'%') {
            text += format[at++];
            continue;
        }
        const Place place = ReadPlace(format, at);
        const bool left = argument != arguments.end();
        const std::wstring* insert = left ? std::get_if<std::wstring>(&*argument) : nullptr;
        const unsigned* number = left ? std::get_if<unsigned>(&*argument) : nullptr;
        if (place.kind == L'%') {
            text += L'%';
        } else if (place.kind == L's' && insert) {
            text += *insert;
            ++argument;
        } else if ((place.kind == L'd' || place.kind == L'u' || place.kind == L'X') && number) {
            text += PlacedNumber(place, *number);
            ++argument;
        } else {
            text += L'%';
            ++at;
            continue;
        }
        at += place.length;
    }
    return text;
}

bool BeginsWith(std::wstring_view text, std::wstring_view beginning) noexcept {
    const std::wstring_view start = text.substr(0, beginning.size());
    return CompareStringOrdinal(start.data(), static_cast<int>(start.size()), beginning.data(),
                                static_cast<int>(beginning.size()), TRUE) == CSTR_EQUAL;
}

std::wstring VisibleText(std::wstring_view text) {
    std::wstring visible;
    visible.reserve(text.size());
    for (const wchar_t character : text) {
        if (!IsInvisible(character)) {
            visible += character;
            continue;
        }
        visible += FillPlaces(L"\u2039U+%04X\u203A", {unsigned{character}});
    }
    return visible;
}

std::string ToUtf8(std::wstring_view text) {
    return Converted<std::string>(text.size(), [=](char* bytes, int size) {
        return WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes, size, nullptr,
                                   nullptr);
    });
}

std::wstring FromUtf8(std::string_view bytes) {
    return Converted<std::wstring>(bytes.size(), [=](wchar_t* text, int size) {
        return MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), text, size);
    });
}

std::wstring FromAnsi(std::string_view bytes) {
    const int length = static_cast<int>(bytes.size());
    std::wstring text(bytes.size(), L'\0');  // no code page has more UTF-16 units than bytes
    const int written = MultiByteToWideChar(CP_ACP, 0, bytes.data(), length, text.data(), length);
    text.resize(static_cast<std::size_t>(std::max(written, 0)));
    return text;
}
