// The wizard that checks a container, run from the Service page against a container of the software provider.
#include <gtest/gtest.h>

#include "applet/services/ErrorText.h"
#include "tests/support/ClipboardText.h"
#include "tests/support/Directory.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/Panel.h"
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

const ImportPatch* choosing;

// The user has chosen something in the provider's dialog.
BOOL WINAPI Pick(HCRYPTPROV provider, DWORD parameter, BYTE* data, DWORD* size, DWORD flags) {
    if (parameter == 110) return lstrcpyA(reinterpret_cast<char*>(data), "chosen") != nullptr;
    return choosing->Original<decltype(CryptGetProvParam)>()(provider, parameter, data, size, flags);
}

struct CheckWizard : WizardTest {
    CheckWizard() {
        RunTool(L"remove \"Имя %1\"");  // of a run that was broken off
        EXPECT_EQ(RunTool(L"create \"Имя %1\" --certs none"), 0u);
    }
    ~CheckWizard() override { RunTool(L"remove \"Имя %1\""); }
};

TEST_F(CheckWizard, ShowsAndCopiesTheRowsAsTheyCome) {
    const ImportPatch patch(nullptr, "CryptSignHashW", &Sign);
    sign = &patch;
    const auto look = [](HWND sheet) {
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
}

TEST_F(CheckWizard, RunsOverTheServicePageWithTheProvidersOwnDialog) {
    HWND panel = nullptr;
    wchar_t picked[300] = L"?";
    const auto start = [&](HWND sheet) {
        panel = sheet;
        PostMessageW(GetDlgItem(Ui::Page(sheet), IDC_SERVICE_CHECK), BM_CLICK, 0, 0);
    };
    const auto browse = [&](HWND sheet) {
        EXPECT_TRUE(GetWindow(sheet, GW_OWNER) == panel && !IsWindowEnabled(panel));
        PostMessageW(GetDlgItem(Ui::Page(sheet), IDC_SELECT_BROWSE), BM_CLICK, 0, 0);
    };
    const auto pick = [&](HWND dialog) {
        const HWND list = FindWindowExW(dialog, nullptr, WC_LISTVIEWW, nullptr);
        ListView_GetItemText(list, 0, 0, picked, 300);
        ListView_SetItemState(list, 0, LVIS_SELECTED, LVIS_SELECTED);
        PostMessageW(dialog, WM_COMMAND, IDOK, 0);
    };
    const auto look = [&](HWND sheet) {
        EXPECT_EQ(Ui::Text(Ui::Page(sheet), IDC_SELECT_NAME), std::wstring(L"\\\\.\\REGISTRY\\") + picked);
    };
    const auto end = [&](HWND sheet) { EXPECT_TRUE(sheet == panel && !Ui::ApplyEnabled(sheet)); };
    ModalScript script({start, browse, pick, look, Press(PSBTN_CANCEL), end, Press(PSBTN_OK)});
    PanelSession().Open("2");
    EXPECT_TRUE(script.Finished() && script.Boxes().empty());
}

// The whole way: browse, open, check, report. What fails on it is told once, or it is a row of the report.
TEST_F(CheckWizard, SurvivesEveryFailingCall) {
    bool reported = false;
    const auto look = [&](HWND sheet) {
        const HWND list = GetDlgItem(Ui::Page(sheet), IDC_REPORT_ROWS);
        reported = list && ListView_GetItemCount(list) > 0;
    };
    size_t boxCount = 0;
    const auto scenario = [&] {
        reported = false;
        ModalScript script({Click(IDC_SELECT_BROWSE), Type(L"Имя %1"), Press(PSBTN_NEXT), look});
        CWizardCheckContainer(nullptr).DoModal();
        boxCount = script.Boxes().size();
    };
    const ImportPatch patch(nullptr, "CryptGetProvParam", &Pick);
    choosing = &patch;
    FaultInjection injection;
    const auto figure = injection.Run("check wizard", scenario, [&](const Fault& fault) -> std::string {
        const bool reset = ClientIsReset() || fault.onwards || std::string_view(fault.function) == "CryptSetProvParam";
        if (!reset) return "the client window stays";
        const bool opening = std::string_view(fault.function) == "CryptAcquireContextW";
        if (fault.point == Fault::kNone) return reported && boxCount == 0 ? "" : "no report without a fault";
        if (opening && !fault.onwards && boxCount != 1) return std::to_string(boxCount) + " messages";
        return boxCount <= (fault.onwards ? 2u : 1u) ? "" : "too many messages";
    });
    EXPECT_TRUE(figure.AllSurvived()) << testing::PrintToString(figure.problems);
}

TEST(ReportText, IsInColumns) {
    const std::wstring full(30, L'a'), longer(31, L'b');
    const ReportRow rows[] = {{L"  name", L"%s %1"}, {full, L""}, {longer, L"x"}, {L"", L""}};
    EXPECT_EQ(ReportText(rows), Row(L"  name", L"%s %1") + full + L" \t\r\n" + longer + L" \tx\r\n" + Row(L"", L""));
}

}  // namespace
