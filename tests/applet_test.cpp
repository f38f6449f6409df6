// The applet as the shell drives it: the messages of its entry, and the sheet that it opens.
#include <windows.h>
#include <commctrl.h>
#include <prsht.h>
#include <wincrypt.h>

#include <gtest/gtest.h>

#include "resources/resource.h"
#include "tests/support/HandleCounts.h"
#include "tests/support/LibraryFunction.h"
#include "tests/support/Panel.h"
#include "tests/support/Store.h"

namespace {

LONG Send(UINT message, LPARAM position = 0, const void* data = nullptr) {
    return CPlApplet(nullptr, message, position, reinterpret_cast<LPARAM>(data));
}

class Applet : public testing::Test {
  protected:
    StoredNumber local{L"\\local\\Language", 1033};
};

TEST_F(Applet, AnswersTheShellsMessages) {
    EXPECT_EQ(Send(CPL_GETCOUNT), 0);
    ASSERT_NE(Send(CPL_INIT), 0);
    EXPECT_EQ(Send(CPL_GETCOUNT), 1);
    EXPECT_EQ(Send(CPL_SELECT), 0);
    EXPECT_EQ(Send(CPL_STOP), 0);
    EXPECT_EQ(Send(CPL_STARTWPARMSW, 0, L"3"), 0);
    for (const UINT unknown : {0u, 11u, 100u, 0xFFFFFFFFu}) EXPECT_EQ(Send(unknown), 1) << unknown;

    CPLINFO information{};
    EXPECT_EQ(Send(CPL_INQUIRE, 0, &information), 0);
    EXPECT_EQ(information.idIcon, IDI_PRODUCT);
    EXPECT_EQ(information.idName, 0);
    EXPECT_EQ(information.idInfo, 0);
    EXPECT_NE(information.lData, 0);

    NEWCPLINFOW texts;
    FillMemory(&texts, sizeof texts, 0x5A);
    EXPECT_EQ(Send(CPL_NEWINQUIRE, 0, &texts), 0);
    EXPECT_EQ(texts.dwSize, 476u);
    EXPECT_EQ(texts.dwFlags, 0u);
    EXPECT_EQ(texts.dwHelpContext, 0u);
    EXPECT_EQ(texts.lData, information.lData);
    EXPECT_STREQ(texts.szName, L"Vestra CSP");
    EXPECT_STREQ(texts.szInfo, L"Vestra CSP Properties");
    EXPECT_EQ(texts.szHelpFile[0], 0x5A5A);  // not the applet's to write
    EXPECT_EQ(Send(CPL_EXIT), 0);
}

TEST_F(Applet, PositionsThatNameNoAppletAreAnsweredWithOne) {
    const PanelSession session;
    for (const LPARAM position : {LPARAM{1}, LPARAM{-1}, LPARAM{0x7FFFFFFFFFFFFFFF}}) {
        for (const UINT message :
             {CPL_INQUIRE, CPL_SELECT, CPL_DBLCLK, CPL_STOP, CPL_NEWINQUIRE, CPL_STARTWPARMSA, 77}) {
            EXPECT_EQ(Send(message, position), 1) << message << " at " << position;
        }
    }
}

TEST_F(Applet, BeginsAndEndsInAnyOrder) {
    EXPECT_EQ(Send(CPL_EXIT), 0);
    EXPECT_EQ(Send(CPL_SELECT), 1);
    EXPECT_NE(Send(CPL_INIT), 0);
    EXPECT_NE(Send(CPL_INIT), 0);  // a second host in the process
    EXPECT_EQ(Send(CPL_GETCOUNT), 1);
    EXPECT_EQ(Send(CPL_EXIT), 0);
    EXPECT_EQ(Send(CPL_GETCOUNT), 1);  // the first one goes on
    EXPECT_EQ(Send(CPL_EXIT), 0);
    EXPECT_EQ(Send(CPL_GETCOUNT), 0);
    EXPECT_EQ(Send(CPL_EXIT), 0);
    EXPECT_EQ(Send(CPL_DBLCLK), 1);

    PanelSession again;
    ModalScript script({[](HWND sheet) { EXPECT_EQ(Ui::PageCount(sheet), 8); }});
    EXPECT_EQ(again.Open(), 0);
    EXPECT_TRUE(script.Finished());
}

TEST_F(Applet, OpensThePageThatTheParameterNames) {
    const std::string huge(64 * 1024, '9');
    struct Case {
        const char* parameter;
        int page;
    };
    const Case cases[] = {{"3", 3},
                          {"0", 0},
                          {"7", 7},
                          {nullptr, 0},
                          {"", 0},
                          {"abc", 0},
                          {"-1", 0},
                          {"8", 0},
                          {"99", 0},
                          {"4294967299", 0},
                          {"\xCF\xF3\xF1\xF2\xEE", 0},
                          {" 2", 2},
                          {"5x", 5},
                          {"%s%n", 0},
                          {huge.c_str(), 0}};
    for (const Case& c : cases) {
        PanelSession session;
        ModalScript script({[&](HWND sheet) {
            EXPECT_EQ(Ui::PageIndex(sheet), c.page) << (c.parameter ? std::string(c.parameter).substr(0, 20) : "none");
        }});
        EXPECT_EQ(Send(CPL_STARTWPARMSA, 0, c.parameter), 1);
        EXPECT_TRUE(script.Finished());
    }
}

TEST_F(Applet, WithoutAProductNameTheStringTablesNamesShow) {
    const LibraryFunction missing("support_resource_version_string", nullptr);
    const PanelSession session;
    NEWCPLINFOW texts{};
    EXPECT_EQ(Send(CPL_NEWINQUIRE, 0, &texts), 0);
    EXPECT_STREQ(texts.szName, L"Vestra CSP");
    EXPECT_STREQ(texts.szInfo, L"Vestra CSP Properties");
    ModalScript script({[](HWND sheet) {
        EXPECT_EQ(Ui::Text(sheet), L"Vestra CSP Properties");
        EXPECT_NE(Ui::Text(Ui::Page(sheet), IDC_GENERAL_NOTICE), L"");  // as the template has it
    }});
    Send(CPL_DBLCLK);
    EXPECT_TRUE(script.Finished());
}

TEST_F(Applet, OpensWithoutAnyOneFunctionOfTheSupportLibrary) {
    for (const char* name : {"support_resource_string", "support_resource_version_string",
                             "support_registry_get_string", "support_registry_get_long", "support_registry_put_long",
                             "support_registry_delete_param", "support_registry_check_access",
                             "support_wnd_language_get", "support_wnd_language_update", "support_wnd_language_done"}) {
        const LibraryFunction missing(name, nullptr);
        PanelSession session;
        ModalScript script({[&](HWND sheet) {
                                EXPECT_EQ(Ui::PageCount(sheet), 8) << name;
                                Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, 0);
                                Ui::Press(sheet, PSBTN_APPLYNOW);
                            },
                            [](HWND) {}});
        EXPECT_EQ(session.Open(), 0) << name;
        EXPECT_TRUE(script.Finished()) << name;
    }
}

