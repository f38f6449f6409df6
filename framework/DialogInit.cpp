#include "framework/DialogInit.h"

#include <cstring>

namespace {

// The stored message numbers are those of 16-bit Windows.
constexpr WORD kStoredAddToList = 0x401;
constexpr WORD kStoredAddToCombo = 0x403;

constexpr UINT MessageToSend(WORD stored) {
    if (stored == kStoredAddToList) return LB_ADDSTRING;
    if (stored == kStoredAddToCombo) return CB_ADDSTRING;
    return stored;
}

class Reader {
  public:
    explicit Reader(std::span<const BYTE> data) noexcept : rest_(data) {}

    template <class Number>
    bool Take(Number& number) noexcept {
        if (rest_.size() < sizeof number) return false;
        std::memcpy(&number, rest_.data(), sizeof number);
        rest_ = rest_.subspan(sizeof number);
        return true;
    }

    bool Take(std::span<const BYTE>& bytes, size_t length) noexcept {
        if (rest_.size() < length) return false;
        bytes = rest_.first(length);
        rest_ = rest_.subspan(length);
        return true;
    }

  private:
    std::span<const BYTE> rest_;
};

}  // namespace

bool ApplyDialogInit(HWND dialog, std::span<const BYTE> data) noexcept {
    Reader reader(data);
    for (;;) {
        WORD control = 0, message = 0;
        DWORD length = 0;
        std::span<const BYTE> text;
        if (!reader.Take(control)) return false;
        if (control == 0) return true;
        if (!reader.Take(message) || !reader.Take(length) || !reader.Take(text, length)) return false;
        const UINT send = MessageToSend(message);
        if (send != LB_ADDSTRING && send != CB_ADDSTRING) continue;
        if (text.empty() || text.back() != 0) return false;
        if (SendDlgItemMessageA(dialog, control, send, 0, reinterpret_cast<LPARAM>(text.data())) < 0) return false;
    }
}
