// Functions of system libraries that are wanted rarely, or late: bound when first used, so that the module's start
// doesn't pay for libraries that most runs never touch.
#pragma once

#include <windows.h>

#include "framework/Handles.h"
#include "framework/LibraryLoading.h"

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
