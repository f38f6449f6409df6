#include "softcsp/common/Files.h"

#include <windows.h>
#include <aclapi.h>
#include <sddl.h>
#include <shlobj.h>

#include <memory>

#include "softcsp/common/Text.h"

// RtlGenRandom, under the name that advapi32.dll exports it by.
extern "C" BOOLEAN NTAPI SystemFunction036(void* buffer, ULONG size);

namespace softcsp {
namespace {

constexpr DWORD kLockPatience = 30'000;  // milliseconds
constexpr DWORD kLockPause = 2;          // milliseconds between attempts
constexpr wchar_t kLockName[] = L"lock";
constexpr wchar_t kUnfinished[] = L".new";

struct FreeLocal {
    void operator()(void* memory) const { LocalFree(memory); }
};
template <class Type>
using LocalMemory = std::unique_ptr<Type, FreeLocal>;

// The current user's identifier as a SID, in a buffer of its own.
Bytes CurrentUser() {
    HANDLE opened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened)) return {};
    const FileHandle token(opened);
    alignas(TOKEN_USER) BYTE buffer[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD size = 0;
    if (!GetTokenInformation(token.Get(), TokenUser, buffer, sizeof buffer, &size)) return {};
    const auto* sid = static_cast<const BYTE*>(reinterpret_cast<TOKEN_USER*>(buffer)->User.Sid);
    return {sid, sid + GetLengthSid(const_cast<BYTE*>(sid))};
}

// The current user, the system or an administrator.
bool IsTrusted(PSID owner) {
    Bytes user = CurrentUser();
    return (!user.empty() && EqualSid(owner, user.data())) || IsWellKnownSid(owner, WinLocalSystemSid) ||
           IsWellKnownSid(owner, WinBuiltinAdministratorsSid);
}

// Other users could have created the object in advance, to read what is written to it or to keep control of it.
DWORD CheckOwner(HANDLE object) {
    PSID owner = nullptr;
    void* descriptor = nullptr;
    if (const DWORD result = GetSecurityInfo(object, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr,
                                             nullptr, nullptr, &descriptor))
        return result;
    const LocalMemory<void> memory(descriptor);
    return owner != nullptr && IsTrusted(owner) ? ERROR_SUCCESS : ERROR_INVALID_OWNER;
}

DWORD CheckFolderOwner(const std::wstring& folder) {
    const FileHandle opened(CreateFileW(folder.c_str(), READ_CONTROL,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    return opened ? CheckOwner(opened.Get()) : GetLastError();
}

DWORD WriteAll(const FileHandle& file, ByteView bytes) {
    DWORD count = 0;
    if (!WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr)) return GetLastError();
    if (count != bytes.size()) return ERROR_DISK_FULL;
    return FlushFileBuffers(file.Get()) ? ERROR_SUCCESS : GetLastError();
}

}  // namespace

NewObjectSecurity::NewObjectSecurity(Rights rights) {
    Bytes user = CurrentUser();
    wchar_t* text = nullptr;
    if (user.empty() || !ConvertSidToStringSidW(user.data(), &text)) return;
    const LocalMemory<wchar_t> memory(text);
    const std::wstring sid = text;
    std::wstring list = L"O:" + sid + L"D:P(A;OICI;GA;;;" + sid + L")";
    if (rights == Rights::OwnerAndAdministrators) list += L"(A;OICI;GA;;;SY)(A;OICI;GA;;;BA)";
    ConvertStringSecurityDescriptorToSecurityDescriptorW(list.c_str(), SDDL_REVISION_1,
                                                         &attributes_.lpSecurityDescriptor, nullptr);
}

std::wstring KnownFolder(bool ofTheUser) {
    const SystemFunction<decltype(SHGetFolderPathW)> find(L"shell32.dll", "SHGetFolderPathW");
    const int folder = ofTheUser ? CSIDL_LOCAL_APPDATA : CSIDL_COMMON_APPDATA;
    wchar_t path[MAX_PATH];
    if (find.Get() == nullptr || find.Get()(nullptr, folder, nullptr, SHGFP_TYPE_CURRENT, path) != S_OK) return {};
    return std::wstring(path) + L'\\';
}

void CreateFolders(const std::wstring& file, const std::wstring& open, Rights rights) {
    NewObjectSecurity security(rights);
    for (std::size_t end = file.find(L'\\', 3); end != std::wstring::npos; end = file.find(L'\\', end + 1)) {
        const std::wstring folder = file.substr(0, end);
        auto* const attributes = end < open.size() ? nullptr : security.Attributes();
        const bool exists = !CreateDirectoryW(folder.c_str(), attributes) && GetLastError() == ERROR_ALREADY_EXISTS;
        if (exists && attributes != nullptr)  // it may have inherited rights before
            SetFileSecurityW(folder.c_str(), DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                             attributes->lpSecurityDescriptor);
    }
}

DWORD ReadFileWhole(const std::wstring& path, Bytes& bytes) {
    const FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return GetLastError();
    LARGE_INTEGER size;
    if (!GetFileSizeEx(file.Get(), &size)) return GetLastError();
    if (size.QuadPart > LONGLONG{kLargestFile}) return ERROR_FILE_TOO_LARGE;
    Bytes read(static_cast<std::size_t>(size.QuadPart));
    DWORD count = 0;
    if (!ReadFile(file.Get(), read.data(), static_cast<DWORD>(read.size()), &count, nullptr)) return GetLastError();
    if (count != read.size()) return ERROR_READ_FAULT;
    bytes = std::move(read);
    return ERROR_SUCCESS;
}

DWORD WriteFileWhole(const std::wstring& path, ByteView bytes) {
    const FileHandle file(
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    return file ? WriteAll(file, bytes) : GetLastError();
}

DWORD WriteFileAtomically(const std::wstring& path, ByteView bytes, Rights rights, bool replace) {
    std::uint8_t random[8];
    if (!SystemFunction036(random, sizeof random)) return ERROR_GEN_FAILURE;
    const std::wstring unfinished = path + L'.' + HexText(random) + kUnfinished;
    NewObjectSecurity security(rights);
    DWORD result = ERROR_SUCCESS;
    {
        // CREATE_NEW: the name is not guessable, and a file that others created is never opened.
        const FileHandle file(CreateFileW(unfinished.c_str(), GENERIC_WRITE, 0, security.Attributes(), CREATE_NEW,
                                          FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file) return GetLastError();
        result = WriteAll(file, bytes);
    }
    const DWORD flags = MOVEFILE_WRITE_THROUGH | (replace ? DWORD{MOVEFILE_REPLACE_EXISTING} : 0);
    if (result == ERROR_SUCCESS && !MoveFileExW(unfinished.c_str(), path.c_str(), flags)) result = GetLastError();
    if (result != ERROR_SUCCESS) DeleteFileW(unfinished.c_str());
    return result;
}

void RemoveUnfinished(const std::wstring& path) {
    WIN32_FIND_DATAW found;
    const FindHandle search(FindFirstFileW((path + L".*" + kUnfinished).c_str(), &found));
    if (!search) return;
    const std::wstring folder = path.substr(0, path.rfind(L'\\') + 1);
    do DeleteFileW((folder + found.cFileName).c_str());
    while (FindNextFileW(search.Get(), &found));
}

FolderLock::FolderLock(const std::wstring& folder, Rights rights) {
    NewObjectSecurity security(rights);
    const ULONGLONG end = GetTickCount64() + kLockPatience;
    for (;;) {
        file_ = FileHandle(CreateFileW((folder + kLockName).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                       security.Attributes(), OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (file_) break;
        result_ = GetLastError();
        if (result_ != ERROR_SHARING_VIOLATION) return;
        result_ = ERROR_LOCK_VIOLATION;
        if (GetTickCount64() > end) return;
        Sleep(kLockPause);  // the system offers nothing to wait for here
    }
    result_ = CheckFolderOwner(folder);
    if (result_ == ERROR_SUCCESS) result_ = CheckOwner(file_.Get());
    if (result_ != ERROR_SUCCESS) file_ = FileHandle();
}

}  // namespace softcsp
