// Stands in for functions that the running program looks up by name in a library at run time.
#pragma once

#include "tests/support/ImportPatch.h"

// Holds for look-ups in the running program's own code, until the object is gone.
class LibraryFunction {
  public:
    // Gets the name and what was found under it, and returns what takes its place.
    using Replace = std::function<void*(std::string_view name, void* found)>;
    explicit LibraryFunction(Replace replace) : replace_(std::move(replace)) {
        Patch();
        objects_.push_back(this);
    }
    // `replacement` nullptr: as if the library lacked the function.
    template <class Function>
    LibraryFunction(std::string_view name, Function* replacement)
        : LibraryFunction([=](std::string_view wanted, void* found) {
              return wanted == name ? reinterpret_cast<void*>(replacement) : found;
          }) {}
    LibraryFunction(std::string_view name, std::nullptr_t) : LibraryFunction(name, static_cast<void*>(nullptr)) {}
    // A lambda may capture. Of objects made from the same lambda expression, the newest one is called for all.
    template <class Lambda>
    LibraryFunction(std::string_view name, Lambda lambda)
        : LibraryFunction(name, PointerTo<Lambda>(std::function(std::move(lambda)))) {}
    ~LibraryFunction() { std::erase(objects_, this); }
    LibraryFunction(LibraryFunction&&) = delete;

  private:
    template <class Lambda, class Result, class... Arguments>
    static auto PointerTo(std::function<Result(Arguments...)> called) {
        static std::function<Result(Arguments...)> current;
        current = std::move(called);
        return +[](Arguments... arguments) -> Result { return current(arguments...); };
    }
    static const ImportPatch& Patch() {
        static const ImportPatch patch("GetProcAddress", &Look);
        return patch;
    }
    static FARPROC WINAPI Look(HMODULE module, LPCSTR name) {
        void* found = reinterpret_cast<void*>(Patch().Original<decltype(Look)>()(module, name));
        if (!IS_INTRESOURCE(name))
            for (const LibraryFunction* object : objects_) found = object->replace_(name, found);
        if (!found) SetLastError(ERROR_PROC_NOT_FOUND);
        return reinterpret_cast<FARPROC>(found);
    }

    static inline std::vector<const LibraryFunction*> objects_;
    const Replace replace_;
};
