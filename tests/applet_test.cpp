// The applet as the shell drives it: the messages of its entry, and the sheet that it opens.

#include "resources/resource.h"
#include "tests/support/Directory.h"
#include "tests/support/HandleCounts.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/Panel.h"
#include "tests/support/Store.h"
#include "tests/support/SystemCalls.h"

namespace {

LONG Send(UINT message, LPARAM position = 0, const void* data = nullptr) {
    return CPlApplet(nullptr, message, position, reinterpret_cast<LPARAM>(data));
}

int calls = 0;

class Applet : public testing::Test {
  protected:
    StoredNumber local{L"\\local\\Language", 1033};
};

TEST_F(Applet, DescribesItselfToTheShell) {
    const PanelSession session;
    CPLINFO information{};
    EXPECT_EQ(Send(CPL_INQUIRE, 0, &information), 0);
    EXPECT_EQ(information.idIcon, IDI_PRODUCT);
    NEWCPLINFOW texts;
    FillMemory(&texts, sizeof texts, 0x5A);
    EXPECT_EQ(Send(CPL_NEWINQUIRE, 0, &texts), 0);
    EXPECT_EQ(texts.lData, information.lData);
    EXPECT_STREQ(texts.szInfo, L"Vestra CSP Properties");
    EXPECT_EQ(texts.szHelpFile[0], 0x5A5A);  // not the applet's to write
    EXPECT_EQ(Send(CPL_STARTWPARMSW, 0, L"3"), 0);
    EXPECT_EQ(Send(100), 1) << "unknown";
    for (const LPARAM position : {LPARAM{1}, LPARAM{-1}}) {
        EXPECT_EQ(Send(CPL_STARTWPARMSA, position), 0) << position;
        EXPECT_EQ(Send(CPL_DBLCLK, position), 1) << position;
    }
}

HRESULT WINAPI CountBegin(void*) {
    return ++calls, S_FALSE;
}
void WINAPI CountEnd() {
    --calls;
}

TEST_F(Applet, BeginsAndEndsInAnyOrder) {
    const ImportPatch begin("CoInitialize", &CountBegin), end("CoUninitialize", &CountEnd);
    calls = 0;
    EXPECT_EQ(Send(CPL_EXIT), 0);
    EXPECT_EQ(Send(CPL_DBLCLK), 1);
    EXPECT_NE(Send(CPL_INIT), 0);
    EXPECT_EQ(calls, 1) << "COM is initialised";
    EXPECT_NE(Send(CPL_INIT), 0);  // a second host in the process
    EXPECT_EQ(Send(CPL_EXIT), 0);
    EXPECT_EQ(Send(CPL_GETCOUNT), 1);  // the first one goes on
    EXPECT_EQ(Send(CPL_EXIT), 0);
    EXPECT_EQ(Send(CPL_GETCOUNT), 0);
    EXPECT_EQ(calls, 0) << "COM is uninitialised as often";

    const PanelSession again;
    const auto refuse = +[](const PROPSHEETHEADERW*) -> INT_PTR { return -1; };
    const ImportPatch noSheet("PropertySheetW", refuse);
    EXPECT_EQ(Send(CPL_DBLCLK), 1) << "no sheet can be created";
    EXPECT_EQ(Send(CPL_STARTWPARMSA, 0, "3"), 0) << "no sheet can be created";
}

TEST_F(Applet, OpensThePageThatTheParameterNames) {
    const std::string huge(65536, '9');
    for (const auto& [parameter, page] :
         {std::pair<const char*, int>{"7", 7}, {"5x", 5}, {nullptr, 0}, {"-1", 0}, {"8", 0}, {huge.c_str(), 0}}) {
        const PanelSession session;
        const std::string name = parameter ? std::string(parameter).substr(0, 20) : "none";
        const ModalScript script({[&, wanted = page](HWND sheet) { EXPECT_EQ(Ui::PageIndex(sheet), wanted) << name; }});
        EXPECT_EQ(Send(CPL_STARTWPARMSA, 0, parameter), 1);
        EXPECT_TRUE(script.Finished());
    }
}

// 300 characters.
DWORD GetProductName(const wchar_t*, HINSTANCE, wchar_t* buffer, DWORD* length) {
    if (buffer) buffer[(L"%s%n%1" + std::wstring(294, L'Я')).copy(buffer, *length)] = L'\0';
    *length = 300;
    return 0;
}

TEST_F(Applet, ShowsTheProductsNameAsMuchAsFits) {
    const LibraryFunction version("support_resource_version_string", &GetProductName);
    const PanelSession session;
    NEWCPLINFOW texts{};
    EXPECT_EQ(Send(CPL_NEWINQUIRE, 0, &texts), 0);
    const std::wstring name = L"%s%n%1" + std::wstring(25, L'Я');
    EXPECT_EQ(texts.szName, name);
    EXPECT_EQ(texts.szInfo, name + L" Properties");
}

constexpr const wchar_t* kTabs[] = {L"General",    L"Hardware", L"Service",  L"Advanced",
                                    L"Algorithms", L"Security", L"Winlogon", L"TLS Settings"};

// Every page, for long enough to show all it has.
std::vector<ModalScript::Step> ThroughAllPages() {
    std::vector<ModalScript::Step> steps;
    for (int page = 0; page < 8; ++page) {
        steps.emplace_back([=](HWND sheet) {
            PropSheet_SetCurSel(sheet, nullptr, static_cast<WPARAM>(page));
            EXPECT_EQ(Ui::PageIndex(sheet), page);
            EXPECT_EQ(Ui::Text(Ui::Page(sheet)), kTabs[page]);
        });
    }
    return steps;
}

// The top-level window of the host is the one in the task bar.
TEST_F(Applet, TheHostsWindowOwnsTheSheetAndGetsItsIcon) {
    const HWND host = CreateWindowW(L"STATIC", L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 300, 0, 300, 50, nullptr, nullptr,
                                    nullptr, nullptr),
               child = CreateWindowW(L"STATIC", L"", WS_CHILD, 0, 0, 9, 9, host, nullptr, nullptr, nullptr);
    const PanelSession session;
    const ModalScript script({[&](HWND sheet) {
        EXPECT_EQ(GetWindow(sheet, GW_OWNER), host);
        EXPECT_FALSE(IsWindowEnabled(host));
        RECT over{}, own{};
        GetWindowRect(host, &over), GetWindowRect(sheet, &own);
        EXPECT_NEAR(own.left + own.right, over.left + over.right, 2) << "over the middle of its owner";
        EXPECT_EQ(SendMessageW(sheet, WM_GETICON, ICON_BIG, 0), 0) << "the sheet has none";
        EXPECT_NE(SendMessageW(host, WM_GETICON, ICON_BIG, 0), 0);
    }});
    CPlApplet(child, CPL_DBLCLK, 0, 0);
    EXPECT_TRUE(script.Finished());
    EXPECT_TRUE(IsWindowEnabled(host));
    DestroyWindow(host);
}

// A host is closed while one of its panel's pages shows a message box, a wizard or a dialog: the page goes on
// afterwards.
TEST_F(Applet, PagesOutliveWhatTheyShow) {
    static HWND host;
    const auto box = +[](const MSGBOXPARAMSW*) { return DestroyWindow(host), IDYES; };
    const ImportPatch boxes("MessageBoxIndirectW", box),
        exit(
            "ExitWindowsEx", +[](UINT, DWORD) -> BOOL { return FALSE; });
    const StoredNumber setting(L"\\config\\Parameters\\tls_server_use_default_machine_credential", 0);
    const struct {
        const char* page;
        UINT click;
        int button;  // of the sheet, for what a box asks or says; 0: a window opens
    } cases[] = {{"7", IDC_TLS_SERVER_MACHINE_CREDENTIAL, PSBTN_APPLYNOW},
                 {"2", IDC_SERVICE_CHECK, 0},
                 {"3", IDC_ADVANCED_SET_TIMEOUT, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.click);
        host = CreateWindowW(L"STATIC", L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 99, 99, nullptr, nullptr, nullptr,
                             nullptr);
        std::vector<ModalScript::Step> steps = {[&](HWND window) {
            PostMessageW(GetDlgItem(Ui::Page(window), static_cast<int>(c.click)), BM_CLICK, 0, 0);
            if (c.button) Ui::Press(window, c.button);
        }};
        if (!c.button) steps.emplace_back([&](HWND) { DestroyWindow(host); });
        const PanelSession session;
        const ModalScript script(std::move(steps));
        EXPECT_EQ(CPlApplet(host, CPL_STARTWPARMSA, 0, reinterpret_cast<LPARAM>(c.page)), 1);
        EXPECT_TRUE(script.Finished());
        EXPECT_FALSE(IsWindow(host));
    }
}

// All pages, and all that their buttons open, which is cancelled: on the second page where that can be filled in for.
const std::wstring kContainer = L"Цикл", kFile = ProgramDirectory() + L"data\\several.p7b";
std::vector<ModalScript::Step> ThroughEverything() {
    std::vector<ModalScript::Step> steps = ThroughAllPages();
    const struct {
        WPARAM page;
        int button;
        const wchar_t* caption;
        bool further;
    } cases[] = {
        {2, IDC_SERVICE_CHECK, L"Check private key container", true},
        {2, IDC_SERVICE_COPY, L"Copy private key container", true},
        {2, IDC_SERVICE_DELETE, L"Delete private key container", false},
        {2, IDC_SERVICE_VIEW_CERTIFICATES, L"Certificates in private key container", true},
        {2, IDC_SERVICE_INSTALL_CERTIFICATE, L"Private certificate installation wizard", true},
        {2, IDC_SERVICE_CHANGE_PASSWORD, L"Change password for private key container", false},
        {2, IDC_SERVICE_DELETE_PASSWORDS, L"Delete saved passwords", false},
        {3, IDC_ADVANCED_SET_TIMEOUT, L"User input timeout", false},
    };
    for (const auto& c : cases) {
        steps.emplace_back([=](HWND sheet) {
            PropSheet_SetCurSel(sheet, nullptr, c.page);
            PostMessageW(GetDlgItem(Ui::Page(sheet), c.button), BM_CLICK, 0, 0);
        });
        steps.emplace_back([=](HWND window) {
            EXPECT_EQ(Ui::Text(window), c.caption);
            EXPECT_FALSE(IsWindowEnabled(GetWindow(window, GW_OWNER)));
            if (!c.further) return;
            Ui::Type(Ui::Page(window), IDC_SELECT_NAME, kContainer.c_str());
            Ui::Type(Ui::Page(window), IDC_FILE_NAME, kFile.c_str());
            Ui::Press(window, PSBTN_NEXT);
        });
        steps.emplace_back([=](HWND window) {
            EXPECT_TRUE(!c.further || Ui::Enabled(window, 0x3023)) << c.button << " has nothing to go back to";
            PostMessageW(window, WM_COMMAND, IDCANCEL, 0);
        });
    }
    return steps;
}

TEST_F(Applet, OpenedAndClosedSheetsAndWizardsLeaveNothingBehind) {
    // Wine's own keeps a registry key open each time, if the user has stores.
    const SystemCalls stores = Failing("CertEnumSystemStore", ERROR_FILE_NOT_FOUND);
    RunTool(L"create --exportable " + kContainer);
    PanelSession session;
    ExpectNothingLeftBehind([&] {
        ModalScript script(ThroughEverything());
        session.Open();
        EXPECT_TRUE(script.Finished());
    });
    RunTool(L"remove " + kContainer);
}

}  // namespace
