// Lets allocations that the panel's code makes fail: an allocation is the panel's when its code is the nearest on the
// stack that isn't the C++ library's. The linker's map beside the program says to which library code belongs.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace MemoryFaults {

// Where memory is allocated: the innermost calls of the panel's code that led to an allocation. Another allocation at
// the same place, in a loop for example, meets the same code when it fails.
using Place = std::vector<std::size_t>;

struct Allocations {
    std::size_t count = 0;
    std::set<Place> places;
};

// What follows on this thread, up to Stop, is noted, and the first allocation at this place fails.
void Begin(const Place& failing = {});
void Stop();
Allocations End();

// Whether an allocation has failed since Begin.
bool HasFailed();

// The names of the functions.
std::string Described(const Place& place);

}  // namespace MemoryFaults
