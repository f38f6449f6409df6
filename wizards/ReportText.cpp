#include "wizards/ReportText.h"

#include <algorithm>

std::wstring ReportText(std::span<const ReportRow> rows) {
    constexpr size_t kLabelWidth = 30;
    std::wstring text;
    for (const ReportRow& row : rows) {
        text += row.label;
        text.append(kLabelWidth - std::min(kLabelWidth, row.label.size()), L' ');
        text += L" \t" + row.value + L"\r\n";
    }
    return text;
}
