#include "softcsp/common/CallRecord.h"

#include <cstring>

#include "softcsp/common/Carriers.h"

namespace softcsp {
namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

std::wstring RecordFile(const std::wstring& program) {
    const std::wstring folder = ApplicationData(Owner::Computer);
    return folder.empty() ? std::wstring() : folder + L"Calls\\" + program + L".bin";
}

FileHandle OpenRecord(const std::wstring& program, DWORD access, DWORD creation) {
    return FileHandle(
        CreateFileW(RecordFile(program).c_str(), access, kShareAll, nullptr, creation, FILE_ATTRIBUTE_NORMAL, nullptr));
}

DWORD MissingIsNotFound(DWORD error) {
    return error == ERROR_PATH_NOT_FOUND ? ERROR_FILE_NOT_FOUND : error;
}

// The counts of this program in memory shared with whoever reads the file; null without a record.
CallCounts* MapRecord() {
    wchar_t path[MAX_PATH];
    const std::wstring program(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
    const FileHandle file =
        OpenRecord(program.substr(program.rfind(L'\\') + 1), GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING);
    if (!file) return nullptr;
    const FileHandle mapping(CreateFileMappingW(file.Get(), nullptr, PAGE_READWRITE, 0, sizeof(CallCounts), nullptr));
    if (!mapping) return nullptr;
    return static_cast<CallCounts*>(MapViewOfFile(mapping.Get(), FILE_MAP_WRITE, 0, 0, sizeof(CallCounts)));
}

// Mapped at the first call, not when the library is loaded, and unmapped with the library.
struct Record {
    ~Record() {
        if (counts != nullptr) UnmapViewOfFile(counts);
    }

    INIT_ONCE once = INIT_ONCE_STATIC_INIT;
    CallCounts* counts = nullptr;
} record;

// An exception that left this callback would block every later call, so that a failure means that nothing is counted.
BOOL CALLBACK Start(INIT_ONCE*, void*, void**) noexcept {
    try {
        record.counts = MapRecord();
    } catch (...) {
    }
    return TRUE;
}

CallCounts* Counts() {
    InitOnceExecuteOnce(&record.once, Start, nullptr, nullptr);
    return record.counts;
}

}  // namespace

void CountCall(ProviderEntry entry) noexcept {
    if (CallCounts* counts = Counts()) InterlockedIncrement(&counts->calls[entry.index]);
}

void CountHandles(HandleKind kind, LONG change) noexcept {
    if (change == 0) return;
    if (CallCounts* counts = Counts()) InterlockedExchangeAdd(&counts->open[static_cast<std::size_t>(kind)], change);
}

DWORD StartCallRecord(const std::wstring& program) {
    const std::wstring path = RecordFile(program);
    if (path.empty()) return ERROR_PATH_NOT_FOUND;
    // Everybody's programs are counted, so the folders have the rights that the system gives them.
    CreateFolders(path, path, Rights::Owner);
    const CallCounts zero{};
    const FileHandle file = OpenRecord(program, GENERIC_WRITE, OPEN_ALWAYS);
    DWORD written = 0;
    const bool done = file && WriteFile(file.Get(), &zero, sizeof zero, &written, nullptr);
    return done ? ERROR_SUCCESS : GetLastError();
}

// The program may be running and writing.
DWORD ReadCallRecord(const std::wstring& program, CallCounts& counts) {
    const FileHandle file = OpenRecord(program, GENERIC_READ, OPEN_EXISTING);
    CallCounts read{};
    DWORD size = 0;
    if (!file || !ReadFile(file.Get(), &read, sizeof read, &size, nullptr)) return MissingIsNotFound(GetLastError());
    if (size != sizeof read) return ERROR_INVALID_DATA;
    counts = read;
    return ERROR_SUCCESS;
}

DWORD StopCallRecord(const std::wstring& program) {
    return DeleteFileW(RecordFile(program).c_str()) ? ERROR_SUCCESS : MissingIsNotFound(GetLastError());
}

}  // namespace softcsp
