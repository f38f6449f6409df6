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
    struct Case {
        Stored local, config;
        int user, machine;
        bool modified;
        const wchar_t* text = nullptr;  // this is no number, which counts as nothing
    };
    const Case cases[] = {
        {kEnglish, kEnglish, 2, 1, false},   {kRussian, kEnglish, 1, 1, false},   {{}, kRussian, 0, 0, false},
        {1058, kEnglish, 0, 1, true},        {0, kEnglish, 0, 1, true},           {-1, kEnglish, 0, 1, true},
        {kEnglish, {}, 2, 1, true},          {kEnglish, 1058, 2, 1, true},        {{}, 0, 0, 1, true},
        {{}, kEnglish, 0, 1, false, kLocal}, {kEnglish, {}, 2, 1, true, kConfig},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.local.value_or(-2) << " " << c.config.value_or(-2));
        local.Set(c.local);
        config.Set(c.config);
        EXPECT_TRUE(!c.text || RunTool(L"store put " + std::wstring(c.text) + L" 1049 --text") == 0);
        Run({[&](HWND sheet) {
            const HWND page = Ui::Page(sheet);
            EXPECT_EQ(Ui::Selected(page, IDC_GENERAL_USER_LANGUAGE), c.user);
            EXPECT_EQ(Ui::Selected(page, IDC_GENERAL_MACHINE_LANGUAGE), c.machine);
            EXPECT_EQ(Ui::ApplyEnabled(sheet), c.modified);
        }});
        EXPECT_EQ(local.Get(), c.local);  // looking changes nothing
        EXPECT_EQ(config.Get(), c.config);
    }
}

// The user's language counts also when the machine's can't be written.
TEST_F(GeneralPage, ApplyStoresWhatWasChosen) {
    struct Case {
        long before;  // the user's language
        int user, machine;
        Stored local, config;
        bool denied = false;
    };
    const Case cases[] = {{kEnglish, 0, 1, {}, kEnglish},
                          {kEnglish, 1, 1, kRussian, kEnglish},
                          {kEnglish, 2, 0, kEnglish, kRussian},
                          {1058, 0, 1, {}, kEnglish},
                          {kEnglish, 1, 0, kRussian, kEnglish, true}};
    for (const Case& c : cases) {
        local.Set(c.before);
        config.Set(kEnglish);
        std::optional<Denied> denied;
        Run({[&](HWND sheet) {
                 Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, c.user);
                 Ui::Select(Ui::Page(sheet), IDC_GENERAL_MACHINE_LANGUAGE, c.machine);
                 EXPECT_TRUE(Ui::ApplyEnabled(sheet));
                 if (c.denied) denied.emplace(L"\\config");
                 Ui::Press(sheet, PSBTN_APPLYNOW);
             },
             [&](HWND sheet) {
                 EXPECT_FALSE(Ui::ApplyEnabled(sheet));
                 EXPECT_TRUE(!c.denied || Ui::Text(Ui::Page(sheet)) == L"Общие");
             }});
        EXPECT_TRUE(boxes.empty());
        EXPECT_EQ(local.Get(), c.local);
        EXPECT_EQ(config.Get(), c.config);
    }
}

// The sheet is built anew in the language chosen, at the page asked for at the start.
TEST_F(GeneralPage, OkAndApplyReopenTheSheetInTheNewLanguage) {
    for (const int button : {PSBTN_OK, PSBTN_APPLYNOW}) {
        local.Set(kEnglish);
        HWND first = nullptr;
        Run({[&](HWND sheet) {
                 first = sheet;
                 PropSheet_SetCurSel(sheet, nullptr, 0);
                 EXPECT_EQ(Ui::Text(Ui::Page(sheet)), L"General");
                 for (const int language : {1, 2, 1}) {  // changed back, there is nothing to apply
                     Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, language);
                     EXPECT_EQ(Ui::ApplyEnabled(sheet), language == 1);
                 }
                 Ui::Press(sheet, button);
             },
             [&](HWND sheet) {
                 EXPECT_FALSE(IsWindow(first) && first != sheet);
                 EXPECT_EQ(Ui::PageIndex(sheet), 3);
                 PropSheet_SetCurSel(sheet, nullptr, 0);
                 EXPECT_EQ(Ui::Text(Ui::Page(sheet)), L"Общие");
                 EXPECT_EQ(Ui::Selected(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE), 1);
                 EXPECT_EQ(Ui::Items(Ui::Page(sheet), IDC_GENERAL_MACHINE_LANGUAGE),
                           (std::vector<std::wstring>{L"Русский", L"English"}));
                 EXPECT_FALSE(Ui::ApplyEnabled(sheet));
             }},
            "3");
    }
}

