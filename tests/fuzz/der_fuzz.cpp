// Feeds the reader of DER elements and the decoder of certificate sequences with any bytes: every element must be
// inside of them, and both must be written as they were read.
#include <algorithm>
#include <cstdlib>

#include "softcsp/encoding/Der.h"

namespace {

using softcsp::ByteView;

bool IsInside(ByteView part, ByteView whole) {
    return part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size();
}

void ReadAll(ByteView bytes, int depth) {
    softcsp::der::Reader reader(bytes);
    while (!reader.AtEnd()) {
        const std::uint8_t tag = reader.NextTag();
        softcsp::der::Reader sameElement = reader;
        const auto whole = sameElement.ReadWhole();
        const auto content = reader.Read(tag);
        if (whole.has_value() != content.has_value()) std::abort();
        if (!content) return;
        if (!IsInside(*whole, bytes) || !IsInside(*content, *whole)) std::abort();
        if (!std::ranges::equal(softcsp::der::Element(tag, {*content}), *whole)) std::abort();
        if (depth < 20) ReadAll(*content, depth + 1);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ByteView bytes(data, size);
    ReadAll(bytes, 0);
    softcsp::IsCertificate(bytes);
    const auto certificates = softcsp::DecodeCertificateSequence(bytes);
    if (!certificates) return 0;
    std::vector<softcsp::Bytes> copies;
    for (const ByteView one : *certificates) {
        if (one.empty() || one[0] != softcsp::der::kSequence) std::abort();
        copies.emplace_back(one.begin(), one.end());
    }
    if (!std::ranges::equal(softcsp::EncodeCertificateSequence(copies), bytes)) std::abort();
    return 0;
}
