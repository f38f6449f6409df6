// Stands in for the system's shell: nothing is opened for real, and what would be is noted.
#pragma once

#include <shellapi.h>

#include "tests/support/ImportPatch.h"

class Shell {
  public:
    struct Request {
        std::wstring verb, file, directory;
    };
    Shell() { opened.clear(), result = 33; }

    static inline std::vector<Request> opened;
    static inline INT_PTR result;  // above 32: success

  private:
    static HINSTANCE WINAPI Open(HWND, LPCWSTR verb, LPCWSTR file, LPCWSTR, LPCWSTR directory, INT) {
        opened.push_back({verb, file, directory ? directory : L""});
        return reinterpret_cast<HINSTANCE>(result);
    }

    const ImportPatch patch_{"ShellExecuteW", &Open};
};
