// Feeds the parser of parameter entries with any bytes: a name is either an identifier or a text that fits the entry.
#include <cstdlib>

#include "applet/services/ParameterEntry.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ParameterName name;
    if (!ReadParameterName(data, size, name)) return 0;
    if ((name.stringId == 0) == name.text.empty() || name.text.size() * 2 > size) std::abort();
    return 0;
}
