// The applet as the shell drives it: the messages of its entry, and the sheet that it opens.
#include <windows.h>
#include <commctrl.h>
#include <prsht.h>
#include <wincrypt.h>

#include <gtest/gtest.h>

#include <cstdlib>

#include "resources/resource.h"
#include "tests/support/Directory.h"
#include "tests/support/HandleCounts.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/LibraryFunction.h"
#include "tests/support/Panel.h"
#include "tests/support/Store.h"

// Spoils what is freed, so that a use after it shows.
void operator delete(void* object) noexcept {
    std::free(object);
}
void operator delete(void* object, std::size_t size) noexcept {
    auto* bytes = static_cast<volatile BYTE*>(object);
    for (std::size_t i = 0; object && i < size; ++i) bytes[i] = 0xDD;
    ::operator delete(object);
}

namespace {

LONG Send(UINT message, LPARAM position = 0, const void* data = nullptr) {
    return CPlApplet(nullptr, message, position, reinterpret_cast<LPARAM>(data));
}

int calls = 0;

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

TEST_F(Applet, PositionsThatNameNoAppletAreAnsweredAsFailures) {
    const PanelSession session;
    for (const LPARAM position : {LPARAM{1}, LPARAM{-1}, LPARAM{0x7FFFFFFFFFFFFFFF}}) {
        for (const UINT message :
             {CPL_INQUIRE, CPL_SELECT, CPL_DBLCLK, CPL_STOP, CPL_NEWINQUIRE, CPL_STARTWPARMSA, CPL_STARTWPARMSW, 77}) {
            const bool starts = message == CPL_STARTWPARMSA || message == CPL_STARTWPARMSW;
            EXPECT_EQ(Send(message, position), starts ? 0 : 1) << message << " at " << position;
        }
    }
}

HRESULT WINAPI CountBegin(void*) {
    return ++calls, S_FALSE;
}
void WINAPI CountEnd() {
    --calls;
}

TEST_F(Applet, BeginsAndEndsInAnyOrder) {
    const ImportPatch begin(nullptr, "CoInitialize", &CountBegin), end(nullptr, "CoUninitialize", &CountEnd);
    calls = 0;
    EXPECT_EQ(Send(CPL_EXIT), 0);
    EXPECT_EQ(Send(CPL_SELECT), 1);
    EXPECT_NE(Send(CPL_INIT), 0);
    EXPECT_EQ(calls, 1) << "COM is initialised";
    EXPECT_NE(Send(CPL_INIT), 0);  // a second host in the process
    EXPECT_EQ(Send(CPL_GETCOUNT), 1);
    EXPECT_EQ(Send(CPL_EXIT), 0);
    EXPECT_EQ(Send(CPL_GETCOUNT), 1);  // the first one goes on
    EXPECT_EQ(Send(CPL_EXIT), 0);
    EXPECT_EQ(Send(CPL_GETCOUNT), 0);
    EXPECT_EQ(Send(CPL_EXIT), 0);
    EXPECT_EQ(Send(CPL_DBLCLK), 1);
    EXPECT_EQ(calls, 0) << "COM is uninitialised as often";

    PanelSession again;
    {
        const auto refuse = +[](const PROPSHEETHEADERW*) -> INT_PTR { return -1; };
        const ImportPatch noSheet(nullptr, "PropertySheetW", refuse);
        EXPECT_EQ(again.Open(), 1) << "no sheet can be created";
        EXPECT_EQ(again.Open("3"), 0) << "no sheet can be created";
    }
    ModalScript script({[](HWND sheet) { EXPECT_EQ(Ui::PageCount(sheet), 8); }});
    EXPECT_EQ(again.Open(), 0);
    EXPECT_TRUE(script.Finished());
}

TEST_F(Applet, OpensThePageThatTheParameterNames) {
    const std::string huge(64 * 1024, '9');
    std::vector<std::pair<const char*, int>> cases = {{"3", 3}, {"0", 0}, {"7", 7}, {" 2", 2}, {"5x", 5}};
    for (const char* other : {static_cast<const char*>(nullptr), "", "abc", "-1", "8", "99", "4294967299",
                              "\xCF\xF3\xF1\xF2\xEE", "%s%n", huge.c_str()})
        cases.emplace_back(other, 0);
    for (const auto& [parameter, page] : cases) {
        PanelSession session;
        const std::string name = parameter ? std::string(parameter).substr(0, 20) : "none";
        ModalScript script({[&, wanted = page](HWND sheet) { EXPECT_EQ(Ui::PageIndex(sheet), wanted) << name; }});
        EXPECT_EQ(Send(CPL_STARTWPARMSA, 0, parameter), 1);
        EXPECT_TRUE(script.Finished());
    }
}

std::wstring productName;
DWORD GetProductName(const wchar_t*, HINSTANCE, wchar_t* buffer, DWORD* length) {
    if (buffer) buffer[productName.copy(buffer, *length)] = L'\0';
    *length = static_cast<DWORD>(productName.size());
    return 0;
}

// Without a product name the string table's names show; strange ones are taken as they stand, as much as fits.
TEST_F(Applet, ShowsTheProductsName) {
    const std::wstring longName(300, L'Я');
    const struct {
        std::wstring product, name, information, caption;
    } cases[] = {{L"", L"Vestra CSP", L"Vestra CSP Properties", L"Vestra CSP Properties"},
                 {L"%s%n%1", L"%s%n%1", L"%s%n%1 Properties", L"%s%n%1"},
                 {longName, longName.substr(0, 31), longName.substr(0, 31) + L" Properties", longName}};
    for (const auto& [product, name, information, caption] : cases) {
        productName = product;
        const LibraryFunction version("support_resource_version_string", product.empty() ? nullptr : &GetProductName);
        const PanelSession session;
        NEWCPLINFOW texts{};
        EXPECT_EQ(Send(CPL_NEWINQUIRE, 0, &texts), 0);
        EXPECT_EQ(texts.szName, name);
        EXPECT_EQ(texts.szInfo, information);
        ModalScript script({[&, shown = caption](HWND sheet) {
            EXPECT_EQ(Ui::Text(sheet), shown);
            EXPECT_NE(Ui::Text(Ui::Page(sheet), IDC_GENERAL_NOTICE), L"");  // without one, as the template has it
        }});
        Send(CPL_DBLCLK);
        EXPECT_TRUE(script.Finished());
    }
}

// Every page, for long enough to show all it has; notes what the tabs say.
std::vector<ModalScript::Step> ThroughAllPages(std::vector<std::wstring>* tabs = nullptr) {
    std::vector<ModalScript::Step> steps;
    for (int page = 0; page < 8; ++page) {
        steps.push_back([=](HWND sheet) {
            EXPECT_EQ(Ui::PageCount(sheet), 8);
            PropSheet_SetCurSel(sheet, nullptr, static_cast<WPARAM>(page));
            EXPECT_EQ(Ui::PageIndex(sheet), page);
            EXPECT_NE(Ui::Text(Ui::Page(sheet)), L"");
            if (tabs) tabs->push_back(Ui::Text(Ui::Page(sheet)));
        });
    }
    return steps;
}

TEST_F(Applet, ShowsAllPagesWithoutAnyOneFunctionOfTheSupportLibrary) {
    const StoredNumber found(L"\\config\\Parameters\\tls_server_max_sessions", 64);
    const auto open = [&](const std::string& without) {
        SCOPED_TRACE(without);
        local.Set(1033);
        const LibraryFunction missing(without.c_str(), nullptr);
        std::vector<ModalScript::Step> steps = ThroughAllPages();
        steps.insert(steps.begin(), [](HWND sheet) {
            Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, 0);
            Ui::Press(sheet, PSBTN_APPLYNOW);
        });
        PanelSession session;
        ModalScript script(std::move(steps));
        EXPECT_EQ(session.Open(), 0);
        EXPECT_TRUE(script.Finished());
    };
    LibraryFunction::ForgetLookUps();
    open("no function");
    int bound = 0;
    for (const auto& [name, times] : std::map(LibraryFunction::LookUps()))
        if (name.starts_with("sup")) ++bound, open(name);
    EXPECT_GE(bound, 24);  // the others are bound by what is opened from the pages, or saved on others
}

