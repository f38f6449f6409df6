// What the software provider's tests share.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <string>

#include "softcsp/kvsuprt.h"
#include "tests/support/Directory.h"

namespace softcsp_tests {

inline std::wstring Directory() {
    return ProgramDirectory();
}
inline DWORD Tool(const std::wstring& arguments) {
    return RunTool(arguments);
}

// The support library, every export that the tests use by its own name and signature, bound at run time.
struct Library {
    HMODULE module = LoadLibraryW((Directory() + L"kvsuprt.dll").c_str());
#define BIND(name)                     \
    decltype(&::support_##name) name = \
        reinterpret_cast<decltype(name)>(reinterpret_cast<void*>(GetProcAddress(module, "support_" #name)))
    BIND(resource_string);
    BIND(resource_version_string);
    BIND(registry_get_string);
    BIND(registry_put_string);
    BIND(registry_get_long);
    BIND(registry_put_long);
    BIND(registry_get_bool);
    BIND(registry_put_bool);
    BIND(registry_put_section);
    BIND(registry_delete_param);
    BIND(registry_delete_section);
    BIND(registry_check_access);
    BIND(registry_search_open);
    BIND(registry_search_next);
    BIND(registry_search_close);
    BIND(registry_find);
    BIND(registry_value_long);
    BIND(registry_value_name);
    BIND(registry_value_free);
    BIND(wnd_language_get);
    BIND(wnd_language_update);
    BIND(wnd_language_done);
#undef BIND
    ~Library() {
        FreeLibrary(module);
    }
};

// Held while a test changes what the whole machine shares: each test may run in a process of its own.
class MachineLock {
  public:
    MachineLock() : mutex_(CreateMutexW(nullptr, FALSE, L"softcsp-tests")) { WaitForSingleObject(mutex_, INFINITE); }
    ~MachineLock() {
        ReleaseMutex(mutex_);
        CloseHandle(mutex_);
    }
    MachineLock(const MachineLock&) = delete;
    MachineLock& operator=(const MachineLock&) = delete;

  private:
    HANDLE mutex_;
};

}  // namespace softcsp_tests
