// Owners of handles and of system libraries, and a lock between threads.
#pragma once

#include <windows.h>

#include <mutex>
#include <utility>

namespace softcsp {

template <BOOL(WINAPI* close)(HANDLE)>
class SystemHandle {
  public:
    explicit SystemHandle(HANDLE handle = INVALID_HANDLE_VALUE) : handle_(handle) {}
    ~SystemHandle() {
        if (*this) close(handle_);
    }
    SystemHandle(SystemHandle&& other) noexcept : handle_(std::exchange(other.handle_, INVALID_HANDLE_VALUE)) {}
    SystemHandle& operator=(SystemHandle&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }

    explicit operator bool() const { return handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE; }
    HANDLE Get() const { return handle_; }

  private:
    HANDLE handle_;
};

using FileHandle = SystemHandle<CloseHandle>;
using FindHandle = SystemHandle<FindClose>;

// A function of a system library that is loaded for the life of this object only: most programs that open a provider
// have no other use for the library.
template <class Function>
class SystemFunction {
  public:
    SystemFunction(const wchar_t* library, const char* name)
        : module_(LoadLibraryExW(library, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)) {
        if (module_ != nullptr)
            function_ = reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
    }
    ~SystemFunction() {
        if (module_ != nullptr) FreeLibrary(module_);
    }
    SystemFunction(const SystemFunction&) = delete;
    SystemFunction& operator=(const SystemFunction&) = delete;

    Function* Get() const { return function_; }  // null if the system does not have it

  private:
    HMODULE module_;
    Function* function_ = nullptr;
};

// A lock that its owning thread may acquire again. Its members have the names that the standard library's locks call.
class Mutex {
  public:
    using Held = std::lock_guard<Mutex>;

    Mutex() { InitializeCriticalSection(&section_); }
    ~Mutex() { DeleteCriticalSection(&section_); }
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() { EnterCriticalSection(&section_); }
    void unlock() { LeaveCriticalSection(&section_); }

  private:
    CRITICAL_SECTION section_;
};

}  // namespace softcsp
