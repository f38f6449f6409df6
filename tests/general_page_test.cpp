// The General page as a real window in the real sheet, against the software provider and its store.
#include <windows.h>
#include <msi.h>
#include <prsht.h>
#include <shellapi.h>
#include <wincrypt.h>

#include <gtest/gtest.h>

#include "resources/resource.h"
#include "tests/support/CryptCalls.h"
#include "tests/support/Directory.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/LibraryFunction.h"
#include "tests/support/Panel.h"
#include "tests/support/SpokenNames.h"
#include "tests/support/Store.h"

namespace {

constexpr wchar_t kConfig[] = L"\\config\\Language";
constexpr wchar_t kLocal[] = L"\\local\\Language";
constexpr long kRussian = 1049, kEnglish = 1033;
constexpr wchar_t kSaveFailed[] = L"Error saving parameters.";
constexpr wchar_t kIntercepted[] =
    L"Fatal error. Default system cryptoprovider intercepted. System may not function properly.";

// Every test begins with both languages English and ends with what was there before.
class GeneralPage : public testing::Test {
  protected:
    // Opens the panel at a page and runs the steps in it.
    // `whole`: all steps run, the last one in the sheet that is open then.
    void Run(std::vector<ModalScript::Step> steps, const char* page = nullptr, bool whole = true) {
        ModalScript script(std::move(steps));
        PanelSession().Open(page);
        EXPECT_EQ(script.Finished(), whole);
        boxes = script.Boxes();
    }

    // Opens the panel and looks at the page.
    void Look(const std::function<void(HWND page)>& look) {
        Run({[&](HWND sheet) { look(Ui::Page(sheet)); }});
    }

    StoredNumber config{kConfig, kEnglish};
    StoredNumber local{kLocal, kEnglish};
    std::vector<ShownBox> boxes;
};

using Stored = std::optional<long>;

TEST_F(GeneralPage, ShowsWhatIsStored) {
    const struct {
        const char* name;
        Stored local, config;
        int user, machine;  // the items that are selected
        bool modified;
        const wchar_t* text = nullptr;  // a value that is no number
    } cases[] = {
        {"both English", kEnglish, kEnglish, 2, 1, false},
        {"the user's Russian", kRussian, kEnglish, 1, 1, false},
        {"the user's missing, the machine's Russian", {}, kRussian, 0, 0, false},
        {"the user's unknown", 1058, kEnglish, 0, 1, true},
        {"the user's zero", 0, kEnglish, 0, 1, true},
        {"the machine's missing", kEnglish, {}, 2, 1, true},
        {"the machine's unknown", kEnglish, 1058, 2, 1, true},
        {"the user's a text", {}, kEnglish, 0, 1, false, kLocal},
        {"the machine's a text", kEnglish, {}, 2, 1, true, kConfig},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        local.Set(c.local);
        config.Set(c.config);
        if (c.text) RunTool(L"store put " + std::wstring(c.text) + L" 1049 --text");
        Run({[&](HWND sheet) {
            const HWND page = Ui::Page(sheet);
            EXPECT_EQ(Ui::Selected(page, IDC_GENERAL_USER_LANGUAGE), c.user);
            EXPECT_EQ(Ui::Selected(page, IDC_GENERAL_MACHINE_LANGUAGE), c.machine);
            EXPECT_EQ(Ui::ApplyEnabled(sheet), c.modified);
        }});
        EXPECT_EQ(local.Get(), c.local) << "showing it changes nothing";
        EXPECT_EQ(config.Get(), c.config) << "showing it changes nothing";
    }
}

// A machine's language that can't be written is not reported when the user's is.
TEST_F(GeneralPage, AppliesTheLanguages) {
    const struct {
        const char* name;
        int user, machine;  // the items that are chosen
        Stored local, config;
        bool denied = false;  // the machine's, while the page is open
    } cases[] = {{"the user's to the default", 0, 1, {}, kEnglish},
                 {"the machine's", 2, 0, kEnglish, kRussian},
                 {"both, the machine's refused", 1, 0, kRussian, kEnglish, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        local.Set(kEnglish);
        config.Set(kEnglish);
        std::optional<Denied> denied;
        Run({[&](HWND sheet) {
                 Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, c.user);
                 Ui::Select(Ui::Page(sheet), IDC_GENERAL_MACHINE_LANGUAGE, c.machine);
                 EXPECT_TRUE(Ui::ApplyEnabled(sheet));
                 if (c.denied) denied.emplace(L"\\config");
                 Ui::Press(sheet, PSBTN_APPLYNOW);
             },
             [](HWND sheet) { EXPECT_FALSE(Ui::ApplyEnabled(sheet)); }});
        EXPECT_TRUE(boxes.empty());
        EXPECT_EQ(local.Get(), c.local);
        EXPECT_EQ(config.Get(), c.config);
    }
}

// The sheet is built anew in the chosen language, at the page that was asked for at the start.
TEST_F(GeneralPage, OkAndApplyReopenTheSheetInTheNewLanguage) {
    for (const int button : {PSBTN_OK, PSBTN_APPLYNOW}) {
        local.Set(kEnglish);
        Run({[&](HWND sheet) {
                 PropSheet_SetCurSel(sheet, nullptr, 0);
                 for (const int language : {1, 2, 1}) {  // the second choice is what is stored
                     Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, language);
                     EXPECT_EQ(Ui::ApplyEnabled(sheet), language == 1);
                 }
                 Ui::Press(sheet, button);
             },
             [&](HWND sheet) {
                 EXPECT_EQ(Ui::PageIndex(sheet), 3);
                 PropSheet_SetCurSel(sheet, nullptr, 0);
                 EXPECT_EQ(Ui::Text(Ui::Page(sheet)), L"Общие");
                 EXPECT_EQ(Ui::Selected(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE), 1);
                 EXPECT_FALSE(Ui::ApplyEnabled(sheet));
             }},
            "3");
        EXPECT_EQ(local.Get(), Stored(kRussian));
    }
}