TEST_F(Applet, TheSheetHasItsEightPagesInOrder) {
    std::vector<std::wstring> tabs;
    PanelSession session;
    std::vector<ModalScript::Step> steps = ThroughAllPages(&tabs);
    steps.push_back([](HWND sheet) { EXPECT_EQ(Ui::Text(sheet), L"Vestra CSP"); });
    ModalScript script(std::move(steps));
    session.Open();
    EXPECT_EQ(tabs, (std::vector<std::wstring>{L"General", L"Hardware", L"Service", L"Advanced", L"Algorithms",
                                               L"Security", L"Winlogon", L"TLS Settings"}));
}

// The host's top-level window is the one in the task bar: it gets the icon, and is out of use while the sheet is open.
TEST_F(Applet, TheHostsWindowOwnsTheSheetAndGetsItsIcon) {
    const auto create = [](DWORD style, HWND parent) {
        return CreateWindowW(L"STATIC", L"", style, 300, 0, 300, 50, parent, nullptr, nullptr, nullptr);
    };
    for (const bool byChild : {false, true}) {
        const HWND host = create(WS_OVERLAPPEDWINDOW | WS_VISIBLE, nullptr);
        const HWND given = byChild ? create(WS_CHILD, host) : host;
        const PanelSession session;
        ModalScript script({[&](HWND sheet) {
            EXPECT_EQ(GetWindow(sheet, GW_OWNER), host);
            EXPECT_FALSE(IsWindowEnabled(host));
            RECT over{}, own{};
            GetWindowRect(host, &over), GetWindowRect(sheet, &own);
            EXPECT_NEAR(own.left + own.right, over.left + over.right, 2) << "over the middle of its owner";
            for (const WPARAM size : {ICON_BIG, ICON_SMALL}) {
                EXPECT_EQ(SendMessageW(sheet, WM_GETICON, size, 0), 0) << "the sheet has none";
                EXPECT_NE(SendMessageW(host, WM_GETICON, size, 0), 0) << byChild;
                EXPECT_EQ(SendMessageW(given, WM_GETICON, size, 0) != 0, !byChild);
            }
        }});
        CPlApplet(given, CPL_DBLCLK, 0, 0);
        EXPECT_TRUE(script.Finished());
        EXPECT_TRUE(IsWindowEnabled(host));
        DestroyWindow(host);
    }
}

