#include "console/Language.h"

#include <string>

#include "applet/services/Strings.h"
#include "framework/Module.h"

namespace {

// One for the process, because the shared units find their texts without being given a language.
LANGID programLanguage = kEnglish;

constexpr UINT kStringTable = 6;         // RT_STRING
constexpr UINT kStringsInOneBlock = 16;  // blocks are numbered from 1

}  // namespace

void SetLanguage(LANGID language) noexcept {
    programLanguage = language;
}

LANGID UserLanguage() noexcept {
    return programLanguage;
}

LANGID UpdatedUserLanguage() noexcept {
    return programLanguage;
}

std::wstring LoadStringLang(UINT id) {
    const auto block = Module::Resource(kStringTable, id / kStringsInOneBlock + 1, programLanguage);
    const auto* units = reinterpret_cast<const wchar_t*>(block.data());
    const std::size_t count = block.size() / sizeof(wchar_t);
    // Each string is its length and its characters; missing ones have length 0.
    std::size_t at = 0;
    for (UINT skipped = id % kStringsInOneBlock; skipped > 0 && at < count; --skipped) at += 1 + units[at];
    if (at >= count || units[at] > count - at - 1) return {};
    return {units + at + 1, units[at]};
}
