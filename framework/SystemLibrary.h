// Functions of system libraries that are wanted rarely, or late: bound when first used, so that the module's start
// doesn't pay for libraries that most runs never touch. Loaded from the system directory only.
#pragma once

#include <windows.h>

#include "framework/Handles.h"

class SystemLibrary {
  public:
    explicit SystemLibrary(const wchar_t* fileName) noexcept
        : module_(LoadLibraryExW(fileName, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)) {}

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
