// What the General page does besides showing and writing the languages, as a real window in the real sheet, against the
// software provider and its store.
#include <windows.h>
#include <msi.h>

#include "tests/support/CryptCalls.h"
#include "tests/support/Panel.h"
#include "tests/support/SettingsPage.h"
#include "tests/support/Shell.h"
#include "tests/support/SpokenNames.h"

namespace {

constexpr wchar_t kIntercepted[] =
    L"Fatal error. Default system cryptoprovider intercepted. System may not function properly.";

// Every test begins with both languages English and ends with what was there before.
class GeneralPage : public testing::Test {
  protected:
    // Opens the panel at a page and runs the steps in it. Without `open` the sheet closes before the last step.
    void Run(std::vector<ModalScript::Step> steps, const char* page = nullptr, bool open = true) {
        ShownBoxes::shown.clear();
        const ModalScript script(std::move(steps));
        PanelSession().Open(page);
        EXPECT_EQ(script.Finished(), open) << "whether the sheet is open in the last step";
        boxes.clear();
        for (const Box& box : ShownBoxes::shown) boxes.push_back(box.second);
    }
    void Look(const std::function<void(HWND page)>& look) {
        Run({[&](HWND sheet) { look(Ui::Page(sheet)); }});
    }
    static void NoStep(HWND) {}

    StoredNumber config{L"\\config\\Language", kEnglish}, local{L"\\local\\Language", kEnglish};
    const ShownBoxes noBoxes;
    Texts boxes;  // the texts of the last run's
};

TEST_F(GeneralPage, DoesNotReportTheMachinesLanguageOnceTheUsersIsWritten) {
    std::optional<Denied> denied;
    Run({[&](HWND sheet) {
             Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, 1);
             Ui::Select(Ui::Page(sheet), IDC_GENERAL_MACHINE_LANGUAGE, 0);
             denied.emplace(L"\\config");
             Ui::Press(sheet, PSBTN_APPLYNOW);
         },
         [](HWND sheet) { EXPECT_FALSE(Ui::ApplyEnabled(sheet)); }});
    EXPECT_EQ(boxes, Texts{});
    EXPECT_EQ(local.Get(), Stored(kRussian));
    EXPECT_EQ(config.Get(), Stored(kEnglish));
}

