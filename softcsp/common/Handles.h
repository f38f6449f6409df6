// Owners of file and search handles, and a lock between threads.
#pragma once

#include <windows.h>

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

// A lock that its owning thread may acquire again.
class Mutex {
  public:
    Mutex() { InitializeCriticalSection(&section_); }
    ~Mutex() { DeleteCriticalSection(&section_); }
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void Acquire() { EnterCriticalSection(&section_); }
    void Release() { LeaveCriticalSection(&section_); }

    class Held {
      public:
        explicit Held(Mutex& mutex) : mutex_(mutex) { mutex_.Acquire(); }
        ~Held() { mutex_.Release(); }
        Held(const Held&) = delete;
        Held& operator=(const Held&) = delete;

      private:
        Mutex& mutex_;
    };

    // Released for a while by the thread that holds it once.
    class Released {
      public:
        explicit Released(Mutex& mutex) : mutex_(mutex) { mutex_.Release(); }
        ~Released() { mutex_.Acquire(); }
        Released(const Released&) = delete;
        Released& operator=(const Released&) = delete;

      private:
        Mutex& mutex_;
    };

  private:
    CRITICAL_SECTION section_;
};

}  // namespace softcsp
