// Stands in for a function that the running program looks up by name in a library at run time.
#pragma once

#include <map>
#include <string>

#include "tests/support/ImportPatch.h"

class LibraryFunction {
  public:
    // `replacement` nullptr: as if the library lacked the function. Holds for look-ups from now on, in the running
    // program's own code, until the object is gone.
    template <class Function>
    LibraryFunction(const char* name, Function* replacement) : name_(name) {
        replacements_[name] = reinterpret_cast<void*>(replacement);
        Patch();
    }
    LibraryFunction(const char* name, std::nullptr_t) : LibraryFunction(name, static_cast<void*>(nullptr)) {}
    ~LibraryFunction() { replacements_.erase(name_); }
    LibraryFunction(LibraryFunction&&) = delete;

    // The names looked up while one of these objects was there, those of other functions too.
    static const std::map<std::string, int>& LookUps() { return lookUps_; }
    static void ForgetLookUps() { lookUps_.clear(); }

  private:
    static const ImportPatch& Patch() {
        static const ImportPatch patch(nullptr, "GetProcAddress", &Look);
        return patch;
    }
    static FARPROC WINAPI Look(HMODULE module, LPCSTR name) {
        if (HIWORD(reinterpret_cast<ULONG_PTR>(name)) != 0) {
            ++lookUps_[name];
            if (const auto found = replacements_.find(name); found != replacements_.end()) {
                if (!found->second) SetLastError(ERROR_PROC_NOT_FOUND);
                return reinterpret_cast<FARPROC>(found->second);
            }
        }
        return Patch().Original<decltype(Look)>()(module, name);
    }

    static inline std::map<std::string, void*> replacements_;
    static inline std::map<std::string, int> lookUps_;
    const std::string name_;
};