// A value that can't be written is no reason to offer Apply.
TEST_F(GeneralPage, ShowsWhatTheUserMayChange) {
    const struct {
        const char* name;
        const wchar_t* denied;
        Stored local, config;
        bool user, machine;      // may be changed
        bool modified, reopens;  // OK stores what was missing, and the sheet is built anew
    } cases[] = {
        {"the machine's missing and denied", L"\\config", kEnglish, {}, true, false, false, false},
        {"the machine's missing, the user's denied", L"\\local", kEnglish, {}, false, true, true, true},
        {"the user's unknown and denied", L"\\local", 1058, kEnglish, false, true, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        config.Set(c.config);
        local.Set(c.local);
        const Denied denied(c.denied);
        Run({[&](HWND sheet) {
                 const HWND page = Ui::Page(sheet);
                 EXPECT_EQ(Ui::Enabled(page, IDC_GENERAL_USER_LANGUAGE), c.user);
                 EXPECT_EQ(Ui::Enabled(page, IDC_GENERAL_MACHINE_LANGUAGE), c.machine);
                 EXPECT_EQ(Ui::Visible(page, IDC_GENERAL_SHIELD), !c.machine);
                 EXPECT_EQ(Ui::Visible(page, IDC_GENERAL_RUN_AS_ADMIN), !c.machine);
                 EXPECT_EQ(SendDlgItemMessageW(page, IDC_GENERAL_SHIELD, STM_GETICON, 0, 0) != 0, !c.machine);
                 EXPECT_EQ(Ui::ApplyEnabled(sheet), c.modified);
                 Ui::Press(sheet, PSBTN_OK);
             },
             [&](HWND) { EXPECT_TRUE(c.reopens) << "OK doesn't close the sheet"; }},
            nullptr, c.reopens);
    }
}

// Rights to a page's settings are taken away while it is open: the save fails, says so once, and can be repeated. Then
// the sheet is built anew, though the language may have been saved before.
TEST_F(GeneralPage, AFailedSaveKeepsTheSheetOpenAndModified) {
    const StoredNumber sessions(L"\\config\\Parameters\\tls_server_max_sessions", 64);
    for (const auto& [section, failing] : {std::pair{L"\\local", 0}, {L"\\config\\Parameters", 7}}) {
        local.Set(kEnglish);
        std::optional<Denied> denied;
        const auto pressAgain = [&, page = failing](HWND sheet) {
            EXPECT_TRUE(Ui::ApplyEnabled(sheet));
            EXPECT_EQ(Ui::PageIndex(sheet), page);
            Ui::Press(sheet, PSBTN_APPLYNOW);
        };
        Run({[&, path = section](HWND sheet) {
                 Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, 1);
                 PropSheet_SetCurSel(sheet, nullptr, 7);
                 Ui::Type(Ui::Page(sheet), IDC_TLS_SESSIONS, L"68");
                 denied.emplace(path);
                 PropSheet_SetCurSel(sheet, nullptr, 2);  // the failing page comes to the front again
                 Ui::Press(sheet, PSBTN_OK);
             },
             pressAgain,
             [&](HWND sheet) {
                 denied.reset();
                 pressAgain(sheet);
             },
             [&](HWND sheet) { EXPECT_EQ(Ui::Text(Ui::Page(sheet)), L"Общие"); }});
        EXPECT_EQ(local.Get(), Stored(kRussian));
        EXPECT_EQ(sessions.Get(), Stored(68));
        sessions.Set(64);
        ASSERT_EQ(boxes.size(), 2u);
        for (const ShownBox& box : boxes) EXPECT_EQ(box.text, kSaveFailed);
    }
}

