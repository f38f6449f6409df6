// The wizard that checks a container, against a container of the software provider.
#include <gtest/gtest.h>

#include "applet/services/ErrorText.h"
#include "tests/support/ClipboardText.h"
#include "tests/support/Directory.h"
#include "tests/support/Wizards.h"
#include "wizards/ReportText.h"

namespace {

std::wstring Row(const std::wstring& label, const std::wstring& value) {
    return label + std::wstring(30 - label.size(), L' ') + L" \t" + value + L"\r\n";
}

std::wstring ListText(HWND list) {
    std::wstring text;
    for (int row = 0; row < ListView_GetItemCount(list); ++row) {
        wchar_t cells[2][300] = {};
        for (const int column : {0, 1}) ListView_GetItemText(list, row, column, cells[column], 300);
        text += Row(cells[0], cells[1]);
    }
    return text;
}

const ImportPatch* sign;
bool refused, painted;

// Looks at the report in the middle of the check.
BOOL WINAPI Sign(HCRYPTHASH hash, DWORD key, LPCWSTR text, DWORD flags, BYTE* signature, DWORD* size) {
    const HWND list = GetDlgItem(Ui::Page(Ui::Current()), IDC_REPORT_ROWS);
    painted = IsWindowVisible(list) && ListView_GetItemCount(list) > 4 && !GetUpdateRect(list, nullptr, FALSE);
    SetLastError(ERROR_ACCESS_DENIED);
    return !refused && sign->Original<decltype(CryptSignHashW)>()(hash, key, text, flags, signature, size);
}

using CheckWizard = WizardTest;

TEST_F(CheckWizard, ShowsAndCopiesTheRowsAsTheyCome) {
    const ImportPatch patch(nullptr, "CryptSignHashW", &Sign);
    sign = &patch;
    RunTool(L"remove \"Имя %1\"");  // of a run that was broken off
    EXPECT_EQ(RunTool(L"create \"Имя %1\" --certs none"), 0u);
    const auto look = [](HWND sheet) {
        EXPECT_EQ(Ui::Text(sheet), L"Check private key container");
        Ui::Click(Ui::Page(sheet), IDC_REPORT_COPY);
        const std::wstring report = ClipboardText();
        EXPECT_EQ(report, ListText(GetDlgItem(Ui::Page(sheet), IDC_REPORT_ROWS)));
        EXPECT_TRUE(report.starts_with(refused ? Row(L"Check container failed", L"")
                                               : Row(L"Check container succeed", L"no errors were detected")));
        const std::wstring signing = refused ? ErrorMessageText(ERROR_ACCESS_DENIED) : L"succeed";
        for (const auto& row : {Row(L"  name", L"Имя %1"), Row(L"  ", L"1.2.643.2.2.30.1"), Row(L"  signing", signing)})
            EXPECT_NE(report.find(row), report.npos) << testing::PrintToString(report);
        EXPECT_TRUE(painted && Ui::Enabled(sheet, 0x3023) && Ui::Enabled(sheet, 0x3025));  // Back, Finish
        refused = true;
    };
    const auto next = Press(PSBTN_NEXT);
    EXPECT_EQ(Check({Type(L"Имя %1"), next, look, Press(PSBTN_BACK), next, look, Press(PSBTN_FINISH)}), ID_WIZFINISH);
    RunTool(L"remove \"Имя %1\"");
}

// The whole report, as a Russian user reads it.
TEST_F(CheckWizard, SpeaksTheUsersLanguage) {
    const SpokenLanguage russian(kRussian);
    std::wstring expected;
    for (const auto& [label, value] : {std::pair{L"Проверка завершена успешно", L"ошибок не обнаружено"},
                                       {L"Контейнер закрытого ключа", L""},
                                       {L"  имя", L"Отчет"},
                                       {L"  уникальное имя", L"REGISTRY\\Отчет"},
                                       {L"  FQCN", L"\\\\.\\REGISTRY\\Отчет"},
                                       {L"  целостность контейнера", L"успешно"},
                                       {L"Ключ обмена", L"отсутствует"},
                                       {L"Ключ подписи", L"имеется"},
                                       {L"  экспорт открытого ключа", L"успешно"},
                                       {L"  импорт открытого ключа", L"успешно"},
                                       {L"  подпись", L"успешно"},
                                       {L"  проверка подписи", L"успешно"},
                                       {L"  экспорт ключа", L"запрещен"},
                                       {L"  алгоритм", L"GOST R 34.10-2001"},
                                       {L"  ", L"1.2.643.2.2.35.1"},
                                       {L"  ", L"1.2.643.2.2.30.1"},
                                       {L"  сертификат в контейнере", L"отсутствует"},
                                       {L"  загрузка ключей", L"успешно"}})
        expected += Row(label, value);
    RunTool(L"remove Отчет");
    EXPECT_EQ(RunTool(L"create Отчет --keys s --certs none"), 0u);
    const auto look = [&](HWND sheet) {
        EXPECT_EQ(Ui::Text(sheet), L"Проверка контейнера закрытого ключа");
        Ui::Click(Ui::Page(sheet), IDC_REPORT_COPY);
        EXPECT_EQ(ClipboardText(), expected);
    };
    Check({Type(L"Отчет"), Press(PSBTN_NEXT), look});
    RunTool(L"remove Отчет");
}

TEST(ReportText, IsInColumns) {
    const std::wstring full(30, L'a'), longer(31, L'b');
    const ReportRow rows[] = {{L"  name", L"%s %1"}, {full, L""}, {longer, L"x"}, {L"", L""}};
    EXPECT_EQ(ReportText(rows), Row(L"  name", L"%s %1") + full + L" \t\r\n" + longer + L" \tx\r\n" + Row(L"", L""));
}

}  // namespace
