// Owners of file and search handles.
#pragma once

#include <windows.h>

namespace softcsp {

template <BOOL(WINAPI* close)(HANDLE)>
class SystemHandle {
  public:
    explicit SystemHandle(HANDLE handle) : handle_(handle) {}
    ~SystemHandle() {
        if (*this) close(handle_);
    }
    SystemHandle(const SystemHandle&) = delete;
    SystemHandle& operator=(const SystemHandle&) = delete;

    explicit operator bool() const { return handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE; }
    HANDLE Get() const { return handle_; }

  private:
    HANDLE handle_;
};

using FileHandle = SystemHandle<CloseHandle>;
using FindHandle = SystemHandle<FindClose>;

}  // namespace softcsp
