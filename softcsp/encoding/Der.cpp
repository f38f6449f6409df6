#include "softcsp/encoding/Der.h"

#include <algorithm>
#include <charconv>

namespace softcsp::der {
namespace {

using Arc = std::uint64_t;

constexpr std::uint8_t kMore = 0x80;     // a length of several bytes; an arc that continues
constexpr std::uint8_t kLongTag = 0x1F;  // the tag has more than one byte; not supported
constexpr Arc kArcsBeneathRoot = 40;     // the first two arcs are encoded as one number

void AppendLength(Bytes& bytes, std::size_t length) {
    if (length < kMore) {
        bytes.push_back(static_cast<std::uint8_t>(length));
        return;
    }
    std::uint8_t count = 0;
    for (std::size_t rest = length; rest != 0; rest >>= 8) ++count;
    bytes.push_back(kMore | count);
    while (count-- > 0) bytes.push_back(static_cast<std::uint8_t>(length >> (8 * count)));
}

void AppendArc(Bytes& bytes, Arc arc) {
    int groups = 1;  // of seven bits
    for (Arc rest = arc >> 7; rest != 0; rest >>= 7) ++groups;
    while (--groups > 0) bytes.push_back(kMore | static_cast<std::uint8_t>(arc >> (7 * groups)));
    bytes.push_back(static_cast<std::uint8_t>(arc) & 0x7F);
}

// The lengths of an element's parts; both 0 if the element is malformed.
struct Extent {
    std::size_t head = 0;  // tag and length
    std::size_t content = 0;
};

Extent Measure(ByteView bytes) {
    if (bytes.size() < 2 || (bytes[0] & kLongTag) == kLongTag) return {};
    Extent extent{2, bytes[1]};
    if (extent.content >= kMore) {
        const std::size_t count = extent.content - kMore;
        // A count of zero is the indefinite form.
        if (count == 0 || count > sizeof(std::uint32_t) || bytes.size() - extent.head < count) return {};
        extent.content = 0;
        for (std::uint8_t byte : bytes.subspan(extent.head, count)) extent.content = extent.content << 8 | byte;
        extent.head += count;
        const bool shorter = extent.content < kMore || bytes[2] == 0;
        if (shorter) return {};
    }
    return extent.content <= bytes.size() - extent.head ? extent : Extent{};
}

}  // namespace

Bytes Element(std::uint8_t tag, std::initializer_list<ByteView> parts) {
    std::size_t length = 0;
    for (ByteView part : parts) length += part.size();
    Bytes element{tag};
    AppendLength(element, length);
    for (ByteView part : parts) element.insert(element.end(), part.begin(), part.end());
    return element;
}

Bytes ObjectIdentifier(std::string_view dotted) {
    Bytes content;
    Arc first = 0;
    for (std::size_t begin = 0, index = 0; begin < dotted.size(); ++index) {
        const std::size_t end = std::min(dotted.find('.', begin), dotted.size());
        Arc arc = 0;
        std::from_chars(dotted.data() + begin, dotted.data() + end, arc);
        if (index == 0) first = arc * kArcsBeneathRoot;
        if (index > 0) AppendArc(content, index == 1 ? first + arc : arc);
        begin = end + 1;
    }
    return Element(kObjectIdentifier, {content});
}

std::optional<ByteView> Reader::Read(std::uint8_t tag) {
    const Extent extent = Measure(rest_);
    if (extent.head == 0 || rest_[0] != tag) return std::nullopt;
    const ByteView content = rest_.subspan(extent.head, extent.content);
    rest_ = rest_.subspan(extent.head + extent.content);
    return content;
}

std::optional<ByteView> Reader::ReadWhole() {
    const Extent extent = Measure(rest_);
    if (extent.head == 0) return std::nullopt;
    const ByteView whole = rest_.first(extent.head + extent.content);
    rest_ = rest_.subspan(whole.size());
    return whole;
}

}  // namespace softcsp::der

namespace softcsp {

bool IsCertificate(ByteView der) {
    der::Reader whole(der);
    const auto content = whole.Read(der::kSequence);
    if (!content || !whole.AtEnd()) return false;
    der::Reader parts(*content);
    for (const std::uint8_t tag : {der::kSequence, der::kSequence, der::kBitString})
        if (!parts.Read(tag)) return false;
    return parts.AtEnd();
}

Bytes EncodeCertificateSequence(const std::vector<Bytes>& certificates) {
    Bytes all;
    for (const Bytes& certificate : certificates) all.insert(all.end(), certificate.begin(), certificate.end());
    return der::Element(der::kSequence, {all});
}

std::optional<std::vector<ByteView>> DecodeCertificateSequence(ByteView der) {
    der::Reader whole(der);
    const auto content = whole.Read(der::kSequence);
    if (!content || !whole.AtEnd()) return std::nullopt;
    std::vector<ByteView> certificates;
    for (der::Reader reader(*content); !reader.AtEnd();) {
        if (reader.NextTag() != der::kSequence) return std::nullopt;
        const auto certificate = reader.ReadWhole();
        if (!certificate) return std::nullopt;
        certificates.push_back(*certificate);
    }
    return certificates;
}

}  // namespace softcsp
