// A library of the product, found on disk and bound at run time: nothing of the product is imported.
#pragma once

#include <windows.h>

#include <string>

// Results of a binding, beside the library functions' own.
constexpr DWORD kLibraryNotLoaded = 4098;  // the library can't be loaded
constexpr DWORD kFunctionMissing = 4100;   // the library, or the function in it, is missing

// Whether two paths are the same but for letter case, of any alphabet.
bool SamePath(const std::wstring& one, const std::wstring& other) noexcept;

// Where `fileName` is to be loaded from, in order: the path registered for it, when the path registered for this module
// is the running one; this module's own directory. Empty when this module's own path can't be had, or its directory and
// the name together are longer than 259 characters. Only full paths are taken from the registry, of any length: a
// relative one would be searched for in the current directory and the PATH.
std::wstring ResolveProductLibrary(const std::wstring& fileName);

// Loads a library of the product from its resolved path; by its bare name, from the system's safe directories, only
// when no path could be resolved. nullptr on failure, with the thread's last error. Critical-error boxes are off and
// this module's activation context is active meanwhile. The caller owns a reference to the module.
HMODULE LoadProductLibrary(const wchar_t* fileName) noexcept;

// Loads a library by its bare name from the system's safe directories, wherever the product's installer put it; from
// its resolved path when it lies in none of them. Otherwise as LoadProductLibrary.
HMODULE LoadLibraryByName(const wchar_t* fileName) noexcept;

// The binding of one library: its module and the number of references to it. Used by one thread.
class ProductLibrary {
  public:
    explicit constexpr ProductLibrary(const wchar_t* fileName) noexcept : fileName_(fileName) {}
    ProductLibrary(const ProductLibrary&) = delete;
    ProductLibrary& operator=(const ProductLibrary&) = delete;

    // Adds a reference; the first one loads the library. Returns 0 or kLibraryNotLoaded.
    DWORD Load() noexcept;

    // Removes a reference; nothing when there is none. The module is never unloaded, because its windows and threads
    // may outlive the last reference.
    void Release() noexcept;

    // Calls the exported function `name`, loading the library with a reference of its own if no module is held. Returns
    // the function's result, or kFunctionMissing. A wrapper of the same name passes __func__ and its own declared type,
    // so that each import is declared once: `Call<decltype(rndm_wnd_configure)>(__func__, parent)`.
    template <class Signature, class... Arguments>
    DWORD Call(const char* name, Arguments... arguments) noexcept {
        const FARPROC entry = Find(name);
        if (!entry) return kFunctionMissing;
        return reinterpret_cast<Signature*>(reinterpret_cast<void*>(entry))(arguments...);
    }

  private:
    FARPROC Find(const char* name) noexcept;

    const wchar_t* fileName_;
    HMODULE module_ = nullptr;
    DWORD references_ = 0;
};

// A reference on a library of the product while the object lives, taken by the library's own pair of functions.
template <DWORD (*Load)() noexcept, void (*Release)() noexcept>
class LibraryReference {
  public:
    LibraryReference() noexcept : loaded_(Load() == 0) {}
    ~LibraryReference() {
        if (loaded_) Release();
    }
    LibraryReference(const LibraryReference&) = delete;
    LibraryReference& operator=(const LibraryReference&) = delete;
    explicit operator bool() const noexcept { return loaded_; }

  private:
    bool loaded_;
};
