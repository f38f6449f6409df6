#include "softcsp/common/ResourceText.h"

#include <algorithm>

namespace softcsp {
namespace {

// The caller has checked that two bytes are present.
std::uint16_t Word(ResourceBytes bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8);
}

constexpr std::size_t Aligned(std::size_t offset) {
    return (offset + 3) & ~std::size_t{3};
}

char16_t Lower(char16_t c) {
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + (u'a' - u'A')) : c;
}

bool EqualIgnoringCase(std::u16string_view left, std::u16string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char16_t a, char16_t b) { return Lower(a) == Lower(b); });
}

// The characters from `begin` to the first zero or to `end`.
std::u16string TextAt(ResourceBytes bytes, std::size_t begin, std::size_t end) {
    std::u16string text;
    for (std::size_t at = begin; at + 2 <= end; at += 2) {
        const auto c = static_cast<char16_t>(Word(bytes, at));
        if (c == 0) break;
        text.push_back(c);
    }
    return text;
}

// One node of a version resource. Offsets count from the first byte of the resource, as its padding does.
struct Node {
    std::u16string key;
    std::size_t value = 0;     // offset of its value
    std::size_t valueEnd = 0;  // one past its value
    std::size_t children = 0;  // offset of its first child
    std::size_t end = 0;       // one past its last byte
};

constexpr std::size_t kNodeHeader = 6;  // bytes: length, length of the value, kind of the value

// The node at `at`, which may extend to `limit`; empty if its lengths do not fit.
std::optional<Node> ReadNode(ResourceBytes bytes, std::size_t at, std::size_t limit) {
    if (at > limit || limit - at < kNodeHeader) return std::nullopt;
    const std::size_t length = Word(bytes, at);
    if (length < kNodeHeader || length > limit - at) return std::nullopt;
    const bool isText = Word(bytes, at + 4) == 1;
    const std::size_t valueLength = Word(bytes, at + 2) * std::size_t{isText ? 2u : 1u};
    Node node;
    node.end = at + length;
    node.key = TextAt(bytes, at + kNodeHeader, node.end);
    node.value = std::min(Aligned(at + kNodeHeader + (node.key.size() + 1) * 2), node.end);
    node.valueEnd = node.value + std::min(valueLength, node.end - node.value);
    node.children = std::min(Aligned(node.valueEnd), node.end);
    return node;
}

std::optional<Node> FindChild(ResourceBytes bytes, const Node& parent, std::u16string_view key) {
    for (std::size_t at = parent.children;;) {
        auto child = ReadNode(bytes, at, parent.end);
        if (!child) return std::nullopt;
        at = Aligned(child->end);
        if (EqualIgnoringCase(child->key, key)) return child;
    }
}

}  // namespace

std::optional<std::u16string> StringOfBlock(ResourceBytes block, unsigned index) {
    std::size_t at = 0;
    for (unsigned i = 0;; ++i) {
        if (block.size() - at < 2) return std::nullopt;
        const std::size_t size = Word(block, at) * std::size_t{2};
        at += 2;
        if (size > block.size() - at) return std::nullopt;
        if (i == index) {
            std::u16string text;
            for (std::size_t c = at; c < at + size; c += 2) text.push_back(static_cast<char16_t>(Word(block, c)));
            return text;
        }
        at += size;
    }
}

std::optional<std::u16string> VersionString(ResourceBytes version, std::u16string_view block,
                                            std::u16string_view name) {
    auto node = ReadNode(version, 0, version.size());
    for (const std::u16string_view key : {std::u16string_view{u"StringFileInfo"}, block, name})
        if (node) node = FindChild(version, *node, key);
    if (!node) return std::nullopt;
    return TextAt(version, node->value, node->valueEnd);
}

std::optional<std::u16string> FirstTranslation(ResourceBytes version) {
    auto node = ReadNode(version, 0, version.size());
    for (const std::u16string_view key : {u"VarFileInfo", u"Translation"})
        if (node) node = FindChild(version, *node, key);
    if (!node || node->valueEnd - node->value < 4) return std::nullopt;
    std::u16string name;
    for (const std::size_t at : {node->value, node->value + 2})
        for (int shift = 12; shift >= 0; shift -= 4)
            name.push_back(u"0123456789abcdef"[Word(version, at) >> shift & 15]);
    return name;
}

}  // namespace softcsp
