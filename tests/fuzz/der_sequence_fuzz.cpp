// Feeds the measuring of a SEQUENCE with whatever bytes: of one that is whole, no part is.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "csp/ExtensionRecord.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (IsOneSequence(data, size) && (size < 2 || IsOneSequence(data, size - 1))) std::abort();
    return 0;
}
