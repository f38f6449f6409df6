// Feeds the decoder of certificate sequences with any bytes: what it returns must encode to the same bytes.
#include <algorithm>
#include <cstdlib>

#include "softcsp/encoding/Der.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace softcsp;
    const ByteView bytes(data, size);
    IsCertificate(bytes);
    const auto certificates = DecodeCertificateSequence(bytes);
    if (!certificates) return 0;
    std::vector<Bytes> copies;
    for (const ByteView one : *certificates) {
        if (one.empty() || one[0] != der::kSequence) std::abort();
        copies.emplace_back(one.begin(), one.end());
    }
    if (!std::ranges::equal(EncodeCertificateSequence(copies), bytes)) std::abort();
    return 0;
}
