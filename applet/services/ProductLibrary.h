// A library of the product, found on disk and bound at run time: nothing of the product is imported.
#pragma once

#include <windows.h>

#include <algorithm>
#include <string>

#include "framework/Handles.h"

// Results of a binding, beside the library functions' own.
constexpr DWORD kLibraryNotLoaded = 4098;  // the library can't be loaded
constexpr DWORD kFunctionMissing = 4100;   // the library, or the function in it, is missing

// Whether two paths are the same, ignoring case, in any alphabet.
bool SamePath(const std::wstring& one, const std::wstring& other) noexcept;

// The path to load `fileName` from: the one registered for it, if this module runs from the path registered for itself;
// otherwise this module's own directory. Empty when this module's own path is unknown, or its directory and the name
// together are longer than 259 characters. A registered path may have any length but must be a full path: a relative
// one would be searched for in the current directory and the PATH.
std::wstring ResolveProductLibrary(const std::wstring& fileName);

// Loads a library of the product from its resolved path; by its bare name, from the system's safe directories, only
// when no path could be resolved. nullptr on failure, with the thread's last error. Critical-error boxes are off and
// this module's activation context is active meanwhile. The caller owns a reference to the module.
HMODULE LoadProductLibrary(const wchar_t* fileName) noexcept;

// Loads a library by its bare name from the system's safe directories; if it is in none of them, from its resolved
// path. Otherwise as LoadProductLibrary.
HMODULE LoadLibraryByName(const wchar_t* fileName) noexcept;

// The binding of one library: its module and the number of references to it. Used by one thread.
class ProductLibrary : NonCopyable {
  public:
    explicit constexpr ProductLibrary(const wchar_t* fileName) noexcept : fileName_(fileName) {}

    // Adds a reference; the first one loads the library. Returns 0 or kLibraryNotLoaded.
    DWORD Load() noexcept;

    // Removes a reference; nothing when there is none. The module is never unloaded, because its windows and threads
    // may outlive the last reference.
    void Release() noexcept;

    // The exported function `name`; nullptr when it or the library is missing. Loads the library with a reference of
    // its own if no module is held.
    FARPROC Find(const char* name) noexcept;

  private:
    const wchar_t* fileName_;
    HMODULE module_ = nullptr;
    DWORD references_ = 0;
};

// The name of an exported function.
template <size_t Size>
struct FunctionName {
    // NOLINTNEXTLINE(google-explicit-constructor): a literal is the usual template argument.
    consteval FunctionName(const char (&name)[Size]) { std::copy_n(name, Size, text); }
    char text[Size]{};
};

// An imported function, declared once and called like the function. Returns its result, or kFunctionMissing. `Library`
// returns the binding of its library, one for the process.
template <ProductLibrary& (*Library)() noexcept, FunctionName Name, class Signature>
struct ProductFunction;
template <ProductLibrary& (*Library)() noexcept, FunctionName Name, class... Parameters>
struct ProductFunction<Library, Name, DWORD(Parameters...)> {
    DWORD operator()(Parameters... arguments) const noexcept {
        const FARPROC entry = Library().Find(Name.text);
        if (!entry) return kFunctionMissing;
        return reinterpret_cast<DWORD (*)(Parameters...)>(reinterpret_cast<void*>(entry))(arguments...);
    }
};

// A reference to a library, held while the object exists.
class LibraryReference : NonCopyable {
  public:
    explicit LibraryReference(ProductLibrary& library) noexcept : library_(library), loaded_(library.Load() == 0) {}
    ~LibraryReference() {
        if (loaded_) library_.Release();
    }
    explicit operator bool() const noexcept { return loaded_; }

  private:
    ProductLibrary& library_;
    bool loaded_;
};
