// Loads libraries, never from the current directory or the PATH, where anybody may have put a file of the same name.
// The module that is returned has a reference, which the caller owns; nullptr: failure, with the thread's last error.
#pragma once

#include <windows.h>

// From the system directory, by a bare name.
HMODULE LoadSystemLibrary(const wchar_t* fileName) noexcept;

// From a full path. What the library needs itself is searched for beside it first.
HMODULE LoadLibraryByPath(const wchar_t* path) noexcept;

// By a bare name from the program's own directory, else from the system directory.
HMODULE LoadLibraryFromSafeDirectories(const wchar_t* fileName) noexcept;
