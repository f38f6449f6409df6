// Functions of system libraries that are wanted rarely, or late: bound when first used, so that the module's start
// doesn't pay for libraries that most runs never touch.
#pragma once

#include <windows.h>

#include "framework/Handles.h"

// Loads libraries, never from the current directory or the PATH, where anybody may have put a file of the same name.
// The module that is returned has a reference, which the caller owns; nullptr: failure, with the thread's last error.

// From the system directory, by a bare name.
HMODULE LoadSystemLibrary(const wchar_t* fileName) noexcept;

// From a full path. What the library needs itself is searched for beside it first.
HMODULE LoadLibraryByPath(const wchar_t* path) noexcept;

// By a bare name from the program's own directory, else from the system directory.
HMODULE LoadLibraryFromSafeDirectories(const wchar_t* fileName) noexcept;

class SystemLibrary {
  public:
    // How long the library stays loaded. One that shows dialogs may leave threads behind that still run its code.
    enum class Stays { WhileUsed, ForGood };

    explicit SystemLibrary(const wchar_t* fileName, Stays stays = Stays::WhileUsed) noexcept
        : module_(LoadSystemLibrary(fileName)) {
        HMODULE pinned = nullptr;
        if (module_ && stays == Stays::ForGood)
            GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                               reinterpret_cast<LPCWSTR>(module_.get()), &pinned);
    }

    explicit operator bool() const noexcept { return static_cast<bool>(module_); }

    // The exported function, typed after its declaration: `library.Function<decltype(&MsiEnumClientsW)>(…)`.
    // nullptr when the library or the function is missing.
    template <class Pointer>
    Pointer Function(const char* name) const noexcept {
        if (!module_) return nullptr;
        return reinterpret_cast<Pointer>(reinterpret_cast<void*>(GetProcAddress(module_.get(), name)));
    }

  private:
    UniqueModule module_;
};
