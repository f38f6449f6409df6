// The check in the panel's wizard and the one of vestractl agree row for row.
#include "tests/support/Provider.h"
#include "tests/support/Report.h"
#include "tests/support/Wizards.h"
#include "wizards/WizardCheckContainer.h"

namespace {

// The rows of the wizard's list, "LABEL|VALUE", as vestractl prints them.
std::string Printed(const Texts& rows) {
    constexpr std::size_t kLabelWidth = 32;
    ReportTexts lines;
    for (const std::wstring& row : rows) {
        const std::size_t end = row.find(L'|');
        std::wstring line = L"  " + row.substr(0, end);
        const std::wstring value = row.substr(end + 1);
        if (!value.empty()) line.append(kLabelWidth - std::min(kLabelWidth - 1, line.size()), L' ');
        lines.push_back(line + value + L"\r");
    }
    return Lines(lines);
}

using ConsoleRows = WizardTest;

TEST_F(ConsoleRows, AreThoseOfTheWizard) {
    const struct {
        const wchar_t* name;
        const wchar_t* options;
        const wchar_t* change = L"damage=0";  // what the tool sets
    } cases[] = {
        {L"Row chain", L"--keys xs --chain 2 --exportable"},
        {L"Row ended", L"--not-before 2020-01-01 --usage 2020-01-01 2021-01-01"},
        {L"Row other", L"", L"certificate-x=other"},
        {L"Row extension", L"", L"extension=1.2.3:1:0500"},
    };
    for (const auto& c : cases) {
        const ToolContainer container(c.name, c.options);
        container.Set(c.change);
        std::string wizard;
        const Step look = [&](HWND sheet) { wizard = Printed(Rows(sheet, IDC_REPORT_ROWS)); };
        EXPECT_TRUE(Run<CWizardCheckContainer>({Type(c.name), next, look, finish}));
        std::string printed;
        RunProgram(L"vestractl.exe", L"check --silent --lang en \"" + std::wstring(c.name) + L'"', &printed);
        EXPECT_EQ(printed.substr(printed.find('\n') + 1, wizard.size()), wizard) << testing::PrintToString(c.name);
    }
}

}  // namespace
