#include "csp/CheckRows.h"

#include <algorithm>

#include "applet/services/ErrorText.h"
#include "applet/services/Strings.h"
#include "framework/Text.h"
#include "resources/resource.h"

CheckMark MarkOf(UINT label, UINT value, bool error) noexcept {
    if (label == IDS_CHECK_SUCCEEDED) return CheckMark::Succeeded;
    if (label == IDS_CHECK_FAILED) return CheckMark::Failed;
    // Stores that can't be listed are no error of the container.
    if (error) return label == IDS_CHECK_CERTIFICATE_IN_STORE ? CheckMark::Note : CheckMark::Failed;
    switch (value) {
        case IDS_CHECK_CORRUPTED:
        case IDS_CHECK_UNKNOWN_CORRUPTION:
        case IDS_CHECK_OTHER_KEY:
        case IDS_CHECK_EXPIRED: return CheckMark::Failed;
        case IDS_CHECK_NOT_AVAILABLE:
        case IDS_CHECK_NOT_INSTALLED:
        case IDS_CHECK_NO_KEY_LINK: return CheckMark::Note;
        default: return CheckMark::None;
    }
}

namespace {

constexpr UINT kNoText = 0;
constexpr wchar_t kNoLabel[] = L"  ";

std::wstring TextOf(UINT id) {
    return id ? LoadStringLang(id) : std::wstring();
}

}  // namespace

void CheckRows::Row(UINT label, UINT value) {
    Insert(Place::End, {MarkOf(label, value), label, TextOf(label), TextOf(value)});
}

void CheckRows::Row(UINT label, std::wstring_view value) {
    Insert(Place::End, {CheckMark::None, label, TextOf(label), VisibleText(value)});
}

void CheckRows::Failure(UINT label, DWORD error) {
    Insert(Place::End, {MarkOf(label, kNoText, true), label, TextOf(label), ErrorMessageText(error), error});
}

// White space at the beginning of the value is indentation by the check. Only the text after it comes from outside and
// is made visible.
void CheckRows::Continuation(std::wstring_view value) {
    const std::size_t text = std::min(value.find_first_not_of(L" \t"), value.size());
    Insert(Place::End,
           {CheckMark::None, kNoText, kNoLabel, std::wstring(value.substr(0, text)) + VisibleText(value.substr(text))});
}

void CheckRows::Continuation(UINT value) {
    Insert(Place::End, {MarkOf(kNoText, value), kNoText, kNoLabel, TextOf(value)});
}

void CheckRows::Verdict(UINT label, UINT value) {
    Insert(Place::Top, {MarkOf(label, value), label, TextOf(label), TextOf(value)});
}