// The sheet is built anew in the chosen language, at the page that was asked for at the start.
TEST_F(GeneralPage, OkAndApplyReopenTheSheetInTheNewLanguage) {
    for (const int button : {PSBTN_OK, PSBTN_APPLYNOW}) {
        local.Set(kEnglish);
        Run({[&](HWND sheet) {
                 PropSheet_SetCurSel(sheet, nullptr, 0);
                 Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, 1);
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

// A value that can't be written is no reason to offer Apply, nor to open the sheet again.
TEST_F(GeneralPage, StoresWhatIsMissingWhereItMay) {
    const struct {
        const char* name;
        const wchar_t* denied;
        Stored local, config;
        bool offersAdministration, modified;  // when modified, OK opens the sheet again
    } cases[] = {
        {"the machine's missing and denied", L"\\config", kEnglish, {}, true, false},
        {"the machine's missing, the user's denied", L"\\local", kEnglish, {}, false, true},
        {"the user's unknown and denied", L"\\local", 1058, kEnglish, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        config.Set(c.config);
        local.Set(c.local);
        const Denied denied(c.denied);
        Run({[&](HWND sheet) {
                 const HWND page = Ui::Page(sheet);
                 const LRESULT icon = SendDlgItemMessageW(page, IDC_GENERAL_SHIELD, STM_GETICON, 0, 0);
                 EXPECT_EQ(Ui::Visible(page, IDC_GENERAL_SHIELD), c.offersAdministration);
                 EXPECT_EQ(Ui::Visible(page, IDC_GENERAL_RUN_AS_ADMIN), c.offersAdministration);
                 EXPECT_EQ(icon != 0, c.offersAdministration);
                 EXPECT_EQ(Ui::ApplyEnabled(sheet), c.modified);
                 Ui::Press(sheet, PSBTN_OK);
             },
             &NoStep},
            nullptr, c.modified);
    }
}

// Rights to a page's settings are withdrawn while it is open: the save fails, is reported once, and can be repeated.
// Then the sheet is built anew, though the language may have been saved before.
TEST_F(GeneralPage, AFailedSaveKeepsTheSheetOpenAndModified) {
    const StoredNumber sessions(L"\\config\\Parameters\\tls_server_max_sessions", {});
    for (const auto& [section, failing] : {std::pair{L"\\local", 0}, {L"\\config\\Parameters", 7}}) {
        SCOPED_TRACE(failing);
        local.Set(kEnglish);
        sessions.Set(64);
        std::optional<Denied> denied;
        const auto pressAgain = [page = failing](HWND sheet) {
            EXPECT_TRUE(Ui::ApplyEnabled(sheet));
            EXPECT_EQ(Ui::PageIndex(sheet), page) << "the failing page comes to the front";
            Ui::Press(sheet, PSBTN_APPLYNOW);
        };
        Run({[&, path = section](HWND sheet) {
                 Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, 1);
                 PropSheet_SetCurSel(sheet, nullptr, 7);
                 Ui::Type(Ui::Page(sheet), IDC_TLS_SESSIONS, L"68");
                 denied.emplace(path);
                 PropSheet_SetCurSel(sheet, nullptr, 2);
                 Ui::Press(sheet, PSBTN_OK);
             },
             pressAgain,
             [&](HWND sheet) {
                 denied.reset();
                 pressAgain(sheet);
             },
             [](HWND sheet) { EXPECT_EQ(Ui::Text(Ui::Page(sheet)), L"Общие"); }});
        EXPECT_EQ(local.Get(), Stored(kRussian));
        EXPECT_EQ(sessions.Get(), Stored(68));
        EXPECT_EQ(boxes, (Texts{kSaveFailed, kSaveFailed}));
    }
}

TEST_F(GeneralPage, ShowsTheCoreVersionAndWarnsOnceOfAnInterceptedDefaultProvider) {
    const struct {
        const softcsp::Setting& setting;
        DWORD value;
        const wchar_t* text;
        Texts boxes = {};
    } cases[] = {
        {softcsp::kClassSetting, 6, L"5.0.4821 KA1"},       {softcsp::kClassSetting, 7, L"5.0.4821 "},
        {softcsp::kDebugSetting, 1, L"5.0.4821 KC1 Debug"}, {softcsp::kVersionSetting, 0x030C, L"3.12.4821 KC1"},
        {softcsp::kBuildSetting, 7, L"5.0.0007 KC1"},       {softcsp::kTypeSetting, 1, L"5.0.4821 KC1", {kIntercepted}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.setting.name)));
        const ProviderSetting setting(c.setting, c.value);
        Look([&](HWND page) { EXPECT_EQ(Ui::Text(page, IDC_GENERAL_CORE_VERSION), c.text); });
        EXPECT_EQ(boxes, c.boxes);
    }
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
    const Texts noPanel = {L"Couldn't run control panel with administrative privileges."},
                noConsole = {L"Failed to start \"Vestra PKI\" console"};
    const Shell shell;
    const LibraryFunction locate("MsiLocateComponentW", &LocateConsole);
    const Denied denied(L"\\config");
    const struct {
        const char* name;
        int link, installed;
        INT_PTR result;  // of the shell, more than 32 for success
        Texts verbs;     // of what is started
        Texts boxes = {};
        bool staysOpen = true;
    } cases[] = {
        {"the panel refused", IDC_GENERAL_RUN_AS_ADMIN, 0, 32, {L"runas"}, noPanel},
        {"the panel started", IDC_GENERAL_RUN_AS_ADMIN, 0, 33, {L"runas"}, {}, false},
        {"no console", IDC_GENERAL_PKI_CONSOLE, 0, 33, {}, noConsole},
        {"the first component's console", IDC_GENERAL_PKI_CONSOLE, 1, 33, {L"open"}},
        {"the second component's console", IDC_GENERAL_PKI_CONSOLE, 2, 33, {L"open"}},
        {"the console refused", IDC_GENERAL_PKI_CONSOLE, 1, 32, {L"open"}, noConsole},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        installedConsole = c.installed;
        Shell::result = c.result;
        Shell::opened.clear();
        Run({[&](HWND sheet) { SendDlgItemMessageW(Ui::Page(sheet), c.link, WM_LBUTTONDOWN, MK_LBUTTON, 0); }, &NoStep},
            nullptr, c.staysOpen);
        Texts verbs;
        for (const Shell::Request& request : Shell::opened) verbs.push_back(request.verb);
        EXPECT_EQ(verbs, c.verbs);
        EXPECT_EQ(boxes, c.boxes);
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
    const Shell shell;
    const SpokenNames spoken;
    const Denied denied(L"\\config");
    wchar_t self[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    installedConsole = 1;
    Shell::result = 5;  // or the sheet would close
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
                Shell::opened.clear();
                PressKey(sheet, key);
                ASSERT_EQ(Shell::opened.size(), 1u) << id;
                EXPECT_EQ(Shell::opened[0].file, file);
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
    std::set<std::pair<std::wstring, CryptCalls::Word>> asked;  // names of providers; parameters of handles
    const CryptCalls calls([&](const CryptCalls::Call& call) {
        if (call.name == "CryptAcquireContextW") {
            const std::wstring name = call.a[2] ? call.At<const wchar_t*>(2) : L"the default";
            EXPECT_TRUE(asked.emplace(name, 0).second) << testing::PrintToString(name);
        } else if (call.name == "CryptGetProvParam") {
            const bool first = asked.emplace(std::to_wstring(call.a[0]), call.a[1]).second;
            EXPECT_TRUE(first) << "parameter " << call.a[1];
        }
        return call();
    });
    Look([](HWND) {});
    EXPECT_FALSE(asked.empty());
}

}  // namespace
