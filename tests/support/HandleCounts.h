// Whether the handles of this process become more.
#pragma once

#include <winternl.h>

#include <cstdint>
#include <cstdlib>

// Those of the first handle numbers, which the system uses again; it has no count of them everywhere.
inline unsigned KernelHandles() {
    unsigned count = 0;
    DWORD flags = 0;
    for (std::uintptr_t handle = 4; handle < 0x4000; handle += 4)
        count += GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags) != FALSE;
    return count;
}

// The process's table of GDI objects, as the process environment block points to it.
inline unsigned GdiHandles() {
    constexpr size_t kPointer = 0xF8, kEntries = 0x4000, kEntrySize = 24, kType = 14;
    PROCESS_BASIC_INFORMATION process{};
    NtQueryInformationProcess(GetCurrentProcess(), ProcessBasicInformation, &process, sizeof process, nullptr);
    const auto* block = reinterpret_cast<const BYTE*>(process.PebBaseAddress);
    const BYTE* table = *reinterpret_cast<BYTE* const*>(block + kPointer);
    unsigned count = 0;
    for (size_t i = 0; i < kEntries; ++i) count += table[i * kEntrySize + kType] != 0;
    return count;
}

inline unsigned Windows() {
    unsigned count = 0;
    const auto take = [](HWND window, LPARAM all) -> BOOL {
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        *reinterpret_cast<unsigned*>(all) += process == GetCurrentProcessId();
        return TRUE;
    };
    EnumWindows(take, reinterpret_cast<LPARAM>(&count));
    return count;
}

// The test fails when each half of the rounds leaves more kernel handles, GDI objects or windows than the half before.
// Threads of the system that begin late add some once; what the code under test leaks, it leaks in each half.
// VESTRA_CYCLES sets the rounds of a half.
inline void ExpectNothingLeftBehind(const std::function<void()>& round) {
    char text[16] = "1";
    GetEnvironmentVariableA("VESTRA_CYCLES", text, sizeof text);
    using Counts = std::array<unsigned, 3>;
    const auto half = [&] {
        for (int i = 0; i < std::atoi(text); ++i) round();
        return Counts{KernelHandles(), GdiHandles(), Windows()};
    };
    constexpr int kHalves = 4;
    Counts before = half(), after = half();
    const auto grows = [&] { return after[0] > before[0] || after[1] > before[1] || after[2] > before[2]; };
    for (int i = 2; i < kHalves && grows(); ++i) before = std::exchange(after, half());
    EXPECT_LE(after[0], before[0]) << "kernel handles";
    EXPECT_LE(after[1], before[1]) << "GDI objects";
    EXPECT_LE(after[2], before[2]) << "windows";
}
