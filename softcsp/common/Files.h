// Whole files, the folders that they are in, and who may use both. Results are Win32 codes, 0 = success.
#pragma once

#include <windows.h>

#include <string>

#include "softcsp/common/Bytes.h"
#include "softcsp/common/Handles.h"

namespace softcsp {

constexpr std::size_t kLargestFile = 64 << 20;  // bytes

// Who may use files, folders and registry keys that are created with such rights. Nothing is inherited.
enum class Rights { Owner, OwnerAndAdministrators };

// A security descriptor for objects that the current user creates. Attributes() is null if there was none to be made.
class NewObjectSecurity {
  public:
    explicit NewObjectSecurity(Rights rights);
    ~NewObjectSecurity() { LocalFree(attributes_.lpSecurityDescriptor); }
    NewObjectSecurity(const NewObjectSecurity&) = delete;
    NewObjectSecurity& operator=(const NewObjectSecurity&) = delete;

    SECURITY_ATTRIBUTES* Attributes() { return attributes_.lpSecurityDescriptor != nullptr ? &attributes_ : nullptr; }

  private:
    SECURITY_ATTRIBUTES attributes_{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
};

// The system's folder for application data of the user or of all users, with the last backslash. Empty if the system
// does not know it.
std::wstring KnownFolder(bool ofTheUser);

// Creates the missing folders above a file. Those beneath `open`, also existing ones, get the rights; `open` and its
// parents inherit theirs.
void CreateFolders(const std::wstring& file, const std::wstring& open, Rights rights);

// ERROR_FILE_TOO_LARGE for a file above kLargestFile. `bytes` is unchanged after a failure.
DWORD ReadFileWhole(const std::wstring& path, Bytes& bytes);

// Overwrites the file in place; after a failure it may be there in part.
DWORD WriteFileWhole(const std::wstring& path, ByteView bytes);

// Writes a new file of a random name beside `path` and renames it, so that a process that is killed leaves the old
// contents or the new ones. Without `replace` an existing file is ERROR_ALREADY_EXISTS or ERROR_FILE_EXISTS.
DWORD WriteFileAtomically(const std::wstring& path, ByteView bytes, Rights rights, bool replace);
// Removes what killed processes left beside `path`. The caller has locked the folder.
void RemoveUnfinished(const std::wstring& path);

// Locks a folder against all others that lock it, in this and other processes and threads, by keeping a file in it
// open. Not recursive. The system releases the lock of a killed process.
class FolderLock {
  public:
    // `folder` ends with a backslash.
    FolderLock(const std::wstring& folder, Rights rights);

    // 0; ERROR_PATH_NOT_FOUND: no such folder; ERROR_INVALID_OWNER: the folder or the lock file is another user's;
    // ERROR_LOCK_VIOLATION: somebody else held the lock for half a minute.
    DWORD Result() const { return result_; }

  private:
    FileHandle file_;
    DWORD result_ = ERROR_SUCCESS;
};

}  // namespace softcsp
