// The system's functions that fault injection knows: how each fails, and what it opens or closes.
#pragma once

#include <windows.h>

#include <span>

// How a function fails.
enum class Fails { Never, WithFalse, WithNull, WithCode, WithInvalidHandle };

// What a function opens or closes, as messages name it.
namespace Owned {
using Kind = const char*;
inline constexpr char Nothing[] = "", Provider[] = "provider", Key[] = "key", Hash[] = "hash",
                      Certificate[] = "certificate", Store[] = "store", RegistryKey[] = "registry key",
                      Module[] = "module", Gdi[] = "GDI object", Service[] = "service", Value[] = "value",
                      View[] = "view", Image[] = "image", File[] = "file or mapping";
}  // namespace Owned

// Libraries whose functions are looked up instead of imported: the product's own, and the system's for versions and
// images.
inline constexpr char kSupportLibrary[] = "kvsuprt.dll", kVersionLibrary[] = "version.dll",
                      kImageLibrary[] = "imagehlp.dll";

// What makes two calls of a function the same question, one character for each argument: 'h' the opening of a handle,
// '=' a number, 'w' and 'a' a text, '?' whether there is a pointer, '+' flags, of which CRYPT_FIRST begins a listing:
// what is asked without it from then on is the next entry. '.' and arguments beyond the last don't count.
using Question = const char*;
constexpr Question kNoQuestion = nullptr;  // the function asks for nothing, or for something else each time
constexpr Question kChanges = "";          // what was asked before may have another answer from now on

// Where a handle is: an argument's number from 0, or one of these.
constexpr int kNowhere = -1;
constexpr int kResult = -2;

struct SystemFunction {
    const char* library;
    const char* name;
    Question question;
    Fails fails;
    DWORD error = 0;
    Owned::Kind kind = Owned::Nothing;
    int opens = kNowhere;       // the argument points to the handle
    int references = kNowhere;  // one more reference on this handle
    int closes = kNowhere;      // before the function does its work, whether it then fails or not
};

std::span<const SystemFunction> SystemFunctions();
