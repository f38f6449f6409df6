// Feeds the parser of resource texts with any bytes: no text may be longer than they are.
#include <cstdlib>

#include "softcsp/common/ResourceText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace softcsp;
    for (unsigned index = 0; index < 16; ++index)
        if (StringOfBlock({data, size}, index).value_or(u"").size() * 2 > size) std::abort();
    if (VersionString({data, size}, u"041904B0", u"filedescription").value_or(u"").size() * 2 > size) std::abort();
    if (FirstTranslation({data, size}).value_or(u"").size() > 8) std::abort();
    return 0;
}
