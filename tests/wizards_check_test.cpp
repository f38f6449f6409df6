// The wizard that checks a container, against containers of the software provider.
#include <gtest/gtest.h>

#include <new>

#include "csp/CertificateStores.h"
#include "csp/ProviderParameters.h"
#include "tests/support/Certificates.h"
#include "tests/support/ClipboardText.h"
#include "tests/support/Provider.h"
#include "tests/support/Report.h"
#include "tests/support/Wizards.h"
#include "wizards/WizardCheckContainer.h"

namespace {

constexpr wchar_t kSucceeded[] = L"Check container succeed|no errors were detected";

// The row's mark and the weight of its font.
using Look = std::pair<CheckMark, LONG>;
Look LookOf(HWND page, int row) {
    const HWND list = GetDlgItem(page, IDC_REPORT_ROWS);
    const HDC dc = CreateCompatibleDC(nullptr);
    NMLVCUSTOMDRAW drawing{};
    drawing.nmcd.hdr = {list, IDC_REPORT_ROWS, UINT(NM_CUSTOMDRAW)};
    drawing.nmcd.dwDrawStage = CDDS_ITEMPREPAINT;
    drawing.nmcd.hdc = dc;
    drawing.nmcd.dwItemSpec = static_cast<DWORD_PTR>(row);
    SendMessageW(page, WM_NOTIFY, IDC_REPORT_ROWS, reinterpret_cast<LPARAM>(&drawing));
    LOGFONTW font{};
    GetObjectW(GetCurrentObject(dc, OBJ_FONT), sizeof font, &font);
    DeleteDC(dc);
    return {CheckMark(ListView_GetItemState(list, row, LVIS_STATEIMAGEMASK) >> 12), font.lfWeight};
}

class CheckWizard : public WizardTest {
  protected:
    // Called in the middle of the check, when the length of a signature is asked for, and before its last call.
    std::function<void(HWND sheet)> during, atTheEnd;
    DWORD error = ERROR_SUCCESS;  // else signing fails with it
    int signatures = 0;
    const CryptCalls calls{[this](const CryptCalls::Call& call) {
        if (call.name == "CryptGetProvParam" && call.a[1] == kParameterExtensions && atTheEnd) atTheEnd(Ui::Current());
        if (call.name != "CryptSignHashW" || call.a[4]) return call();
        ++signatures;
        if (during) during(Ui::Current());
        return error ? CryptCalls::Fail(error) : call();
    }};
};

TEST_F(CheckWizard, ShowsAndCopiesTheRowsAsTheyCome) {
    const ToolContainer container(L"Имя %1", L"--keys xs --certs x --subject \"CN=VestraTest\x202E\"");
    const TemporaryDirectory directory;
    const KeptStores kept;
    const std::wstring path = directory.Path() + L"x.cer";
    container.WriteCertificate(path, L"x", L"--subject \"CN=VestraTest\x202E\"");
    EXPECT_TRUE(CertAddCertificateContextToStore(SystemStore(L"My").get(), OpenCertificateFile(path)->only.get(),
                                                 CERT_STORE_ADD_ALWAYS, nullptr));
    error = ERROR_ACCESS_DENIED;
    during = [](HWND sheet) {  // nothing is completed yet, and only Cancel does something
        const HWND page = Ui::Page(sheet), list = GetDlgItem(page, IDC_REPORT_ROWS);
        EXPECT_GT(ListView_GetItemCount(list), 4);
        EXPECT_FALSE(GetUpdateRect(list, nullptr, FALSE)) << "not painted yet";
        EXPECT_FALSE(Ui::Visible(page, IDC_REPORT_TITLE));
        EXPECT_FALSE(Ui::Enabled(page, IDC_REPORT_COPY));
        for (const UINT button : {kBack, kNext, kFinish}) EXPECT_FALSE(Ui::Enabled(sheet, button)) << button;
    };
    const Step look = [&](HWND sheet) {
        const HWND page = Ui::Page(sheet);
        const Texts rows = Rows(sheet, IDC_REPORT_ROWS);
        const std::tuple<std::wstring, CheckMark, LONG> expected[] = {
            {L"Check container failed|", CheckMark::Failed, FW_BOLD},
            {L"  signing|" + ErrorMessageText(error), CheckMark::Failed, FW_NORMAL},
            {L"  certificate in container|not available", CheckMark::Note, FW_NORMAL},
            {L"  certificate name|VestraTest‹U+202E›", CheckMark::None, FW_NORMAL},
            {L"  |  VestraTest‹U+202E›", CheckMark::None, FW_NORMAL}};
        for (const auto& [row, mark, weight] : expected) {
            const auto found = std::ranges::find(rows, row);
            EXPECT_NE(found, rows.end()) << testing::PrintToString(row) << " in " << testing::PrintToString(rows);
            EXPECT_EQ(LookOf(page, static_cast<int>(found - rows.begin())), Look(mark, weight));
        }
        EXPECT_TRUE(Ui::Visible(page, IDC_REPORT_TITLE));
        for (const UINT button : {kBack, kFinish}) EXPECT_TRUE(Ui::Enabled(sheet, button)) << button;
        Ui::Click(page, IDC_REPORT_COPY);
        EXPECT_NE(ClipboardText().find(L"  name                         \tИмя %1\r\n"), std::wstring::npos);
    };
    EXPECT_TRUE(Run<CWizardCheckContainer>({Type(L"Имя %1"), next, look, finish}));
}

// The whole report, as a Russian user reads it.
TEST_F(CheckWizard, SpeaksTheUsersLanguage) {
    const ToolContainer container(L"Отчет", L"--keys s --certs none");
    const SpokenLanguage russian(kRussian);
    const Step look = [](HWND sheet) {
        EXPECT_EQ(Lines(Rows(sheet, IDC_REPORT_ROWS)),
                  Lines({L"Проверка завершена успешно|ошибок не обнаружено", L"Контейнер закрытого ключа|",
                         L"  имя|Отчет", L"  уникальное имя|REGISTRY\\Отчет", L"  FQCN|\\\\.\\REGISTRY\\Отчет",
                         L"  проверка целостности|успешно", L"Ключ обмена|отсутствует", L"Ключ подписи|имеется",
                         L"  экспорт открытого ключа|успешно", L"  импорт открытого ключа|успешно",
                         L"  создание подписи|успешно", L"  проверка подписи|успешно", L"  экспорт ключа|запрещен",
                         L"  алгоритм|GOST R 34.10-2001", L"  |1.2.643.2.2.35.1", L"  |1.2.643.2.2.30.1",
                         L"  сертификат в контейнере|отсутствует", L"  загрузка ключей|успешно"}));
    };
    Run<CWizardCheckContainer>({Type(L"Отчет"), next, look});
}

// The user presses a button during the check, or memory runs out.
TEST_F(CheckWizard, EndsWithOneWholeReportOrNone) {
    const auto post = [](UINT button) {
        return [=](HWND sheet) { PostMessageW(GetDlgItem(sheet, static_cast<int>(button)), BM_CLICK, 0, 0); };
    };
    const struct {
        const char* name;
        std::function<void(HWND)> during;
        size_t rows = 18;  // of the report; 0: the wizard is closed
        std::wstring verdict = kSucceeded;
        std::function<void(HWND)> atTheEnd = nullptr;
    } cases[] = {
        {"Finish", post(kFinish)},
        {"Finish at the last moment", nullptr, 18, kSucceeded, post(kFinish)},
        {"no memory", [](HWND) { throw std::bad_alloc(); }, 10, L"Check container failed|"},
        {"Cancel", post(IDCANCEL), 0},
        {"Esc", [](HWND) { PostMessageW(GetFocus(), WM_KEYDOWN, VK_ESCAPE, 0); }, 0},
    };
    const ToolContainer container(L"Once", L"--keys s --certs none");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        during = c.during;
        atTheEnd = c.atTheEnd;
        signatures = 0;
        bool closed = true;
        const Step on = [&](HWND sheet) {  // the page appears twice without a pause
            for (const int button : {PSBTN_NEXT, PSBTN_BACK, PSBTN_NEXT}) Ui::Press(sheet, button);
        };
        ModalScript script({Type(L"Once"), on, [&](HWND sheet) {
                                closed = false;
                                const Texts rows = Rows(sheet, IDC_REPORT_ROWS);
                                EXPECT_EQ(rows.size(), c.rows);
                                EXPECT_EQ(rows.empty() ? L"" : rows.front(), c.verdict);
                                EXPECT_TRUE(Ui::Visible(Ui::Page(sheet), IDC_REPORT_TITLE));
                            }});
        EXPECT_EQ(CWizardCheckContainer(nullptr).DoModal(), IDCANCEL);
        EXPECT_EQ(closed, c.rows == 0);
        EXPECT_EQ(signatures, 1);
    }
}

