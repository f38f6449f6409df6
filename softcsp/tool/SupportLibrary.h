// The support library beside the tool, loaded while the object lives: the tool reads and writes the store by the same
// functions as every other program.
#pragma once

#include "softcsp/kvsuprt.h"

namespace softcsp {

class SupportLibrary {
  public:
    SupportLibrary();  // throws Failure
    ~SupportLibrary();
    SupportLibrary(const SupportLibrary&) = delete;
    SupportLibrary& operator=(const SupportLibrary&) = delete;

    decltype(&support_registry_get_string) getString;
    decltype(&support_registry_get_long) getLong;
    decltype(&support_registry_put_string) putString;
    decltype(&support_registry_put_long) putLong;

  private:
    HMODULE module_;
};

}  // namespace softcsp
