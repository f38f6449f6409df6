// Feeds the parser of container files with any bytes: what it reads must be written and read again without a change.
#include <cstdlib>

#include "softcsp/container/Container.h"

// The parser is linked without libgcrypt.
softcsp::DigestValue softcsp::DigestOf(ByteView) {
    return {};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace softcsp;
    IsIntact({data, size});
    auto container = ReadContainer({data, size});
    if (!container) return 0;
    const Bytes written = WriteContainer(*container);
    const auto again = ReadContainer(written);
    if (!again || WriteContainer(*again) != written) std::abort();
    return 0;
}
