// Counts for tests and benchmarks: how often a program called each of the provider's functions, and how many handles it
// has open. There is one file per program (by its file name, such as "control.exe") in the application data of all
// users, mapped by the provider while it is loaded. A program without such a file is not counted. The counts of several
// processes of that name are added.
#pragma once

#include <windows.h>

#include <array>
#include <string>

namespace softcsp {

enum class ProviderEntry {
    AcquireContext,
    ReleaseContext,
    GetProvParam,
    SetProvParam,
    GenRandom,
    GenKey,
    DeriveKey,
    DestroyKey,
    DuplicateKey,
    ExportKey,
    ImportKey,
    GetUserKey,
    GetKeyParam,
    SetKeyParam,
    Encrypt,
    Decrypt,
    CreateHash,
    DestroyHash,
    DuplicateHash,
    HashData,
    HashSessionKey,
    GetHashParam,
    SetHashParam,
    SignHash,
    VerifySignature,
};

// In the order of ProviderEntry.
constexpr const wchar_t* kProviderEntries[] = {
    L"CPAcquireContext", L"CPReleaseContext", L"CPGetProvParam", L"CPSetProvParam",  L"CPGenRandom",
    L"CPGenKey",         L"CPDeriveKey",      L"CPDestroyKey",   L"CPDuplicateKey",  L"CPExportKey",
    L"CPImportKey",      L"CPGetUserKey",     L"CPGetKeyParam",  L"CPSetKeyParam",   L"CPEncrypt",
    L"CPDecrypt",        L"CPCreateHash",     L"CPDestroyHash",  L"CPDuplicateHash", L"CPHashData",
    L"CPHashSessionKey", L"CPGetHashParam",   L"CPSetHashParam", L"CPSignHash",      L"CPVerifySignature",
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
