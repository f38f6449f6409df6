// Opens files and addresses with the shell.
#pragma once

#include <windows.h>

#include <string>

// Does what the shell does for `verb` ("open", "runas"). Whatever is started runs in the system directory: neither the
// shell nor the program looks for anything in the current one. False when nothing could be started.
bool OpenWithShell(HWND owner, const wchar_t* verb, const std::wstring& target, int show) noexcept;
