#include "softcsp/encoding/PublicKeyEncoding.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "softcsp/encoding/Der.h"

namespace softcsp {
namespace {

// What stands before a blob's parameters. Numbers are little-endian, as everywhere on the machine.
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

const ParameterSet* FindCurve(const std::string& identifier) {
    const ParameterSet* set = FindParameterSet(ParameterKind::Exchange, identifier);
    return set != nullptr ? set : FindParameterSet(ParameterKind::Signature, identifier);
}

// The next identifier's text; empty when there is none.
std::string TakeIdentifier(der::Reader& reader) {
    const auto content = reader.Take(der::kObjectIdentifier);
    return content ? der::DottedText(*content).value_or(std::string()) : std::string();
}

// With the key left zero.
std::optional<PublicKeyData> DecodeParameters(ByteView parameters) {
    der::Reader whole(parameters);
    const auto content = whole.Take(der::kSequence);
    if (!content || !whole.AtEnd()) return std::nullopt;
    der::Reader reader(*content);
    PublicKeyData data;
    data.curve = FindCurve(TakeIdentifier(reader));
    data.digest = FindParameterSet(ParameterKind::Digest, TakeIdentifier(reader));
    const bool cipherSound = reader.AtEnd() || !TakeIdentifier(reader).empty();
    if (data.curve == nullptr || data.digest == nullptr || !cipherSound || !reader.AtEnd()) return std::nullopt;
    return data;
}

bool TakeKey(ByteView bytes, PublicKey& key) {
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
    const auto content = reader.Take(der::kOctetString);
    if (!data || !content || !reader.AtEnd() || !TakeKey(*content, data->key)) return std::nullopt;
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
    if (!data || !TakeKey(rest.subspan(head.parameters), data->key)) return std::nullopt;
    return PublicKeyBlob{head.header.aiKeyAlg, *data};
}

}  // namespace softcsp
