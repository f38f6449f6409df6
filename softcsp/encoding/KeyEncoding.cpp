#include "softcsp/encoding/KeyEncoding.h"

#include <algorithm>
#include <cstring>

#include "softcsp/encoding/Der.h"

namespace softcsp {
namespace {

constexpr struct {
    int type;
    char magic[5];
} kMagics[] = {{PUBLICKEYBLOB, "SPK1"}, {SIMPLEBLOB, "SSK1"}, {PRIVATEKEYBLOB, "SVK1"}};
constexpr std::size_t kMagicSize = 4;

// What each blob begins with: the system's header, then the magic bytes of its type.
void WriteHead(ByteWriter& to, int type, ALG_ID algorithm) {
    to.Raw(BytesOf(BLOBHEADER{static_cast<BYTE>(type), CUR_BLOB_VERSION, 0, algorithm}));
    for (const auto& [known, magic] : kMagics)
        if (known == type) to.Raw({reinterpret_cast<const std::uint8_t*>(magic), kMagicSize});
}

// The type is 0 for an unknown one.
BLOBHEADER ReadHead(ByteReader& from) {
    std::array<std::uint8_t, sizeof(BLOBHEADER)> bytes{};
    from.Fill(std::span(bytes));
    const auto header = std::bit_cast<BLOBHEADER>(bytes);
    const ByteView found = from.Raw(kMagicSize);
    for (const auto& [type, magic] : kMagics)
        if (from.Good() && header.bType == type && header.bVersion == CUR_BLOB_VERSION && header.reserved == 0 &&
            std::memcmp(found.data(), magic, kMagicSize) == 0)
            return header;
    return {};
}

bool IsKeyAlgorithm(ALG_ID algorithm) {
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
    WriteHead(to, PUBLICKEYBLOB, blob.algorithm);
    to.Counted(EncodeKeyParameters(blob.key));
    to.Raw(blob.key.key);
    return to.Take();
}

std::optional<PublicKeyBlob> ReadPublicKeyBlob(ByteView bytes) {
    ByteReader from(bytes);
    const BLOBHEADER header = ReadHead(from);
    auto data = DecodeParameters(from.Counted());
    if (header.bType != PUBLICKEYBLOB || !IsKeyAlgorithm(header.aiKeyAlg) || !data) return std::nullopt;
    from.Fill(std::span(data->key));
    return from.Ended() ? std::optional(PublicKeyBlob{header.aiKeyAlg, *data}) : std::nullopt;
}

Bytes WriteBlob(const WrappedBlob& blob) {
    ByteWriter to;
    WriteHead(to, blob.parameters ? PRIVATEKEYBLOB : SIMPLEBLOB, blob.algorithm);
    to.Number(blob.wrapping == Wrapping::Diversified ? 1 : 0);
    to.Raw(blob.material);
    to.Raw(blob.wrapped.key);
    to.Raw(blob.wrapped.mac);
    if (blob.parameters) to.Counted(EncodeKeyParameters(*blob.parameters));
    return to.Take();
}

std::optional<WrappedBlob> ReadWrappedBlob(ByteView bytes) {
    ByteReader from(bytes);
    const BLOBHEADER header = ReadHead(from);
    if (header.bType != PRIVATEKEYBLOB && header.bType != SIMPLEBLOB) return std::nullopt;
    WrappedBlob blob;
    blob.algorithm = header.aiKeyAlg;
    const std::uint32_t wrapping = from.Number();
    blob.wrapping = wrapping == 1 ? Wrapping::Diversified : Wrapping::Plain;
    from.Fill(std::span(blob.material));
    from.Fill(std::span(blob.wrapped.key));
    from.Fill(std::span(blob.wrapped.mac));
    if (header.bType == PRIVATEKEYBLOB) blob.parameters = DecodeParameters(from.Counted());
    const bool complete =
        from.Ended() && wrapping <= 1 && blob.parameters.has_value() == (header.bType == PRIVATEKEYBLOB);
    return complete ? std::optional(blob) : std::nullopt;
}

}  // namespace softcsp
