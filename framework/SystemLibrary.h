// Loading of system libraries at run time. Libraries that are rarely used are bound on first use, so that they do not
// delay the module's start.
#pragma once

#include <windows.h>

#include "framework/Handles.h"

// These functions never load from the current directory or the PATH, where another user may have put a file of the same
// name. The caller owns a reference to the returned module; nullptr on failure, with the thread's last error.

// From the system directory, by a bare name.
HMODULE LoadSystemLibrary(const wchar_t* fileName) noexcept;

// From a full path. Libraries that it imports are first searched for in its directory.
HMODULE LoadLibraryByPath(const wchar_t* path) noexcept;

// By a bare name from the program's own directory, else from the system directory.
HMODULE LoadLibraryFromSafeDirectories(const wchar_t* fileName) noexcept;

class SystemLibrary {
  public:
    // When the library is unloaded. A library that shows dialogs may leave threads running that execute its code.
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
