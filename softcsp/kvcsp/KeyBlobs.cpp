#include "softcsp/kvcsp/KeyBlobs.h"

#include <cstring>

#include "softcsp/common/ByteStream.h"

namespace softcsp {
namespace {

constexpr char kSimpleMagic[] = "SSK1";
constexpr char kPrivateMagic[] = "SVK1";
constexpr std::size_t kMagicSize = 4;

ByteView Magic(bool withParameters) {
    return {reinterpret_cast<const std::uint8_t*>(withParameters ? kPrivateMagic : kSimpleMagic), kMagicSize};
}

}  // namespace

Bytes WriteBlob(const WrappedBlob& blob) {
    const BLOBHEADER header{.bType = static_cast<BYTE>(blob.parameters ? PRIVATEKEYBLOB : SIMPLEBLOB),
                            .bVersion = CUR_BLOB_VERSION,
                            .reserved = 0,
                            .aiKeyAlg = blob.algorithm};
    ByteWriter to;
    to.Raw({reinterpret_cast<const std::uint8_t*>(&header), sizeof header});
    to.Raw(Magic(blob.parameters.has_value()));
    to.Number(blob.wrapping == Wrapping::Diversified ? 1 : 0);
    to.Raw(blob.material);
    to.Raw(blob.wrapped.key);
    to.Raw(blob.wrapped.mac);
    if (blob.parameters) to.Counted(EncodeKeyParameters(*blob.parameters));
    return to.Take();
}

std::optional<WrappedBlob> ReadWrappedBlob(ByteView bytes) {
    ByteReader from(bytes);
    const ByteView head = from.Raw(sizeof(BLOBHEADER));
    const ByteView magic = from.Raw(kMagicSize);
    if (!from.Good()) return std::nullopt;
    BLOBHEADER header;
    std::memcpy(&header, head.data(), sizeof header);
    const bool withParameters = header.bType == PRIVATEKEYBLOB;
    const bool known = withParameters || header.bType == SIMPLEBLOB;
    if (!known || header.bVersion != CUR_BLOB_VERSION ||
        std::memcmp(magic.data(), Magic(withParameters).data(), kMagicSize) != 0)
        return std::nullopt;
    WrappedBlob blob;
    blob.algorithm = header.aiKeyAlg;
    const std::uint32_t wrapping = from.Number();
    if (wrapping > 1) return std::nullopt;
    blob.wrapping = wrapping == 1 ? Wrapping::Diversified : Wrapping::Plain;
    from.Fill(std::span(blob.material));
    from.Fill(std::span(blob.wrapped.key));
    from.Fill(std::span(blob.wrapped.mac));
    if (withParameters) {
        // What decodes parameters wants a key beside them; there is none in the clear.
        const Bytes none = EncodePublicKey({});
        blob.parameters = DecodePublicKey(from.Counted(), none);
        if (!blob.parameters) return std::nullopt;
    }
    return from.Ended() ? std::optional(blob) : std::nullopt;
}

}  // namespace softcsp
