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
    LibraryFunction(const char* name, Function* replacement)
        : LibraryFunction(name, reinterpret_cast<void*>(replacement), 0) {}
    LibraryFunction(const char* name, std::nullptr_t) : LibraryFunction(name, nullptr, 0) {}
    ~LibraryFunction();
    LibraryFunction(LibraryFunction&&) = delete;

    // The names looked up while one of these objects was there, those of other functions too.
    static const std::map<std::string, int>& LookUps();
    static void ForgetLookUps();

  private:
    LibraryFunction(const char* name, void* replacement, int);

    const std::string name_;
};
