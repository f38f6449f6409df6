#include "tests/support/TemplateBuilder.h"

namespace {

constexpr WORD kHeight = 10, kWidth = 100;  // of a control, in dialog units

class Writer {
  public:
    template <class Number>
    void Put(Number number) {
        const auto* bytes = reinterpret_cast<const BYTE*>(&number);
        bytes_.insert(bytes_.end(), bytes, bytes + sizeof number);
    }

    void PutText(const wchar_t* text) {
        do Put(*text);
        while (*text++ != L'\0');
    }

    void PutPlace(WORD x, WORD y, WORD width, WORD height) {
        for (const WORD value : {x, y, width, height}) Put(value);
    }

    void AlignTo4() { bytes_.resize((bytes_.size() + 3) / 4 * 4); }

    std::vector<BYTE> Take() { return std::move(bytes_); }

  private:
    std::vector<BYTE> bytes_;
};

}  // namespace

std::vector<BYTE> BuildTemplate(DWORD style, const wchar_t* title, std::initializer_list<ControlSpec> controls) {
    Writer writer;
    const auto count = static_cast<WORD>(controls.size());
    writer.Put(WORD{1});       // version
    writer.Put(WORD{0xFFFF});  // extended
    writer.Put(DWORD{0});      // help id
    writer.Put(DWORD{0});      // extended style
    writer.Put(style);
    writer.Put(count);
    writer.PutPlace(0, 0, kWidth, static_cast<WORD>(kHeight * (count + 1)));
    writer.Put(WORD{0});  // menu
    writer.Put(WORD{0});  // window class
    writer.PutText(title);
    WORD y = 0;
    for (const ControlSpec& control : controls) {
        writer.AlignTo4();
        writer.Put(DWORD{0});  // help id
        writer.Put(DWORD{0});  // extended style
        writer.Put(control.style | WS_CHILD | WS_VISIBLE);
        writer.PutPlace(0, y, kWidth, kHeight);
        writer.Put(DWORD{control.id});
        writer.PutText(control.className);
        writer.PutText(control.text);
        writer.Put(WORD{0});  // creation data
        y = static_cast<WORD>(y + kHeight);
    }
    return writer.Take();
}