BOOL WINAPI Counted() {  // in place of functions whose arguments don't count
    ++calls;
    return FALSE;
}

// A host is closed while one of its panel's pages shows a message box, a wizard or a dialog: the page goes on
// afterwards.
TEST_F(Applet, PagesOutliveWhatTheyShow) {
    static HWND host;
    static int shown;
    const auto box = +[](const MSGBOXPARAMSW*) { return ++shown, DestroyWindow(host), IDYES; };
    const ImportPatch boxes(nullptr, "MessageBoxIndirectW", box), exit(nullptr, "ExitWindowsEx", &Counted);
    const StoredNumber setting(L"\\config\\Parameters\\tls_server_use_default_machine_credential", 0);
    const struct {
        const char* page;
        UINT click;
        int button;  // of the sheet, for what a box asks or says; 0: a window opens
    } cases[] = {{"7", IDC_TLS_SERVER_MACHINE_CREDENTIAL, PSBTN_APPLYNOW},
                 {"7", IDC_TLS_SERVER_MACHINE_CREDENTIAL, PSBTN_OK},
                 {"2", IDC_SERVICE_CHECK, 0},
                 {"2", IDC_SERVICE_DELETE_PASSWORDS, 0},
                 {"3", IDC_ADVANCED_SET_TIMEOUT, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.click);
        setting.Set(0);
        shown = 0;
        host = CreateWindowW(L"STATIC", L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 99, 99, nullptr, nullptr, nullptr,
                             nullptr);
        HWND sheet = nullptr;
        std::vector<ModalScript::Step> steps = {[&](HWND window) {
            sheet = window;
            PostMessageW(GetDlgItem(Ui::Page(window), static_cast<int>(c.click)), BM_CLICK, 0, 0);
            if (c.button) Ui::Press(window, c.button);
        }};
        if (!c.button)
            steps.push_back([&](HWND window) {
                EXPECT_NE(window, sheet);
                DestroyWindow(host);
            });
        const PanelSession session;
        ModalScript script(std::move(steps));
        EXPECT_EQ(CPlApplet(host, CPL_STARTWPARMSA, 0, reinterpret_cast<LPARAM>(c.page)), 1);
        EXPECT_TRUE(script.Finished());
        EXPECT_EQ(shown, c.button ? 1 : 0);
        EXPECT_FALSE(IsWindow(host) || IsWindow(sheet));
    }
}

