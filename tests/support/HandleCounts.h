// How many handles this process holds, and whether they become more.
#pragma once

#include <functional>

struct HandleCounts {
    unsigned kernel;   // files, registry keys, events, …
    unsigned gdi;      // fonts, bitmaps, brushes, device contexts, …
    unsigned windows;  // of this process, message-only ones too

    bool operator==(const HandleCounts&) const = default;
};

HandleCounts CountHandles();

// The test fails when each half of the rounds leaves more handles than the half before. Threads of the system that
// begin late add some once; what the code under test leaks, it leaks in each half. VESTRA_CYCLES sets the rounds of a
// half.
void ExpectNothingLeftBehind(const std::function<void()>& round);
