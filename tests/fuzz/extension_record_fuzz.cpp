// Feeds the measuring of a SEQUENCE and the parser of container extensions with whatever bytes. Of a whole sequence no
// part is one; what the parser finds must lie in the bytes, with a terminator behind the identifier.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "csp/ExtensionRecord.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (IsOneSequence(data, size) && (size < 2 || IsOneSequence(data, size - 1))) std::abort();
    const auto record = ReadExtensionRecord(data, size);
    if (!record) return 0;
    const auto* identifier = reinterpret_cast<const std::uint8_t*>(record->identifier.data());
    const bool holds = record->value.data() == data + 8 && record->value.data() + record->value.size() == identifier &&
                       identifier + record->identifier.size() < data + size &&
                       identifier[record->identifier.size()] == 0;
    if (!holds) std::abort();
    return 0;
}