TEST_F(GeneralPage, ShowsTheCoreVersionAndWarnsOnceOfAnInterceptedDefaultProvider) {
    const struct {
        const wchar_t *settings, *cleared;  // of the provider
        const wchar_t* text;
        bool intercepted = false;
    } cases[] = {
        {L"Class=6", L"Class=", L"5.0.4821 KA1"},       {L"Class=7", L"Class=", L"5.0.4821 "},
        {L"Debug=1", L"Debug=", L"5.0.4821 KC1 Debug"}, {L"Version=0x030C", L"Version=", L"3.12.4821 KC1"},
        {L"Build=7", L"Build=", L"5.0.0007 KC1"},       {L"Type=1", L"Type=", L"5.0.4821 KC1", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.settings)));
        ASSERT_EQ(RunTool(std::wstring(L"set ") + c.settings), 0u);
        Look([&](HWND page) { EXPECT_EQ(Ui::Text(page, IDC_GENERAL_CORE_VERSION), c.text); });
        RunTool(std::wstring(L"set ") + c.cleared);
        EXPECT_EQ(boxes.size(), c.intercepted ? 1u : 0u);
        for (const ShownBox& box : boxes) EXPECT_EQ(box.text, kIntercepted);
    }
}

// Nothing is opened for real: what ShellExecute would be given is noted.
struct Opened {
    std::wstring verb, file;
};
std::vector<Opened> opened;
INT_PTR openResult = 33;

HINSTANCE WINAPI NoteOpened(HWND, LPCWSTR verb, LPCWSTR file, LPCWSTR, LPCWSTR, INT) {
    opened.push_back({verb, file});
    return reinterpret_cast<HINSTANCE>(openResult);
}

int installedConsole = 0;  // 0: none, 1 or 2: the first or second component
INSTALLSTATE WINAPI LocateConsole(LPCWSTR component, LPWSTR path, LPDWORD length) {
    const bool first = lstrcmpiW(component, L"{2A6F8D13-E947-4B20-A5C8-91D3F07E46B2}") == 0;
    const bool second = lstrcmpiW(component, L"{E7C05B94-1D38-4A6E-8F27-C4B9A20D5318}") == 0;
    if (!(installedConsole == 1 && first) && !(installedConsole == 2 && second)) return INSTALLSTATE_UNKNOWN;
    lstrcpynW(path, L"C:\\console %s%n.msc", static_cast<int>(*length));
    return INSTALLSTATE_LOCAL;
}

TEST_F(GeneralPage, StartsProgramsOrSaysThatItCouldNot) {
    constexpr wchar_t noPanel[] = L"Couldn't run control panel with administrative privileges.",
                      noConsole[] = L"Failed to start \"Vestra PKI\" console";
    const ImportPatch shell(nullptr, "ShellExecuteW", &NoteOpened);
    const LibraryFunction locate("MsiLocateComponentW", &LocateConsole);
    const Denied denied(L"\\config");
    const struct {
        const char* name;
        int link, installed;
        INT_PTR result;       // of the shell, more than 32 for success
        const wchar_t* verb;  // nullptr: nothing is started
        const wchar_t* message = nullptr;
    } cases[] = {
        {"the panel refused", IDC_GENERAL_RUN_AS_ADMIN, 0, 32, L"runas", noPanel},
        {"the panel started", IDC_GENERAL_RUN_AS_ADMIN, 0, 33, L"runas"},
        {"no console", IDC_GENERAL_PKI_CONSOLE, 0, 33, nullptr, noConsole},
        {"the first component's console", IDC_GENERAL_PKI_CONSOLE, 1, 33, L"open"},
        {"the second component's console", IDC_GENERAL_PKI_CONSOLE, 2, 33, L"open"},
        {"the console refused", IDC_GENERAL_PKI_CONSOLE, 1, 32, L"open", noConsole},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        installedConsole = c.installed;
        openResult = c.result;
        opened.clear();
        bool open = false;  // the sheet, when the next message is handled
        const bool closes = c.link == IDC_GENERAL_RUN_AS_ADMIN && c.result > 32;
        Run({[&](HWND sheet) { SendDlgItemMessageW(Ui::Page(sheet), c.link, WM_LBUTTONDOWN, MK_LBUTTON, 0); },
             [&](HWND) { open = true; }},
            nullptr, !closes);
        EXPECT_NE(open, closes);
        ASSERT_EQ(opened.size(), c.verb ? 1u : 0u);
        for (const Opened& program : opened) EXPECT_EQ(program.verb, c.verb);
        ASSERT_EQ(boxes.size(), c.message ? 1u : 0u);
        for (const ShownBox& box : boxes) EXPECT_EQ(box.text, c.message);
    }
}

