// Feeds the parser of string tables with any bytes: no text may be longer than they are.
#include <cstdlib>

#include "softcsp/common/ResourceText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace softcsp;
    for (unsigned index = 0; index < 16; ++index)
        if (StringOfBlock({data, size}, index).value_or(u"").size() * 2 > size) std::abort();
    return 0;
}