const std::wstring longName(300, L'Я');
DWORD LongProductName(const wchar_t*, HINSTANCE, wchar_t* buffer, DWORD* length) {
    if (buffer) longName.copy(buffer, std::min<size_t>(*length, longName.size()));
    if (!buffer) *length = static_cast<DWORD>(longName.size());
    return 0;
}
DWORD HostileProductName(const wchar_t*, HINSTANCE, wchar_t* buffer, DWORD* length) {
    const std::wstring name = L"%s%n%1";
    if (buffer) buffer[name.copy(buffer, *length)] = L'\0';
    *length = static_cast<DWORD>(name.size());
    return 0;
}

TEST_F(Applet, StrangeProductNamesAreTakenAsTheyStand) {
    {
        const LibraryFunction name("support_resource_version_string", &HostileProductName);
        const PanelSession session;
        NEWCPLINFOW texts{};
        Send(CPL_NEWINQUIRE, 0, &texts);
        EXPECT_STREQ(texts.szName, L"%s%n%1");
        EXPECT_STREQ(texts.szInfo, L"%s%n%1 Properties");
        ModalScript script({[](HWND sheet) { EXPECT_EQ(Ui::Text(sheet), L"%s%n%1"); }});
        Send(CPL_DBLCLK);
    }
    const LibraryFunction name("support_resource_version_string", &LongProductName);
    const PanelSession session;
    NEWCPLINFOW texts{};
    Send(CPL_NEWINQUIRE, 0, &texts);
    EXPECT_EQ(std::wstring(texts.szName), longName.substr(0, 31));
    EXPECT_EQ(std::wstring(texts.szInfo), (longName.substr(0, 31) + L" Properties").substr(0, 63));
}

TEST_F(Applet, TheSheetHasItsEightPagesInOrderInBothLanguages) {
    const struct {
        long language;
        std::vector<std::wstring> tabs;
    } cases[] = {
        {1033,
         {L"General", L"Hardware", L"Service", L"Advanced", L"Algorithms", L"Security", L"Winlogon", L"TLS Settings"}},
        {1049,
         {L"Общие", L"Оборудование", L"Сервис", L"Дополнительно", L"Алгоритмы", L"Безопасность", L"Winlogon",
          L"Настройки TLS"}}};
    for (const auto& c : cases) {
        local.Set(c.language);
        std::vector<std::wstring> tabs;
        PanelSession session;
        ModalScript script({[&](HWND sheet) {
            EXPECT_EQ(Ui::Text(sheet), L"Vestra CSP");
            for (int page = 0; page < Ui::PageCount(sheet); ++page) {
                PropSheet_SetCurSel(sheet, nullptr, static_cast<WPARAM>(page));
                tabs.push_back(Ui::Text(Ui::Page(sheet)));
            }
        }});
        session.Open();
        EXPECT_EQ(tabs, c.tabs);
    }
}

