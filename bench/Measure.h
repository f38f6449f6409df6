// Time measurement shared by the benchmarks.
#pragma once

#include <windows.h>

#include <algorithm>
#include <vector>

// Milliseconds since an arbitrary start, at the resolution of the system's performance counter.
inline double Now() {
    LARGE_INTEGER count, frequency;
    QueryPerformanceCounter(&count);
    QueryPerformanceFrequency(&frequency);
    return 1000.0 * static_cast<double>(count.QuadPart) / static_cast<double>(frequency.QuadPart);
}

// The median of at least one value; for an even count, the mean of the two in the middle.
inline double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}