TEST_F(Applet, PagesThatAreNotShownAskForNothing) {
    PanelSession session;
    const LibraryFunction watch("a function that nobody looks up", nullptr);
    const ImportPatch acquire(nullptr, "CryptAcquireContextW", &Counted);
    const ImportPatch open(nullptr, "RegOpenKeyExW", &Counted);
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

// All pages, and all that their buttons open, which is cancelled: on the second page where that can be filled in for.
const std::wstring kContainer = L"Цикл", kFile = ProgramDirectory() + L"data\\several.p7b";
std::vector<ModalScript::Step> ThroughEverything() {
    std::vector<ModalScript::Step> steps = ThroughAllPages();
    for (const auto& [page, button, caption, further] :
         {std::tuple{2u, IDC_SERVICE_CHECK, L"Check private key container", true},
          {2u, IDC_SERVICE_COPY, L"Copy private key container", true},
          {2u, IDC_SERVICE_DELETE, L"Delete private key container", false},
          {2u, IDC_SERVICE_VIEW_CERTIFICATES, L"Certificates in private key container", true},
          {2u, IDC_SERVICE_INSTALL_CERTIFICATE, L"Private certificate installation wizard", true},
          {2u, IDC_SERVICE_CHANGE_PASSWORD, L"Change password for private key container", false},
          {2u, IDC_SERVICE_DELETE_PASSWORDS, L"Delete saved passwords", false},
          {3u, IDC_ADVANCED_SET_TIMEOUT, L"User input timeout", false}}) {
        steps.push_back([=](HWND sheet) {
            PropSheet_SetCurSel(sheet, nullptr, page);
            PostMessageW(GetDlgItem(Ui::Page(sheet), button), BM_CLICK, 0, 0);
        });
        steps.push_back([=](HWND window) {
            EXPECT_EQ(Ui::Text(window), caption);
            if (!further) return;
            Ui::Type(Ui::Page(window), IDC_SELECT_NAME, kContainer.c_str());
            Ui::Type(Ui::Page(window), IDC_FILE_NAME, kFile.c_str());
            Ui::Press(window, PSBTN_NEXT);
        });
        steps.push_back([=](HWND window) {
            EXPECT_TRUE(!further || Ui::Enabled(window, 0x3023)) << button << " has nothing to go back to";
            PostMessageW(window, WM_COMMAND, IDCANCEL, 0);
        });
    }
    return steps;
}

// Wine's own keeps a registry key open each time, if the user has stores.
BOOL WINAPI NoStores(DWORD, void*, void*, PFN_CERT_ENUM_SYSTEM_STORE) {
    return SetLastError(ERROR_FILE_NOT_FOUND), FALSE;
}

TEST_F(Applet, OpenedAndClosedSheetsAndWizardsLeaveNothingBehind) {
    const ImportPatch stores(nullptr, "CertEnumSystemStore", &NoStores);
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
