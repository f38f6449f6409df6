#include "softcsp/common/StorePath.h"

#include <algorithm>
#include <cwchar>
#include <string_view>

namespace softcsp {
namespace {

constexpr std::size_t kMaxComponent = 255;  // characters, the registry's own limit for a key's name
constexpr std::size_t kMaxPath = 4096;      // characters

bool EqualIgnoringCase(std::wstring_view left, std::wstring_view lower) {
    if (left.size() != lower.size()) return false;
    for (std::size_t i = 0; i < left.size(); ++i) {
        const wchar_t c = left[i];
        if ((c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c) != lower[i]) return false;
    }
    return true;
}

}  // namespace

std::optional<StorePath> StorePath::Parse(const wchar_t* text) {
    if (text == nullptr || *text != L'\\') return std::nullopt;
    const std::wstring_view whole(text, wcsnlen(text, kMaxPath + 1));
    if (whole.size() > kMaxPath) return std::nullopt;
    StorePath path;
    std::size_t begin = 1;
    for (;;) {
        const std::size_t end = std::min(whole.find(L'\\', begin), whole.size());
        if (end == begin || end - begin > kMaxComponent) return std::nullopt;
        path.parts_.emplace_back(whole.substr(begin, end - begin));
        if (end == whole.size()) break;
        begin = end + 1;
    }
    path.local_ = EqualIgnoringCase(path.parts_.front(), L"local");
    return path;
}

std::vector<std::wstring> StorePath::Lineage() const {
    std::vector<std::wstring> lineage;
    for (std::size_t count = 1; count <= parts_.size(); ++count) lineage.push_back(Join(count));
    return lineage;
}

std::wstring StorePath::Join(std::size_t count) const {
    std::wstring joined;
    for (std::size_t i = 0; i < count; ++i) joined.append(1, L'\\').append(parts_[i]);
    return joined;
}

}  // namespace softcsp
