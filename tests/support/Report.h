// The report of a container check as texts in the user's language.
#pragma once

#include "csp/CheckRows.h"
#include "framework/Text.h"

using ReportTexts = std::vector<std::wstring>;  // rows; a label and a value are separated by "|"

// As lines in UTF-8: a test that compares them shows which lines differ.
inline std::string Lines(const ReportTexts& rows) {
    std::string lines;
    for (const std::wstring& row : rows) lines += ToUtf8(row) + '\n';
    return lines;
}

class RecordedReport final : public CheckRows {
  public:
    ReportTexts rows;

  private:
    void Insert(Place place, CheckRow row) override {
        rows.insert(place == Place::Top ? rows.begin() : rows.end(), row.label + L"|" + row.value);
    }
};
