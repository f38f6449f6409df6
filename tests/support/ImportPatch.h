// Replaces a function that a loaded module imports, for the life of the patch.
#pragma once

#include <windows.h>

class ImportPatch {
  public:
    // Patches the import of `function` (its exported name, from whichever library) in `module`'s import table. The test
    // fails when there is none: it would test something else. `module` nullptr: the running program.
    template <class Function>
    ImportPatch(HMODULE module, const char* function, Function* replacement)
        : ImportPatch(module, function, reinterpret_cast<void*>(replacement), 0) {}
    ~ImportPatch();
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;

    static bool IsImported(HMODULE module, const char* function);

    // The function that was there before.
    template <class Function>
    Function* Original() const noexcept {
        return reinterpret_cast<Function*>(original_);
    }

  private:
    ImportPatch(HMODULE module, const char* function, void* replacement, int);

    void** slot_;
    void* original_ = nullptr;
};
