#include "softcsp/encoding/Der.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <vector>

namespace softcsp::der {
namespace {

using Arc = std::uint64_t;

constexpr std::uint8_t kMore = 0x80;     // a length of several bytes; an arc that continues
constexpr std::uint8_t kLongTag = 0x1F;  // the tag has more than one byte; not supported
constexpr Arc kArcsBeneathRoot = 40;     // of the first two roots; the first two arcs are encoded as one number
constexpr std::size_t kFewestArcs = 2;

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
    bytes.push_back(static_cast<std::uint8_t>(arc & ~Arc{kMore}) & 0x7F);
}

// Empty unless the text is numbers with single dots between them.
std::vector<Arc> Arcs(std::string_view dotted) {
    std::vector<Arc> arcs;
    const char* const end = dotted.data() + dotted.size();
    for (const char* at = dotted.data(); at != end;) {
        Arc arc = 0;
        const auto [next, error] = std::from_chars(at, end, arc);
        const bool last = next == end;
        if (error != std::errc() || (*at == '0' && next != at + 1) || (!last && (*next != '.' || next + 1 == end)))
            return {};
        arcs.push_back(arc);
        at = last ? end : next + 1;
    }
    return arcs;
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
    const std::vector<Arc> arcs = Arcs(dotted);
    if (arcs.size() < kFewestArcs || arcs[0] > 2) return {};
    const Arc most = arcs[0] < 2 ? kArcsBeneathRoot - 1 : std::numeric_limits<Arc>::max() - 2 * kArcsBeneathRoot;
    if (arcs[1] > most) return {};
    Bytes content;
    AppendArc(content, arcs[0] * kArcsBeneathRoot + arcs[1]);
    for (std::size_t i = kFewestArcs; i < arcs.size(); ++i) AppendArc(content, arcs[i]);
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

std::optional<std::string> DottedText(ByteView content) {
    std::string text;
    Arc arc = 0;
    bool within = false;  // between the bytes of an arc
    for (std::uint8_t byte : content) {
        const bool padded = !within && byte == kMore;
        if (padded || arc > std::numeric_limits<Arc>::max() >> 7) return std::nullopt;
        arc = arc << 7 | (byte & (kMore - 1u));
        within = (byte & kMore) != 0;
        if (within) continue;
        if (text.empty()) {
            const Arc root = std::min<Arc>(arc / kArcsBeneathRoot, 2);
            text = std::to_string(root);
            arc -= root * kArcsBeneathRoot;
        }
        text += '.' + std::to_string(arc);
        arc = 0;
    }
    if (within || text.empty()) return std::nullopt;
    return text;
}

}  // namespace softcsp::der
