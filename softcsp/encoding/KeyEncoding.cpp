#include "softcsp/encoding/KeyEncoding.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "softcsp/encoding/Der.h"

namespace softcsp {
namespace {

// Precedes the parameters of a public key blob.
struct BlobHead {
    BLOBHEADER header;
    char magic[4];
    std::uint32_t parameters;  // bytes
};
static_assert(sizeof(BlobHead) == 16);

constexpr char kMagic[4] = {'S', 'P', 'K', '1'};

bool IsKeyAlgorithm(ALG_ID algorithm) {
    return algorithm == kAlgSignature || algorithm == kAlgExchange || algorithm == kAlgEphemeralExchange;
}

// The text of the next identifier; empty if there is none.
std::string ReadIdentifier(der::Reader& reader) {
    const auto content = reader.Read(der::kObjectIdentifier);
    return content ? der::DottedText(*content).value_or(std::string()) : std::string();
}

// The key stays zero.
std::optional<PublicKeyData> DecodeParameters(ByteView parameters) {
    der::Reader whole(parameters);
    const auto content = whole.Read(der::kSequence);
    if (!content || !whole.AtEnd()) return std::nullopt;
    der::Reader reader(*content);
    PublicKeyData data;
    data.curve = FindCurve(ReadIdentifier(reader));
    data.digest = FindParameterSet(ParameterKind::Digest, ReadIdentifier(reader));
    const bool cipherSound = reader.AtEnd() || !ReadIdentifier(reader).empty();
    if (data.curve == nullptr || data.digest == nullptr || !cipherSound || !reader.AtEnd()) return std::nullopt;
    return data;
}

bool ReadKey(ByteView bytes, PublicKey& key) {
    if (bytes.size() != key.size()) return false;
    std::ranges::copy(bytes, key.begin());
    return true;
}

}  // namespace

Bytes EncodeKeyParameters(const PublicKeyData& key) {
    return der::Element(der::kSequence,
                        {der::ObjectIdentifier(key.curve->identifier), der::ObjectIdentifier(key.digest->identifier)});
}

Bytes EncodePublicKey(const PublicKeyData& key) {
    return der::Element(der::kOctetString, {key.key});
}

std::optional<PublicKeyData> DecodePublicKey(ByteView parameters, ByteView key) {
    auto data = DecodeParameters(parameters);
    der::Reader reader(key);
    const auto content = reader.Read(der::kOctetString);
    if (!data || !content || !reader.AtEnd() || !ReadKey(*content, data->key)) return std::nullopt;
    return data;
}

Bytes WriteBlob(const PublicKeyBlob& blob) {
    const Bytes parameters = EncodeKeyParameters(blob.key);
    BlobHead head{{PUBLICKEYBLOB, CUR_BLOB_VERSION, 0, blob.algorithm}, {}, static_cast<DWORD>(parameters.size())};
    std::ranges::copy(kMagic, head.magic);
    Bytes bytes(sizeof head + parameters.size() + blob.key.key.size());
    std::memcpy(bytes.data(), &head, sizeof head);
    std::ranges::copy(blob.key.key, std::ranges::copy(parameters, bytes.begin() + sizeof head).out);
    return bytes;
}

std::optional<PublicKeyBlob> ReadPublicKeyBlob(ByteView bytes) {
    BlobHead head;
    if (bytes.size() < sizeof head) return std::nullopt;
    std::memcpy(&head, bytes.data(), sizeof head);
    const ByteView rest = bytes.subspan(sizeof head);
    if (head.header.bType != PUBLICKEYBLOB || head.header.bVersion != CUR_BLOB_VERSION || head.header.reserved != 0 ||
        !IsKeyAlgorithm(head.header.aiKeyAlg) || !std::ranges::equal(head.magic, kMagic) ||
        head.parameters > rest.size())
        return std::nullopt;
    auto data = DecodeParameters(rest.first(head.parameters));
    if (!data || !ReadKey(rest.subspan(head.parameters), data->key)) return std::nullopt;
    return PublicKeyBlob{head.header.aiKeyAlg, *data};
}

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
        blob.parameters = DecodeParameters(from.Counted());
        if (!blob.parameters) return std::nullopt;
    }
    return from.Ended() ? std::optional(blob) : std::nullopt;
}

}  // namespace softcsp
