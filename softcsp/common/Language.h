// The language of the user interface.
#pragma once

#include <windows.h>

namespace softcsp {

constexpr DWORD kEnglish = 1033;
constexpr DWORD kRussian = 1049;

// It is read from the store once and then cached.
class Language {
  public:
    static DWORD Get();
    static DWORD Update();  // reads the setting again
    static void Forget();
};

}  // namespace softcsp
