// vestractl.exe: what the panel does with keys and settings, from a script.
#include <windows.h>

#include <string>
#include <vector>

#include "console/Program.h"

int wmain(int count, wchar_t** arguments) {
    Output output(GetStdHandle(STD_OUTPUT_HANDLE), GetStdHandle(STD_ERROR_HANDLE));
    const std::vector<std::wstring> given(arguments + 1, arguments + count);
    return static_cast<int>(RunConsole(given, output));
}
