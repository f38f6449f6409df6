// Feeds the readers of key blobs and of encoded keys with any bytes: what is read must be written as it was.
#include <algorithm>
#include <cstdlib>

#include "softcsp/encoding/KeyEncoding.h"

namespace {

using namespace softcsp;

// The parameters may have a third identifier, which is not kept.
bool IsOrLonger(const Bytes& written, ByteView read) {
    return written.size() < read.size() || std::ranges::equal(written, read);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ByteView bytes(data, size);
    if (const auto blob = ReadPublicKeyBlob(bytes); blob && !IsOrLonger(WriteBlob(*blob), bytes)) std::abort();
    if (const auto blob = ReadWrappedBlob(bytes); blob && !IsOrLonger(WriteBlob(*blob), bytes)) std::abort();
    for (std::size_t at = 0; at <= std::min<std::size_t>(size, 40); ++at) {  // the parameters, then the key
        const auto key = DecodePublicKey(bytes.first(at), bytes.subspan(at));
        if (key && EncodePublicKey(*key).size() != size - at) std::abort();
    }
    return 0;
}
