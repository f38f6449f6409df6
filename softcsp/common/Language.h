// The language of the user interface, read from the store once and kept.
#pragma once

#include <windows.h>

namespace softcsp {

constexpr DWORD kEnglish = 1033;
constexpr DWORD kRussian = 1049;

class Language {
  public:
    static DWORD Get();
    static DWORD Update();  // reads the setting anew
    static void Forget();
};

}  // namespace softcsp
