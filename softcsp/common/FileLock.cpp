#include "softcsp/common/FileLock.h"

#include "softcsp/common/TextSum.h"

namespace softcsp {
namespace {

constexpr DWORD kPatience = 30'000;  // milliseconds

}  // namespace

FileLock::FileLock(const std::wstring& path) {
    // For every user: who may not touch the file is kept away by its own rights.
    SECURITY_DESCRIPTOR everyone;
    InitializeSecurityDescriptor(&everyone, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&everyone, TRUE, nullptr, FALSE);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, &everyone, FALSE};
    mutex_ = CreateMutexW(&attributes, FALSE, (L"Global\\softcsp-" + TextSum(path)).c_str());
    if (mutex_ == nullptr) {
        result_ = GetLastError();
        return;
    }
    // One that a killed process left behind is as good: files are replaced in one step.
    const DWORD waited = WaitForSingleObject(mutex_, kPatience);
    if (waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED) return;
    result_ = waited == WAIT_TIMEOUT ? ERROR_LOCK_VIOLATION : GetLastError();
    CloseHandle(mutex_);
    mutex_ = nullptr;
}

FileLock::~FileLock() {
    if (mutex_ == nullptr) return;
    ReleaseMutex(mutex_);
    CloseHandle(mutex_);
}

}  // namespace softcsp