// Only what is wrong with the container is marked as failed.
TEST(CheckMarks, TellErrorsFromNotes) {
    EXPECT_EQ(MarkOf(IDS_CHECK_INTEGRITY, IDS_CHECK_CORRUPTED), CheckMark::Failed);
    EXPECT_EQ(MarkOf(IDS_CHECK_CERTIFICATE_IN_CONTAINER, IDS_CHECK_OTHER_KEY), CheckMark::Failed);
    EXPECT_EQ(MarkOf(IDS_CHECK_USAGE_PERIOD, IDS_CHECK_EXPIRED), CheckMark::Failed);
    EXPECT_EQ(MarkOf(IDS_CHECK_CERTIFICATE_IN_STORE, IDS_CHECK_NOT_INSTALLED), CheckMark::Note);
    EXPECT_EQ(MarkOf(IDS_CHECK_CERTIFICATE_IN_STORE, 0, true), CheckMark::Note) << "stores that can't be listed";
}

TEST(ReportText, IsInColumns) {
    const std::wstring full(30, L'a'), longer(31, L'b');
    const ReportRow rows[] = {{L"  name", L"%s %1"}, {full, L""}, {longer, L"x"}, {L"", L""}};
    EXPECT_EQ(ReportText(rows), L"  name" + std::wstring(24, L' ') + L" \t%s %1\r\n" + full + L" \t\r\n" + longer +
                                    L" \tx\r\n" + std::wstring(30, L' ') + L" \t\r\n");
}

}  // namespace
