// Keeps all others who take such a lock of a file away, in this and in other processes, while it lives. Its thread may
// take it again.
#pragma once

#include <windows.h>

#include <string>

namespace softcsp {

class FileLock {
  public:
    explicit FileLock(const std::wstring& path);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    // 0; ERROR_LOCK_VIOLATION when somebody else kept it for half a minute, else why there can be none.
    DWORD Result() const { return result_; }

  private:
    HANDLE mutex_ = nullptr;
    DWORD result_ = ERROR_SUCCESS;
};

}  // namespace softcsp
