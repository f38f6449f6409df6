// The check in the panel's wizard and the one of vestractl agree row for row.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/Directory.h"
#include "tests/support/Provider.h"
#include "tests/support/Wizards.h"
#include "wizards/WizardCheckContainer.h"

namespace {

std::string Utf8(const std::wstring& text) {
    std::string bytes(text.size() * 3, '\0');
    const int length = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                                           static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(length));
    return bytes;
}

// The rows of the wizard's list, "LABEL|VALUE", as vestractl prints them.
std::string Printed(const Texts& rows) {
    constexpr std::size_t kLabelWidth = 32;
    std::wstring text;
    for (const std::wstring& row : rows) {
        const std::size_t end = row.find(L'|');
        std::wstring line = L"  " + row.substr(0, end);
        const std::wstring value = row.substr(end + 1);
        if (!value.empty()) line.append(kLabelWidth - std::min(kLabelWidth - 1, line.size()), L' ');
        text += line + value + L"\r\n";
    }
    return Utf8(text);
}

struct ConsoleRows : WizardTest {};

TEST_F(ConsoleRows, AreThoseOfTheWizard) {
    const struct {
        const wchar_t* name;
        const wchar_t* options;
        const wchar_t* change;  // what the tool sets; nullptr: nothing
    } cases[] = {
        {L"Row chain", L"--keys xs --chain 2 --exportable", nullptr},
        {L"Row ended", L"--not-before 2020-01-01 --usage 2020-01-01 2021-01-01", nullptr},
        {L"Row other", L"", L"certificate-x=other"},
        {L"Row damage", L"--keys s", L"damage=1"},
        {L"Row extension", L"", L"extension=1.2.3:1:0500"},
        {L"Row none", L"--keys none", nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.name)));
        const ToolContainer container(c.name, c.options);
        const std::wstring quoted = L" \"" + std::wstring(c.name) + L"\" ";
        if (c.change) {
            ASSERT_EQ(RunTool(L"set" + quoted + c.change), 0u);
        }
        std::string wizard;
        const Step look = [&](HWND sheet) { wizard = Printed(Rows(sheet, IDC_REPORT_ROWS)); };
        EXPECT_TRUE(Run<CWizardCheckContainer>({Type(c.name), next, look, finish}));
        std::string printed;
        RunProgram(L"vestractl.exe", L"check --silent --lang en" + quoted, &printed);
        EXPECT_EQ(printed.substr(printed.find('\n') + 1, wizard.size()), wizard);
    }
}

}  // namespace
