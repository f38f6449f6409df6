// Replaces a function that a loaded module imports, for the life of the patch.
#pragma once

#include <windows.h>

class ImportPatch {
  public:
    // Patches every import of `function` (its exported name, from whichever library) in `module`'s import table.
    // `module` nullptr: the running program.
    template <class Function>
    ImportPatch(HMODULE module, const char* function, Function* replacement)
        : ImportPatch(module, function, reinterpret_cast<void*>(replacement), 0) {}
    ~ImportPatch();
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;

    // False when the module doesn't import the function: a test that relies on the patch must say so.
    bool Found() const noexcept { return slot_ != nullptr; }

    // The function that was there before.
    template <class Function>
    Function* Original() const noexcept {
        return reinterpret_cast<Function*>(original_);
    }

  private:
    ImportPatch(HMODULE module, const char* function, void* replacement, int);

    void** slot_ = nullptr;
    void* original_ = nullptr;
};
