// Output of the tool: UTF-8 into files and pipes, whole characters into a console window.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace softcsp {

enum class Stream { Output, Error };

void Print(Stream stream, std::wstring_view text);

// What ends a command: thrown where it happens, shown once by the tool's entry.
struct Failure {
    std::wstring what;  // "can't write …"
    DWORD code = 0;     // Win32 code
};

// Throws when the code isn't 0.
void Check(DWORD code, const std::wstring& what);

}  // namespace softcsp
