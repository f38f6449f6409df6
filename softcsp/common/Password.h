// A password as typed. Its characters are wiped when it goes; it is never written anywhere.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace softcsp {

class Password {
  public:
    static constexpr std::size_t kLongest = 64;  // characters

    Password() { text_.reserve(kLongest); }
    explicit Password(std::wstring_view text) : Password() { text_ = text.substr(0, kLongest); }
    ~Password() { Wipe(); }
    Password(const Password& other) : Password(other.Text()) {}
    Password& operator=(const Password& other) {
        if (this != &other) {
            Wipe();
            text_ = other.text_;
        }
        return *this;
    }

    std::wstring_view Text() const { return text_; }
    bool Empty() const { return text_.empty(); }

  private:
    void Wipe() { SecureZeroMemory(text_.data(), text_.capacity() * sizeof(wchar_t)); }

    std::wstring text_;  // never grows beyond its first room, so no copy is left behind
};

}  // namespace softcsp
