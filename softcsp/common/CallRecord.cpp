#include "softcsp/common/CallRecord.h"

#include <cstring>

#include "softcsp/common/ApplicationData.h"
#include "softcsp/common/FileHandle.h"

namespace softcsp {
namespace {

std::wstring RecordFile(const std::wstring& program) {
    const std::wstring folder = ApplicationData(Owner::Computer);
    return folder.empty() ? std::wstring() : folder + L"Calls\\" + program + L".bin";
}

std::wstring ThisProgram() {
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring whole(path, length);
    return whole.substr(whole.rfind(L'\\') + 1);
}

// The program's counts in memory shared with whoever reads the file; null when there is no record.
class Mapping {
  public:
    Mapping() {
        const FileHandle file(CreateFileW(RecordFile(ThisProgram()).c_str(), GENERIC_READ | GENERIC_WRITE,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file) return;
        const FileHandle mapping(
            CreateFileMappingW(file.Get(), nullptr, PAGE_READWRITE, 0, sizeof(CallCounts), nullptr));
        if (!mapping) return;
        counts_ = static_cast<CallCounts*>(MapViewOfFile(mapping.Get(), FILE_MAP_WRITE, 0, 0, sizeof(CallCounts)));
    }
    ~Mapping() {
        if (counts_ != nullptr) UnmapViewOfFile(counts_);
    }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    CallCounts* Counts() const { return counts_; }

  private:
    CallCounts* counts_ = nullptr;
};

// Made at the first call, not when the library is loaded; ends with the library.
struct {
    INIT_ONCE once = INIT_ONCE_STATIC_INIT;
    alignas(Mapping) unsigned char room[sizeof(Mapping)];
    Mapping* made = nullptr;
} record;

struct RecordEnd {
    ~RecordEnd() {
        if (record.made != nullptr) record.made->~Mapping();
        record.made = nullptr;
    }
} recordEnd;

BOOL CALLBACK MakeRecord(INIT_ONCE*, void*, void**) {
    record.made = new (record.room) Mapping;
    return TRUE;
}

CallCounts* Record() {
    InitOnceExecuteOnce(&record.once, MakeRecord, nullptr, nullptr);
    return record.made != nullptr ? record.made->Counts() : nullptr;
}

}  // namespace

void CountCall(ProviderEntry entry) {
    if (CallCounts* counts = Record()) InterlockedIncrement(&counts->calls[static_cast<std::size_t>(entry)]);
}

void CountHandles(HandleKind kind, LONG change) {
    if (change == 0) return;
    if (CallCounts* counts = Record()) InterlockedExchangeAdd(&counts->open[static_cast<std::size_t>(kind)], change);
}

DWORD StartCallRecord(const std::wstring& program) {
    const std::wstring path = RecordFile(program);
    if (path.empty()) return ERROR_PATH_NOT_FOUND;
    MakeFolderOf(path);
    const FileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return GetLastError();
    const CallCounts zero{};
    DWORD written = 0;
    return WriteFile(file.Get(), &zero, sizeof zero, &written, nullptr) ? ERROR_SUCCESS : GetLastError();
}

DWORD ReadCallRecord(const std::wstring& program, CallCounts& counts) {
    const FileHandle file(CreateFileW(RecordFile(program).c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return GetLastError() == ERROR_PATH_NOT_FOUND ? ERROR_FILE_NOT_FOUND : GetLastError();
    CallCounts read{};
    DWORD size = 0;
    if (!ReadFile(file.Get(), &read, sizeof read, &size, nullptr)) return GetLastError();
    if (size != sizeof read) return ERROR_INVALID_DATA;
    counts = read;
    return ERROR_SUCCESS;
}

DWORD StopCallRecord(const std::wstring& program) {
    if (DeleteFileW(RecordFile(program).c_str())) return ERROR_SUCCESS;
    return GetLastError() == ERROR_PATH_NOT_FOUND ? ERROR_FILE_NOT_FOUND : GetLastError();
}

}  // namespace softcsp
