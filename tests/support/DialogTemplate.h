// Reads an extended dialog template (DIALOGEX) into values, so that tests can look at what a dialog will be without
// making it.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

// Takes values from the front of a resource; throws when it ends before they do.
class ResourceReader {
  public:
    explicit ResourceReader(std::span<const std::byte> bytes) : bytes_(bytes) {}

    void Skip(std::size_t count) {
        if (bytes_.size() - position_ < count) throw std::out_of_range("the resource ends early");
        position_ += count;
    }
    void AlignTo4() { Skip((4 - position_ % 4) % 4); }

    template <class Value>
    Value Take() {
        Value value{};
        Skip(sizeof value);
        std::memcpy(&value, bytes_.data() + position_ - sizeof value, sizeof value);
        return value;
    }

    // A number after 0xFFFF, or a text, which is left alone for a number. The number, 0 for a text.
    WORD TakeNumberOr(std::wstring& text) {
        auto c = Take<wchar_t>();
        if (c == 0xFFFF) return Take<WORD>();
        for (; c != L'\0'; c = Take<wchar_t>()) text += c;
        return 0;
    }

  private:
    std::span<const std::byte> bytes_;
    std::size_t position_ = 0;
};

// Positions and sizes are dialog units.
struct DialogControl {
    explicit DialogControl(ResourceReader& reader) {
        static constexpr const wchar_t* kSystemClasses[] = {L"Button",  L"Edit",      L"Static",
                                                            L"ListBox", L"ScrollBar", L"ComboBox"};
        reader.AlignTo4();
        reader.Skip(4);  // help id
        for (auto* value : {&exStyle, &style}) *value = reader.Take<DWORD>();
        for (auto* place : {&x, &y, &cx, &cy}) *place = reader.Take<short>();
        id = reader.Take<DWORD>();
        if (const WORD number = reader.TakeNumberOr(className)) className = kSystemClasses[number - 0x80];
        resource = reader.TakeNumberOr(text);
        reader.Skip(reader.Take<WORD>());  // creation data
    }

    DWORD id = 0, style = 0, exStyle = 0;
    short x = 0, y = 0, cx = 0, cy = 0;
    std::wstring className, text;  // no text when the template names a resource by number
    WORD resource = 0;             // that number, else 0
};

struct DialogTemplate {
    explicit DialogTemplate(ResourceReader reader) {
        std::wstring ignored;
        reader.Skip(8);  // version, signature, help id
        for (auto* value : {&exStyle, &style}) *value = reader.Take<DWORD>();
        const auto count = reader.Take<WORD>();
        reader.Skip(4);  // place
        for (auto* size : {&cx, &cy}) *size = reader.Take<short>();
        for (auto* text : {&ignored, &ignored, &title}) reader.TakeNumberOr(*text);  // menu, window class, title
        if ((style & DS_SETFONT) != 0) {
            pointSize = reader.Take<WORD>();
            reader.Skip(4);  // weight, italic, character set
            reader.TakeNumberOr(face);
        }
        while (controls.size() < count) controls.emplace_back(reader);
    }

    DWORD style = 0, exStyle = 0;
    short cx = 0, cy = 0;
    std::wstring title, face;
    WORD pointSize = 0;
    std::vector<DialogControl> controls;
};
