#include "softcsp/common/Files.h"

#include "softcsp/common/FileHandle.h"

namespace softcsp {

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
    if (!file) return GetLastError();
    DWORD count = 0;
    if (!WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr)) return GetLastError();
    if (count != bytes.size()) return ERROR_DISK_FULL;
    return FlushFileBuffers(file.Get()) ? ERROR_SUCCESS : GetLastError();
}

}  // namespace softcsp
