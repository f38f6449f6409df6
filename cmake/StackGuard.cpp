// The run-time part of the stack protector. The compiler's own library obtains the guard value from a cryptographic
// provider while the module is being loaded, which loads several system libraries during a phase in which no library
// may be loaded, and takes milliseconds. This one computes the guard from the clock, the process and thread ids and the
// addresses of the stack and the module, like the platform's own compilers.
#include <windows.h>

#include <initializer_list>

extern "C" {

uintptr_t __stack_chk_guard = 0;

[[noreturn]] void __stack_chk_fail() {
    __builtin_trap();
}
[[noreturn]] void __chk_fail() {
    __builtin_trap();
}

__attribute__((constructor, optimize("no-stack-protector"))) static void MakeGuard() {
    LARGE_INTEGER count;
    FILETIME time;
    QueryPerformanceCounter(&count);
    GetSystemTimeAsFileTime(&time);
    uintptr_t guard = static_cast<uintptr_t>(count.QuadPart);
    for (const uintptr_t part : {static_cast<uintptr_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime,
                                 static_cast<uintptr_t>(GetCurrentProcessId()) << 32 | GetCurrentThreadId(),
                                 reinterpret_cast<uintptr_t>(&count), reinterpret_cast<uintptr_t>(&MakeGuard)}) {
        guard = (guard ^ part) * 0x9E3779B97F4A7C15u;
        guard ^= guard >> 29;
    }
    __stack_chk_guard =
        guard & ~uintptr_t{0xFF};  // the low byte is 0, so that an overrunning text ends before the guard
}

}  // extern "C"
