// A report of labels and values as plain text.
#pragma once

#include <span>
#include <string>

struct ReportRow {
    std::wstring label;
    std::wstring value;  // may be empty
};

// A line a row: the label, filled up to 30 characters and never cut, a space, a tab, the value; each line ends with
// carriage return and line feed.
std::wstring ReportText(std::span<const ReportRow> rows);
