// The wizard that checks a container, against a container of the software provider.
#include <gtest/gtest.h>

#include <functional>
#include <new>

#include "applet/services/ErrorText.h"
#include "tests/support/ClipboardText.h"
#include "tests/support/Directory.h"
#include "tests/support/Wizards.h"
#include "wizards/WizardCheckContainer.h"

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

// The row's mark and the weight of its font.
std::pair<CheckMark, LONG> Look(HWND page, int row) {
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

std::string Utf8(const std::wstring& text) {
    std::string bytes(text.size() * 3, '\0');
    bytes.resize(
        static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                                     bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr)));
    return bytes;
}

int FindRow(HWND list, const wchar_t* label) {
    LVFINDINFOW request{LVFI_STRING, label, 0, {}, 0};
    return static_cast<int>(SendMessageW(list, LVM_FINDITEMW, WPARAM(-1), reinterpret_cast<LPARAM>(&request)));
}

const ImportPatch* sign;
bool refused, painted;
int signatures;
std::function<void(HWND sheet)> during;

// Looks at the report in the middle of the check.
BOOL WINAPI Sign(HCRYPTHASH hash, DWORD key, LPCWSTR text, DWORD flags, BYTE* signature, DWORD* size) {
    const HWND sheet = Ui::Current(), page = Ui::Page(sheet), list = GetDlgItem(page, IDC_REPORT_ROWS);
    painted = IsWindowVisible(list) && ListView_GetItemCount(list) > 4 && !GetUpdateRect(list, nullptr, FALSE);
    signatures += !signature;  // whose length is asked for first
    if (during) during(sheet);
    SetLastError(ERROR_ACCESS_DENIED);
    return !refused && sign->Original<decltype(CryptSignHashW)>()(hash, key, text, flags, signature, size);
}

int verifications;

BOOL WINAPI Verify(HCRYPTHASH, const BYTE*, DWORD, HCRYPTKEY, LPCWSTR, DWORD) {
    return ++verifications;
}

struct CheckWizard : WizardTest {
    CheckWizard() {
        sign = &patch;
        during = nullptr, refused = false, signatures = 0;
    }
    const ImportPatch patch{nullptr, "CryptSignHashW", &Sign};
    const Step next = Press(PSBTN_NEXT);
};

TEST_F(CheckWizard, ShowsAndCopiesTheRowsAsTheyCome) {
    RunTool(L"remove \"Имя %1\"");  // of a run that was broken off
    EXPECT_EQ(RunTool(L"create \"Имя %1\" --certs none"), 0u);
    during = [](HWND sheet) {  // nothing is completed yet, and only Cancel does something
        EXPECT_FALSE(Ui::Visible(Ui::Page(sheet), IDC_REPORT_TITLE));
        EXPECT_FALSE(Ui::Enabled(Ui::Page(sheet), IDC_REPORT_COPY));
        for (const UINT button : {kBack, kNext, kFinish}) EXPECT_FALSE(Ui::Enabled(sheet, button)) << button;
        EXPECT_TRUE(Ui::Enabled(sheet, IDCANCEL));
        EXPECT_EQ(LOWORD(SendMessageW(sheet, DM_GETDEFID, 0, 0)), kFinish);
    };
    const auto look = [](HWND sheet) {
        EXPECT_EQ(Ui::Text(sheet), L"Check private key container");
        const HWND page = Ui::Page(sheet), list = GetDlgItem(page, IDC_REPORT_ROWS);
        EXPECT_TRUE(Ui::Visible(page, IDC_REPORT_TITLE));
        EXPECT_EQ(Look(page, 0), std::pair(refused ? CheckMark::Failed : CheckMark::Succeeded, LONG{FW_BOLD}));
        EXPECT_EQ(Look(page, FindRow(list, L"  signing")),
                  std::pair(refused ? CheckMark::Failed : CheckMark::None, LONG{FW_NORMAL}));
        EXPECT_EQ(Look(page, FindRow(list, L"  certificate in container")),
                  std::pair(CheckMark::Note, LONG{FW_NORMAL}));
        Ui::Click(Ui::Page(sheet), IDC_REPORT_COPY);
        const std::wstring report = ClipboardText();
        EXPECT_EQ(report, ListText(GetDlgItem(Ui::Page(sheet), IDC_REPORT_ROWS)));
        EXPECT_TRUE(report.starts_with(refused ? Row(L"Check container failed", L"")
                                               : Row(L"Check container succeed", L"no errors were detected")));
        const std::wstring signing = refused ? ErrorMessageText(ERROR_ACCESS_DENIED) : L"succeed";
        for (const auto& row : {Row(L"  name", L"Имя %1"), Row(L"  ", L"1.2.643.2.2.30.1"), Row(L"  signing", signing)})
            EXPECT_NE(report.find(row), report.npos) << testing::PrintToString(report);
        EXPECT_TRUE(painted && Ui::Enabled(sheet, kBack) && Ui::Enabled(sheet, kFinish));
        refused = true;
    };
    EXPECT_EQ(Check({Type(L"Имя %1"), next, look, Press(PSBTN_BACK), next, look, Press(PSBTN_FINISH)}), ID_WIZFINISH);
    RunTool(L"remove \"Имя %1\"");
}

