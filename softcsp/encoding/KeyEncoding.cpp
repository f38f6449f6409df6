#include "softcsp/encoding/KeyEncoding.h"

#include <algorithm>
#include <cstring>

#include "softcsp/encoding/Der.h"

namespace softcsp {
namespace {

// The system's BLOBHEADER and its constants.
struct BlobHeader {
    std::uint8_t type, version;
    std::uint16_t reserved;
    std::uint32_t algorithm;
};
constexpr std::uint8_t kSimpleBlob = 1, kPublicKeyBlob = 6, kPrivateKeyBlob = 7, kBlobVersion = 2;

constexpr struct {
    std::uint8_t type;
    char magic[5];
} kMagics[] = {{kPublicKeyBlob, "SPK1"}, {kSimpleBlob, "SSK1"}, {kPrivateKeyBlob, "SVK1"}};
constexpr std::size_t kMagicSize = 4;

// What each blob begins with: the system's header, then the magic bytes of its type.
void WriteHead(ByteWriter& to, std::uint8_t type, std::uint32_t algorithm) {
    to.Raw(BytesOf(BlobHeader{type, kBlobVersion, 0, algorithm}));
    for (const auto& [known, magic] : kMagics)
        if (known == type) to.Raw({reinterpret_cast<const std::uint8_t*>(magic), kMagicSize});
}

// The type is 0 for an unknown one.
BlobHeader ReadHead(ByteReader& from) {
    std::array<std::uint8_t, sizeof(BlobHeader)> bytes{};
    from.Fill(std::span(bytes));
    const auto header = std::bit_cast<BlobHeader>(bytes);
    const ByteView found = from.Raw(kMagicSize);
    for (const auto& [type, magic] : kMagics)
        if (from.Good() && header.type == type && header.version == kBlobVersion && header.reserved == 0 &&
            std::memcmp(found.data(), magic, kMagicSize) == 0)
            return header;
    return {};
}

bool IsKeyAlgorithm(std::uint32_t algorithm) {
    return algorithm == kAlgSignature || algorithm == kAlgExchange || algorithm == kAlgEphemeralExchange;
}

// The set whose identifier is the reader's next element; null if it is none of these kinds.
const ParameterSet* ReadSet(der::Reader& reader, std::initializer_list<ParameterKind> kinds) {
    const auto element = reader.ReadWhole();
    for (const ParameterSet& set : ParameterSets())
        if (element && std::ranges::count(kinds, set.kind) != 0 &&
            std::ranges::equal(*element, der::ObjectIdentifier(set.identifier)))
            return &set;
    return nullptr;
}

// The key stays zero.
std::optional<PublicKeyData> DecodeParameters(ByteView parameters) {
    der::Reader whole(parameters);
    const auto content = whole.Read(der::kSequence);
    if (!content || !whole.AtEnd()) return std::nullopt;
    der::Reader reader(*content);
    PublicKeyData data;
    data.curve = ReadSet(reader, {ParameterKind::Signature, ParameterKind::Exchange});
    data.digest = ReadSet(reader, {ParameterKind::Digest});
    const bool cipherSound = reader.AtEnd() || reader.Read(der::kObjectIdentifier);
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
    ByteWriter to;
    WriteHead(to, kPublicKeyBlob, blob.algorithm);
    to.Counted(EncodeKeyParameters(blob.key));
    to.Raw(blob.key.key);
    return to.Take();
}

std::optional<PublicKeyBlob> ReadPublicKeyBlob(ByteView bytes) {
    ByteReader from(bytes);
    const BlobHeader header = ReadHead(from);
    auto data = DecodeParameters(from.Counted());
    if (header.type != kPublicKeyBlob || !IsKeyAlgorithm(header.algorithm) || !data) return std::nullopt;
    from.Fill(std::span(data->key));
    return from.Ended() ? std::optional(PublicKeyBlob{header.algorithm, *data}) : std::nullopt;
}

Bytes WriteBlob(const WrappedBlob& blob) {
    ByteWriter to;
    WriteHead(to, blob.parameters ? kPrivateKeyBlob : kSimpleBlob, blob.algorithm);
    to.Number(blob.wrapping == Wrapping::Diversified ? 1 : 0);
    to.Raw(blob.material);
    to.Raw(blob.wrapped.key);
    to.Raw(blob.wrapped.mac);
    if (blob.parameters) to.Counted(EncodeKeyParameters(*blob.parameters));
    return to.Take();
}

std::optional<WrappedBlob> ReadWrappedBlob(ByteView bytes) {
    ByteReader from(bytes);
    const BlobHeader header = ReadHead(from);
    if (header.type != kPrivateKeyBlob && header.type != kSimpleBlob) return std::nullopt;
    WrappedBlob blob;
    blob.algorithm = header.algorithm;
    const std::uint32_t wrapping = from.Number();
    if (wrapping > 1) from.Fail();
    blob.wrapping = wrapping == 1 ? Wrapping::Diversified : Wrapping::Plain;
    from.Fill(std::span(blob.material));
    from.Fill(std::span(blob.wrapped.key));
    from.Fill(std::span(blob.wrapped.mac));
    if (header.type == kPrivateKeyBlob) blob.parameters = DecodeParameters(from.Counted());
    const bool complete =
        from.Ended() && wrapping <= 1 && blob.parameters.has_value() == (header.type == kPrivateKeyBlob);
    return complete ? std::optional(blob) : std::nullopt;
}

}  // namespace softcsp
