#include "tests/support/DialogTemplate.h"

#include <cstring>

namespace {

constexpr std::uint32_t kSetFont = 0x40;  // DS_SETFONT
constexpr std::uint16_t kNumberFollows = 0xFFFF;

// Takes values from the front. Once a value doesn't fit into what is left, it has failed and gives zeros.
class Reader {
  public:
    explicit Reader(std::span<const std::byte> bytes) : bytes_(bytes) {}

    bool Failed() const { return failed_; }

    template <class Number>
    Number Take() {
        Number value{};
        if (failed_ || bytes_.size() - position_ < sizeof value) {
            failed_ = true;
            return Number{};
        }
        std::memcpy(&value, bytes_.data() + position_, sizeof value);
        position_ += sizeof value;
        return value;
    }

    void Skip(std::size_t count) {
        if (bytes_.size() - position_ < count) failed_ = true;
        if (!failed_) position_ += count;
    }

    void AlignTo4() { Skip((4 - position_ % 4) % 4); }

    std::wstring TakeText(wchar_t first) {
        std::wstring text;
        for (wchar_t c = first; c != L'\0' && !failed_; c = Take<wchar_t>()) text += c;
        return text;
    }
    std::wstring TakeText() { return TakeText(Take<wchar_t>()); }

    // A number after 0xFFFF, or a text. The text is empty for a number, the number 0 for a text.
    void TakeNameOrNumber(std::wstring& name, std::uint16_t& number) {
        const auto first = Take<std::uint16_t>();
        if (first == kNumberFollows)
            number = Take<std::uint16_t>();
        else
            name = TakeText(static_cast<wchar_t>(first));
    }

  private:
    std::span<const std::byte> bytes_;
    std::size_t position_ = 0;
    bool failed_ = false;
};

std::wstring SystemClass(std::uint16_t number) {
    static constexpr const wchar_t* names[] = {L"Button", L"Edit", L"Static", L"ListBox", L"ScrollBar", L"ComboBox"};
    if (number < 0x80 || number >= 0x80 + std::size(names)) return {};
    return names[number - 0x80];
}

DialogControl TakeControl(Reader& reader) {
    DialogControl control;
    reader.AlignTo4();
    reader.Skip(4);  // help id
    control.exStyle = reader.Take<std::uint32_t>();
    control.style = reader.Take<std::uint32_t>();
    for (auto* place : {&control.x, &control.y, &control.cx, &control.cy}) *place = reader.Take<std::int16_t>();
    control.id = reader.Take<std::uint32_t>();
    std::uint16_t classNumber = 0;
    reader.TakeNameOrNumber(control.className, classNumber);
    if (classNumber != 0) control.className = SystemClass(classNumber);
    reader.TakeNameOrNumber(control.text, control.resource);
    reader.Skip(reader.Take<std::uint16_t>());  // creation data
    return control;
}

}  // namespace

std::optional<DialogTemplate> ReadDialogTemplate(std::span<const std::byte> bytes) {
    Reader reader(bytes);
    if (reader.Take<std::uint16_t>() != 1 || reader.Take<std::uint16_t>() != 0xFFFF) return std::nullopt;
    DialogTemplate result;
    reader.Skip(4);  // help id
    result.exStyle = reader.Take<std::uint32_t>();
    result.style = reader.Take<std::uint32_t>();
    const auto count = reader.Take<std::uint16_t>();
    for (auto* place : {&result.x, &result.y, &result.cx, &result.cy}) *place = reader.Take<std::int16_t>();
    std::wstring name;
    std::uint16_t number = 0;
    reader.TakeNameOrNumber(name, number);  // menu
    reader.TakeNameOrNumber(name, number);  // window class
    result.title = reader.TakeText();
    if ((result.style & kSetFont) != 0) {
        result.pointSize = reader.Take<std::uint16_t>();
        result.weight = reader.Take<std::uint16_t>();
        result.italic = reader.Take<std::uint8_t>();
        result.charset = reader.Take<std::uint8_t>();
        result.face = reader.TakeText();
    }
    for (unsigned i = 0; i < count && !reader.Failed(); ++i) result.controls.push_back(TakeControl(reader));
    if (reader.Failed()) return std::nullopt;
    return result;
}