// The user goes on before a check has begun, gets ahead of its end, or cancels it; or memory runs out.
TEST_F(CheckWizard, EndsWithOneWholeReportOrNone) {
    const auto post = [](UINT button) {
        return [=](HWND sheet) { PostMessageW(GetDlgItem(sheet, static_cast<int>(button)), BM_CLICK, 0, 0); };
    };
    const struct {
        const char* name;
        std::function<void(HWND)> during;
        int appearances;  // of the page, without a pause
        int rows;         // of the report; 0: the wizard is closed
        const wchar_t* verdict;
    } cases[] = {
        {"back and on again", nullptr, 2, 18, L"Check container succeed"},
        {"Finish", post(kFinish), 1, 18, L"Check container succeed"},
        {"Back", post(kBack), 1, 18, L"Check container succeed"},
        {"Enter", [](HWND) { PostMessageW(GetFocus(), WM_KEYDOWN, VK_RETURN, 0); }, 1, 18, L"Check container succeed"},
        {"no memory", [](HWND) { throw std::bad_alloc(); }, 1, 10, L"Check container failed"},
        {"Cancel", post(IDCANCEL), 1, 0, L""},
        {"Esc", [](HWND) { PostMessageW(GetFocus(), WM_KEYDOWN, VK_ESCAPE, 0); }, 1, 0, L""},
    };
    RunTool(L"remove Once");
    EXPECT_EQ(RunTool(L"create Once --keys s --certs none"), 0u);
    const ImportPatch verify(nullptr, "CryptVerifySignatureW", &Verify);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        during = c.during, signatures = verifications = 0;
        bool closed = true;
        const auto on = [&](HWND sheet) {
            for (int page = 1; page < c.appearances; ++page) Ui::Press(sheet, PSBTN_NEXT), Ui::Press(sheet, PSBTN_BACK);
            Ui::Press(sheet, PSBTN_NEXT);
        };
        ModalScript script({Type(L"Once"), on, [&](HWND sheet) {
                                closed = false;
                                const HWND page = Ui::Page(sheet), list = GetDlgItem(page, IDC_REPORT_ROWS);
                                EXPECT_EQ(ListView_GetItemCount(list), c.rows);
                                EXPECT_TRUE(ListText(list).starts_with(c.verdict));
                                EXPECT_TRUE(Ui::Visible(page, IDC_REPORT_TITLE));
                            }});
        EXPECT_EQ(CWizardCheckContainer(nullptr).DoModal(), IDCANCEL);
        EXPECT_EQ(closed, c.rows == 0);
        EXPECT_EQ(signatures, 1);
        EXPECT_EQ(verifications, c.rows == 18) << "calls after the check's end";
    }
    RunTool(L"remove Once");
}

// The rows as vestractl prints them.
std::wstring PrintedRows(HWND list) {
    std::wstring text;
    for (int row = 0; row < ListView_GetItemCount(list); ++row) {
        wchar_t cells[2][300] = {};
        for (const int column : {0, 1}) ListView_GetItemText(list, row, column, cells[column], 300);
        std::wstring line = std::wstring(L"  ") + cells[0];
        if (cells[1][0]) line.append(line.size() < 32 ? 32 - line.size() : 1, L' ');
        text += line + cells[1] + L"\r\n";
    }
    return text;
}

TEST_F(CheckWizard, ShowsTheRowsOfVestractl) {
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
        const std::wstring quoted = L" \"" + std::wstring(c.name) + L"\" ";
        RunTool(L"remove" + quoted);
        ASSERT_EQ(RunTool(L"create" + quoted + c.options), 0u);
        if (c.change) {
            ASSERT_EQ(RunTool(L"set" + quoted + c.change), 0u);
        }
        std::wstring shown;
        const auto look = [&](HWND sheet) { shown = PrintedRows(GetDlgItem(Ui::Page(sheet), IDC_REPORT_ROWS)); };
        EXPECT_EQ(Check({Type(c.name), next, look, Press(PSBTN_FINISH)}), ID_WIZFINISH);
        std::string printed;
        RunProgram(L"vestractl.exe", L"check --silent --lang en" + quoted, &printed);
        EXPECT_EQ(printed.substr(printed.find('\n') + 1, Utf8(shown).size()), Utf8(shown));
        RunTool(L"remove" + quoted);
    }
}

TEST(ReportText, IsInColumns) {
    const std::wstring full(30, L'a'), longer(31, L'b');
    const ReportRow rows[] = {{L"  name", L"%s %1"}, {full, L""}, {longer, L"x"}, {L"", L""}};
    EXPECT_EQ(ReportText(rows), Row(L"  name", L"%s %1") + full + L" \t\r\n" + longer + L" \tx\r\n" + Row(L"", L""));
}

}  // namespace
