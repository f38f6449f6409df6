// Counts for tests and benchmarks: how often a program called each of the provider's functions, and how many handles it
// has open. There is one file per program (by its file name, such as "control.exe") in the application data of all
// users, mapped by the provider while it is loaded. A program without such a file is not counted. The counts of several
// processes of that name are added.
#pragma once

#include <windows.h>

#include <array>
#include <string>
#include <string_view>

namespace softcsp {

constexpr std::string_view kProviderEntries[] = {
    "CPAcquireContext", "CPReleaseContext", "CPGetProvParam", "CPSetProvParam",  "CPGenRandom",
    "CPGenKey",         "CPDeriveKey",      "CPDestroyKey",   "CPDuplicateKey",  "CPExportKey",
    "CPImportKey",      "CPGetUserKey",     "CPGetKeyParam",  "CPSetKeyParam",   "CPEncrypt",
    "CPDecrypt",        "CPCreateHash",     "CPDestroyHash",  "CPDuplicateHash", "CPHashData",
    "CPHashSessionKey", "CPGetHashParam",   "CPSetHashParam", "CPSignHash",      "CPVerifySignature",
};

// The place of a name in that list. Another name does not compile.
struct ProviderEntry {
    template <std::size_t Size>
    consteval ProviderEntry(const char (&name)[Size]) {
        while (kProviderEntries[index] != name) ++index;
    }
    std::size_t index = 0;
};

enum class HandleKind { Context, Key, Hash };
constexpr const wchar_t* kHandleKinds[] = {L"contexts", L"keys", L"hashes"};

struct CallCounts {
    std::array<LONG, std::size(kProviderEntries)> calls;
    std::array<LONG, std::size(kHandleKinds)> open;  // opened minus closed
};

// Called by the provider. They throw nothing.
void CountCall(ProviderEntry entry) noexcept;
void CountHandles(HandleKind kind, LONG change) noexcept;

// Called by the tool and by tests; Win32 codes. Starting sets all counts to zero. No record: ERROR_FILE_NOT_FOUND.
DWORD StartCallRecord(const std::wstring& program);
DWORD ReadCallRecord(const std::wstring& program, CallCounts& counts);
DWORD StopCallRecord(const std::wstring& program);

}  // namespace softcsp
