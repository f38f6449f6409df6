// Whether the handles of this process become more.
#pragma once

#include <functional>

// The test fails when each half of the rounds leaves more kernel handles, GDI objects or windows than the half before.
// Threads of the system that begin late add some once; what the code under test leaks, it leaks in each half.
// VESTRA_CYCLES sets the rounds of a half.
void ExpectNothingLeftBehind(const std::function<void()>& round);