// The host's window is the one in the task bar: it gets the icon, and is out of use while the sheet is open.
TEST_F(Applet, TheHostsWindowOwnsTheSheetAndGetsItsIcon) {
    const HWND host = CreateWindowW(L"STATIC", L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 50, 50, nullptr, nullptr,
                                    nullptr, nullptr);
    const PanelSession session;
    ModalScript script({[&](HWND sheet) {
        EXPECT_EQ(GetWindow(sheet, GW_OWNER), host);
        EXPECT_FALSE(IsWindowEnabled(host));
        EXPECT_NE(SendMessageW(host, WM_GETICON, ICON_BIG, 0), 0);
        EXPECT_NE(SendMessageW(host, WM_GETICON, ICON_SMALL, 0), 0);
    }});
    CPlApplet(host, CPL_DBLCLK, 0, 0);
    EXPECT_TRUE(script.Finished());
    EXPECT_TRUE(IsWindowEnabled(host));
    DestroyWindow(host);
}

int calls = 0;
BOOL WINAPI CountedAcquire(HCRYPTPROV*, LPCWSTR, LPCWSTR, DWORD, DWORD) {
    ++calls;
    return FALSE;
}
LSTATUS WINAPI CountedOpen(HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) {
    ++calls;
    return ERROR_FILE_NOT_FOUND;
}

TEST_F(Applet, PagesThatAreNotShownAskForNothing) {
    PanelSession session;
    const LibraryFunction watch("a function that nobody looks up", nullptr);
    const ImportPatch acquire(nullptr, "CryptAcquireContextW", &CountedAcquire);
    const ImportPatch open(nullptr, "RegOpenKeyExW", &CountedOpen);
    ASSERT_TRUE(acquire.Found() && open.Found());
    calls = 0;
    LibraryFunction::ForgetLookUps();
    ModalScript script({[](HWND sheet) { EXPECT_EQ(Ui::PageIndex(sheet), 2); }});
    session.Open("2");  // the page that stores nothing
    EXPECT_TRUE(script.Finished());
    EXPECT_EQ(calls, 0);
    for (const auto& [name, count] : LibraryFunction::LookUps()) {
        EXPECT_TRUE(name == "support_wnd_language_get" || name == "support_wnd_language_update" ||
                    name == "support_resource_version_string" || name == "a function that nobody looks up")
            << name;
    }
}

// All pages, and from the Service page every wizard and dialog, opened and cancelled.
std::vector<ModalScript::Step> ThroughEverything() {
    std::vector<ModalScript::Step> steps = {[](HWND sheet) {
        for (WPARAM page = 0; page < 8; ++page) PropSheet_SetCurSel(sheet, nullptr, page);
        PropSheet_SetCurSel(sheet, nullptr, 2);
    }};
    for (const UINT button :
         {IDC_SERVICE_CHECK, IDC_SERVICE_COPY, IDC_SERVICE_DELETE, IDC_SERVICE_VIEW_CERTIFICATES,
          IDC_SERVICE_INSTALL_CERTIFICATE, IDC_SERVICE_CHANGE_PASSWORD, IDC_SERVICE_DELETE_PASSWORDS}) {
        steps.push_back([=](HWND sheet) { PostMessageW(GetDlgItem(Ui::Page(sheet), button), BM_CLICK, 0, 0); });
        steps.push_back([=](HWND window) {
            EXPECT_EQ(GetDlgItem(window, button), nullptr) << button << " opened nothing";
            PostMessageW(window, WM_COMMAND, IDCANCEL, 0);
        });
    }
    return steps;
}

// VESTRA_CYCLES says how often; the whole takes a while.
TEST_F(Applet, OpenedAndClosedSheetsAndWizardsLeaveNothingBehind) {
    PanelSession session;
    const auto open = [&](std::vector<ModalScript::Step> steps) {
        ModalScript script(std::move(steps));
        session.Open();
        EXPECT_TRUE(script.Finished());
    };
    for (int i = 0; i < 3; ++i) open(ThroughEverything());
    const HandleCounts before = CountHandles();
    char cycles[16] = "5";
    GetEnvironmentVariableA("VESTRA_CYCLES", cycles, sizeof cycles);
    for (int i = 0; i < std::atoi(cycles); ++i) open(ThroughEverything());
    for (int i = 0; i < 150; ++i) open({});
    const HandleCounts after = CountHandles();
    EXPECT_EQ(after.kernel, before.kernel);
    EXPECT_EQ(after.gdi, before.gdi);
    EXPECT_EQ(after.windows, before.windows);
}

}  // namespace
