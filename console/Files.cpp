#include "console/Files.h"

#include "framework/Handles.h"

namespace {

Result<> WriteNewFile(const std::wstring& path, std::span<const std::byte> bytes) {
    UniqueFile file(
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return LastFailure();
    DWORD written = 0;
    const Result<> done = Try(WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
    if (!done) return done;
    if (written != bytes.size()) return Failure{ERROR_DISK_FULL};
    return Try(file.close());
}

}  // namespace

Result<> WriteWholeFile(const std::wstring& path, std::span<const std::byte> bytes, Existing existing) {
    const std::wstring temporary = path + L"." + std::to_wstring(GetCurrentProcessId()) + L".tmp";
    Result<> written = WriteNewFile(temporary, bytes);
    // Without the flag the move fails when the file exists, also when it was created meanwhile.
    const DWORD replace = existing == Existing::Replace ? MOVEFILE_REPLACE_EXISTING : 0;
    if (written) written = Try(MoveFileExW(temporary.c_str(), path.c_str(), replace | MOVEFILE_WRITE_THROUGH));
    if (!written) DeleteFileW(temporary.c_str());
    return written;
}