TEST_F(GeneralPage, ShowsWhatTheUserMayChange) {
    struct Case {
        const wchar_t* denied;
        bool user, machine;
        Stored local, config;
        bool reopens;  // OK stores what was missing, and the sheet is built anew
    };
    for (const Case& c :
         {Case{L"\\config", true, false, kEnglish, {}, false}, Case{L"\\local", false, true, kEnglish, {}, true},
          Case{L"\\config", true, false, {}, 1058, false}, Case{L"\\local", false, true, 1058, kEnglish, false}}) {
        SCOPED_TRACE(testing::Message() << c.denied << c.config.value_or(0));
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
                 // A value that can't be written is no reason to offer Apply.
                 EXPECT_EQ(Ui::ApplyEnabled(sheet), c.config == Stored() && c.machine);
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

// Settings of the provider, and what they make of the page.
TEST_F(GeneralPage, ShowsTheCoreVersionAndWarnsOnceOfAnInterceptedDefaultProvider) {
    const auto set = [](const std::wstring& setting) { EXPECT_EQ(RunTool(L"set " + setting), 0u); };
    struct Case {
        std::vector<std::wstring> settings;
        const wchar_t* text;
        bool intercepted = false;
    };
    const Case cases[] = {
        {{L"Class=1"}, L"5.0.4821 KC1"},
        {{L"Class=6", L"Debug=1"}, L"5.0.4821 KA1 Debug"},
        {{L"Class=7", L"Debug=2"}, L"5.0.4821 "},
        {{L"Class=4", L"Version=0x030C", L"Build=7"}, L"3.12.0007 KB1"},
        {{L"Class=0", L"Build=123456", L"Debug=1"}, L"5.0.123456  Debug"},
        {{L"Type=1"}, L"5.0.4821 KC1", true},
    };
    for (const Case& c : cases) {
        for (const std::wstring& setting : c.settings) set(setting);
        Look([&](HWND page) { EXPECT_EQ(Ui::Text(page, IDC_GENERAL_CORE_VERSION), c.text); });
        for (const std::wstring& setting : c.settings) set(setting.substr(0, setting.find(L'=') + 1));
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

void ClickLink(HWND page, int id) {
    SendDlgItemMessageW(page, id, WM_LBUTTONDOWN, MK_LBUTTON, 0);
}

TEST_F(GeneralPage, RunsThePanelWithAdministrativeRights) {
    const ImportPatch shell(nullptr, "ShellExecuteW", &NoteOpened);
    wchar_t self[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    const Denied denied(L"\\config");
    const auto click = [](HWND sheet) { ClickLink(Ui::Page(sheet), IDC_GENERAL_RUN_AS_ADMIN); };

    openResult = 5;
    Run({click, [](HWND sheet) { EXPECT_EQ(Ui::PageCount(sheet), 8); }});
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].text, L"Couldn't run control panel with administrative privileges.");

    openResult = 33;
    ModalScript script({click});
    PanelSession().Open();  // the sheet closes by itself
    EXPECT_TRUE(script.Boxes().empty());
    ASSERT_EQ(opened.size(), 2u);
    EXPECT_EQ(opened[1].verb, L"runas");
    EXPECT_EQ(opened[1].file, self);
}

int installedConsole = 0;  // 0: none, 1 or 2: the first or second component
INSTALLSTATE WINAPI LocateConsole(LPCWSTR component, LPWSTR path, LPDWORD length) {
    const bool first = lstrcmpiW(component, L"{2A6F8D13-E947-4B20-A5C8-91D3F07E46B2}") == 0;
    const bool second = lstrcmpiW(component, L"{E7C05B94-1D38-4A6E-8F27-C4B9A20D5318}") == 0;
    if (!(installedConsole == 1 && first) && !(installedConsole == 2 && second)) return INSTALLSTATE_UNKNOWN;
    lstrcpynW(path, L"C:\\console %s%n.msc", static_cast<int>(*length));
    return INSTALLSTATE_LOCAL;
}

TEST_F(GeneralPage, OpensTheManagementConsole) {
    const ImportPatch shell(nullptr, "ShellExecuteW", &NoteOpened);
    const LibraryFunction locate("MsiLocateComponentW", &LocateConsole);
    struct Case {
        int installed;
        INT_PTR result;
        size_t started, failures;
    };
    for (const Case& c : {Case{0, 33, 0, 1}, Case{1, 33, 1, 0}, Case{2, 33, 1, 0}, Case{1, 32, 1, 1}}) {
        installedConsole = c.installed;
        openResult = c.result;
        opened.clear();
        Run({[](HWND sheet) { ClickLink(Ui::Page(sheet), IDC_GENERAL_PKI_CONSOLE); }});
        ASSERT_EQ(opened.size(), c.started);
        for (const Opened& console : opened) EXPECT_EQ(console.verb + console.file, L"openC:\\console %s%n.msc");
        ASSERT_EQ(boxes.size(), c.failures);
        for (const ShownBox& box : boxes) EXPECT_EQ(box.text, L"Failed to start \"Vestra PKI\" console");
    }
}

UINT WINAPI HostileProperty(LPCWSTR, LPCWSTR name, LPWSTR value, LPDWORD length) {
    const std::wstring scheme = std::wstring(name).starts_with(L"URL") ? L"https://" : L"";
    lstrcpynW(value, (scheme + name + L" %s%n%1 & \x202E").c_str(), static_cast<int>(*length));
    return ERROR_SUCCESS;
}

TEST_F(GeneralPage, InstallerTextsAreShownAsTheyStand) {
    const LibraryFunction get("MsiGetProductInfoW", &HostileProperty);
    const ImportPatch shell(nullptr, "ShellExecuteW", &NoteOpened);
    opened.clear();
    Look([](HWND page) {
        EXPECT_EQ(Ui::Text(page, IDC_GENERAL_PRODUCT_NAME), L"InstalledProductName %s%n%1 & \x202E");
        EXPECT_EQ(Ui::Text(page, IDC_GENERAL_PRODUCT_VERSION), L"VersionString %s%n%1 & \x202E");
        ClickLink(page, IDC_GENERAL_NOTICE);
        ClickLink(page, IDC_GENERAL_PRODUCT_NAME);
    });
    ASSERT_EQ(opened.size(), 2u);
    EXPECT_EQ(opened[0].verb, L"open");
    EXPECT_EQ(opened[0].file, L"https://URLInfoAbout %s%n%1 & \x202E");
    EXPECT_EQ(opened[1].file, L"https://URLUpdateInfo %s%n%1 & \x202E");
}

// As the sheet's message loop does with a key.
void PressKey(HWND sheet, WPARAM key) {
    MSG message{GetFocus(), WM_KEYDOWN, key, 1, 0, {}};
    if (!PropSheet_IsDialogMessage(sheet, &message)) DispatchMessageW(&message);
}

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
        EXPECT_NE(GetFocus(), GetDlgItem(Ui::Page(sheet), IDC_GENERAL_PRODUCT_NAME)) << "Enter must not open a link";
        for (const WPARAM key : {VK_RETURN, VK_SPACE}) {
            for (const auto& [id, file] :
                 {std::pair{IDC_GENERAL_PRODUCT_NAME, L"https://URLUpdateInfo %s%n%1 & \x202E"},
                  {IDC_GENERAL_NOTICE, L"https://URLInfoAbout %s%n%1 & \x202E"},
                  {IDC_GENERAL_PKI_CONSOLE, L"C:\\console %s%n.msc"},
                  {IDC_GENERAL_RUN_AS_ADMIN, static_cast<const wchar_t*>(self)}}) {
                const HWND link = GetDlgItem(Ui::Page(sheet), id);
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

// Each thing is read once. The counts are those of one look at the page.
TEST_F(GeneralPage, AsksForNothingTwice) {
    int acquired = 0, parameters = 0;
    const CryptCalls calls([&](const CryptCalls::Call& call) {
        acquired += call.name == "CryptAcquireContextW";
        parameters += call.name == "CryptGetProvParam";
        return call();
    });
    Look([](HWND) {});
    EXPECT_EQ(acquired, 2);    // the default provider, and the product's own
    EXPECT_EQ(parameters, 4);  // the default's type; version, build and class of the product's
}

}  // namespace
