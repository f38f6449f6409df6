// A lock that its thread may take again, as it does when a dialog that the provider shows leads back into it.
#pragma once

#include <windows.h>

namespace softcsp {

class Mutex {
  public:
    Mutex() { InitializeCriticalSection(&section_); }
    ~Mutex() { DeleteCriticalSection(&section_); }
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    class Held {
      public:
        explicit Held(Mutex& mutex) : mutex_(mutex) { EnterCriticalSection(&mutex_.section_); }
        ~Held() { LeaveCriticalSection(&mutex_.section_); }
        Held(const Held&) = delete;
        Held& operator=(const Held&) = delete;

      private:
        Mutex& mutex_;
    };

  private:
    CRITICAL_SECTION section_;
};

}  // namespace softcsp
