// The report of a container check as texts in the user's language.
#pragma once

#include <windows.h>

#include <filesystem>
#include <string>
#include <vector>

#include "applet/services/Strings.h"
#include "csp/CheckReport.h"

using ReportTexts = std::vector<std::wstring>;  // rows; a label and a value are separated by "|"

inline std::wstring ReportRowText(const std::wstring& label, const std::wstring& value) {
    return label + L"|" + value;
}
// As lines in UTF-8: a test that compares them shows which lines differ.
inline std::string Lines(const ReportTexts& rows) {
    std::string lines;
    for (const std::wstring& row : rows) {
        const std::u8string text = std::filesystem::path(row).u8string();
        lines.append(text.begin(), text.end()) += '\n';
    }
    return lines;
}
// The value of a row whose step failed.
inline std::wstring FailedWith(DWORD error) {
    return L"error " + std::to_wstring(error);
}

class RecordedReport final : public CheckReport {
  public:
    void Row(UINT label, UINT value) override { Row(label, Text(value)); }
    void Row(UINT label, std::wstring_view value) override {
        rows.push_back(ReportRowText(Text(label), std::wstring(value)));
    }
    void Failure(UINT label, DWORD error) override { Row(label, FailedWith(error)); }
    void Continuation(std::wstring_view value) override { rows.push_back(ReportRowText(L"", std::wstring(value))); }
    void Continuation(UINT value) override { Continuation(Text(value)); }
    void Verdict(UINT label, UINT value) override {
        rows.insert(rows.begin(), ReportRowText(Text(label), Text(value)));
    }
    ReportTexts rows;

  private:
    static std::wstring Text(UINT id) { return id ? LoadStringLang(id) : std::wstring(); }
};