UINT WINAPI HostileProperty(LPCWSTR, LPCWSTR name, LPWSTR value, LPDWORD length) {
    const std::wstring scheme = std::wstring(name).starts_with(L"URL") ? L"https://" : L"";
    lstrcpynW(value, (scheme + name + L" %s%n%1 & \x202E").c_str(), static_cast<int>(*length));
    return ERROR_SUCCESS;
}

// As the sheet's message loop does with a key.
void PressKey(HWND sheet, WPARAM key) {
    MSG message{GetFocus(), WM_KEYDOWN, key, 1, 0, {}};
    if (!PropSheet_IsDialogMessage(sheet, &message)) DispatchMessageW(&message);
}

// Foreign texts are shown and opened as they stand.
TEST_F(GeneralPage, EveryLinkIsReachedByTabAndPressedByEnterAndSpace) {
    const LibraryFunction get("MsiGetProductInfoW", &HostileProperty), locate("MsiLocateComponentW", &LocateConsole);
    const ImportPatch shell(nullptr, "ShellExecuteW", &NoteOpened);
    const SpokenNames spoken;
    const Denied denied(L"\\config");
    wchar_t self[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    installedConsole = 1;
    openResult = 5;  // or the sheet would close
    Run({[&](HWND sheet) {
        const HWND page = Ui::Page(sheet);
        EXPECT_EQ(Ui::Text(page, IDC_GENERAL_PRODUCT_NAME), L"InstalledProductName %s%n%1 & \x202E");
        EXPECT_EQ(Ui::Text(page, IDC_GENERAL_PRODUCT_VERSION), L"VersionString %s%n%1 & \x202E");
        EXPECT_NE(GetFocus(), GetDlgItem(page, IDC_GENERAL_PRODUCT_NAME)) << "Enter must not open a link";
        for (const WPARAM key : {VK_RETURN, VK_SPACE}) {
            for (const auto& [id, file] :
                 {std::pair{IDC_GENERAL_PRODUCT_NAME, L"https://URLUpdateInfo %s%n%1 & \x202E"},
                  {IDC_GENERAL_NOTICE, L"https://URLInfoAbout %s%n%1 & \x202E"},
                  {IDC_GENERAL_PKI_CONSOLE, L"C:\\console %s%n.msc"},
                  {IDC_GENERAL_RUN_AS_ADMIN, static_cast<const wchar_t*>(self)}}) {
                const HWND link = GetDlgItem(page, id);
                for (int tabs = 0; GetFocus() != link && tabs < 30; ++tabs) PressKey(sheet, VK_TAB);
                ASSERT_EQ(GetFocus(), link) << id;
                EXPECT_EQ(SpokenNames::roles[link], ROLE_SYSTEM_LINK) << id;
                opened.clear();
                PressKey(sheet, key);
                ASSERT_EQ(opened.size(), 1u) << id;
                EXPECT_EQ(opened[0].file, file);
            }
        }
    }});
}

// The brush of a link is hollow: an old text goes away only when the page below it is erased.
TEST_F(GeneralPage, ALinkIsAsLargeAsItsTextAndIsErasedWhenThatChanges) {
    Look([](HWND page) {
        const HWND link = GetDlgItem(page, IDC_GENERAL_NOTICE);
        const HDC context = GetDC(link);
        SelectObject(context, reinterpret_cast<HFONT>(SendMessageW(link, WM_GETFONT, 0, 0)));
        const std::wstring text = Ui::Text(link);
        SIZE need{};
        GetTextExtentPoint32W(context, text.c_str(), static_cast<int>(text.size()), &need);
        ReleaseDC(link, context);
        RECT place{}, update{}, erased{};
        GetWindowRect(link, &place);
        EXPECT_EQ(place.right - place.left, need.cx);
        MapWindowPoints(nullptr, page, reinterpret_cast<POINT*>(&place), 2);
        RedrawWindow(page, nullptr, nullptr, RDW_UPDATENOW | RDW_VALIDATE | RDW_ALLCHILDREN);
        SetWindowTextW(link, L"x");
        EXPECT_TRUE(GetUpdateRect(page, &update, FALSE));
        IntersectRect(&erased, &update, &place);
        EXPECT_TRUE(EqualRect(&erased, &place)) << "the page below the link must be drawn anew";
    });
}

TEST_F(GeneralPage, AsksTheProviderForNothingTwice) {
    int acquired = 0, parameters = 0;
    const CryptCalls calls([&](const CryptCalls::Call& call) {
        acquired += call.name == "CryptAcquireContextW";
        parameters += call.name == "CryptGetProvParam";
        return call();
    });
    Look([](HWND) {});
    EXPECT_EQ(acquired, 2) << "the default provider and the product's own";
    EXPECT_EQ(parameters, 4) << "the default's type; version, build and class of the product's";
}

}  // namespace
