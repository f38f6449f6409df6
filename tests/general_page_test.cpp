// The General page as a real window in the real sheet, against the software provider and its store.
#include <windows.h>
#include <msi.h>
#include <prsht.h>
#include <shellapi.h>
#include <wincrypt.h>

#include <gtest/gtest.h>

#include "resources/resource.h"
#include "tests/support/Directory.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/LibraryFunction.h"
#include "tests/support/Panel.h"
#include "tests/support/Store.h"

namespace {

constexpr wchar_t kConfig[] = L"\\config\\Language";
constexpr wchar_t kLocal[] = L"\\local\\Language";
constexpr long kRussian = 1049, kEnglish = 1033;
constexpr wchar_t kSaveFailed[] = L"Error saving parameters.";

// Every test begins with both languages English and ends with what was there before.
class GeneralPage : public testing::Test {
  protected:
    // Opens the panel and runs the steps in it.
    void Run(std::vector<ModalScript::Step> steps, std::deque<int> answers = {}) {
        ModalScript script(std::move(steps), std::move(answers));
        PanelSession().Open();
        EXPECT_TRUE(script.Finished());
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
    };
    const Case cases[] = {
        {kEnglish, kEnglish, 2, 1, false}, {kRussian, kEnglish, 1, 1, false}, {{}, kRussian, 0, 0, false},
        {1058, kEnglish, 0, 1, true},      {0, kEnglish, 0, 1, true},         {-1, kEnglish, 0, 1, true},
        {kEnglish, {}, 2, 1, true},        {kEnglish, 1058, 2, 1, true},      {{}, 0, 0, 1, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.local.value_or(-2) << " " << c.config.value_or(-2));
        local.Set(c.local);
        config.Set(c.config);
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

TEST_F(GeneralPage, ATextWhereANumberBelongsCountsAsNothing) {
    ASSERT_EQ(RunTool(L"store put \\local\\Language 1049 --text"), 0u);
    Run({[](HWND sheet) {
        EXPECT_EQ(Ui::Selected(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE), 0);
        EXPECT_FALSE(Ui::ApplyEnabled(sheet));
    }});
}

TEST_F(GeneralPage, ApplyStoresWhatWasChosen) {
    struct Case {
        long before;  // the user's language
        int user, machine;
        Stored local, config;
    };
    const Case cases[] = {{kEnglish, 0, 1, {}, kEnglish},
                          {kEnglish, 1, 1, kRussian, kEnglish},
                          {kEnglish, 2, 0, kEnglish, kRussian},
                          {1058, 0, 1, {}, kEnglish}};
    for (const Case& c : cases) {
        local.Set(c.before);
        config.Set(kEnglish);
        Run({[&](HWND sheet) {
                 Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, c.user);
                 Ui::Select(Ui::Page(sheet), IDC_GENERAL_MACHINE_LANGUAGE, c.machine);
                 EXPECT_TRUE(Ui::ApplyEnabled(sheet));
                 Ui::Press(sheet, PSBTN_APPLYNOW);
             },
             [&](HWND sheet) { EXPECT_FALSE(Ui::ApplyEnabled(sheet)); }});
        EXPECT_EQ(local.Get(), c.local);
        EXPECT_EQ(config.Get(), c.config);
    }
}

TEST_F(GeneralPage, ChangingBackLeavesNothingToApply) {
    Run({[](HWND sheet) {
        Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, 1);
        EXPECT_TRUE(Ui::ApplyEnabled(sheet));
        Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, 2);
        EXPECT_FALSE(Ui::ApplyEnabled(sheet));
    }});
}

// The sheet is built anew in the language chosen, at the page asked for at the start.
TEST_F(GeneralPage, OkAndApplyReopenTheSheetInTheNewLanguage) {
    for (const int button : {PSBTN_OK, PSBTN_APPLYNOW}) {
        local.Set(kEnglish);
        HWND first = nullptr;
        Run({[&](HWND sheet) {
                 first = sheet;
                 EXPECT_EQ(Ui::Text(Ui::Page(sheet)), L"General");
                 Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, 1);
                 Ui::Press(sheet, button);
             },
             [&](HWND sheet) {
                 EXPECT_FALSE(IsWindow(first) && first != sheet);
                 EXPECT_EQ(Ui::Text(Ui::Page(sheet)), L"Общие");
                 EXPECT_EQ(Ui::Selected(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE), 1);
                 EXPECT_EQ(Ui::Items(Ui::Page(sheet), IDC_GENERAL_MACHINE_LANGUAGE),
                           (std::vector<std::wstring>{L"Русский", L"Английский"}));
                 EXPECT_FALSE(Ui::ApplyEnabled(sheet));
             }});
    }
}

TEST_F(GeneralPage, ShowsWhatTheUserMayChange) {
    struct Case {
        const wchar_t* denied;
        bool user, machine;
    };
    for (const Case& c : {Case{L"\\config", true, false}, Case{L"\\local", false, true}}) {
        config.Set({});
        const Denied denied(c.denied);
        Run({[&](HWND sheet) {
            const HWND page = Ui::Page(sheet);
            EXPECT_EQ(Ui::Enabled(page, IDC_GENERAL_USER_LANGUAGE), c.user);
            EXPECT_EQ(Ui::Enabled(page, IDC_GENERAL_MACHINE_LANGUAGE), c.machine);
            EXPECT_EQ(Ui::Visible(page, IDC_GENERAL_SHIELD), !c.machine);
            EXPECT_EQ(Ui::Visible(page, IDC_GENERAL_RUN_AS_ADMIN), !c.machine);
            EXPECT_EQ(SendDlgItemMessageW(page, IDC_GENERAL_SHIELD, STM_GETICON, 0, 0) != 0, !c.machine);
            // A missing value that can't be written is no reason to offer Apply.
            EXPECT_EQ(Ui::ApplyEnabled(sheet), c.machine);
        }});
    }
}

// Rights are taken away while the page is open: the save fails, says so once, and can be repeated.
TEST_F(GeneralPage, AFailedSaveKeepsTheSheetOpenAndModified) {
    std::optional<Denied> denied;
    const auto stillModified = [](HWND sheet) {
        EXPECT_TRUE(Ui::ApplyEnabled(sheet));
        EXPECT_EQ(Ui::PageIndex(sheet), 0);
    };
    Run({[&](HWND sheet) {
             Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, 1);
             denied.emplace(L"\\local");
             PropSheet_SetCurSel(sheet, nullptr, 2);  // the failing page comes to the front again
             Ui::Press(sheet, PSBTN_OK);
         },
         [&](HWND sheet) {
             stillModified(sheet);
             Ui::Press(sheet, PSBTN_APPLYNOW);
         },
         [&](HWND sheet) {
             stillModified(sheet);
             denied.reset();
             Ui::Press(sheet, PSBTN_APPLYNOW);
         },
         [&](HWND sheet) { EXPECT_EQ(Ui::Text(Ui::Page(sheet)), L"Общие"); }});
    EXPECT_EQ(local.Get(), Stored(kRussian));
    ASSERT_EQ(boxes.size(), 2u);
    for (const ShownBox& box : boxes) EXPECT_EQ(box.text, kSaveFailed);
}

TEST_F(GeneralPage, TheUsersLanguageCountsWhenTheMachinesCantBeWritten) {
    std::optional<Denied> denied;
    Run({[&](HWND sheet) {
             Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, 1);
             Ui::Select(Ui::Page(sheet), IDC_GENERAL_MACHINE_LANGUAGE, 0);
             denied.emplace(L"\\config");
             Ui::Press(sheet, PSBTN_APPLYNOW);
         },
         [&](HWND sheet) { EXPECT_EQ(Ui::Text(Ui::Page(sheet)), L"Общие"); }});
    EXPECT_TRUE(boxes.empty());
    EXPECT_EQ(local.Get(), Stored(kRussian));
    EXPECT_EQ(config.Get(), Stored(kEnglish));
}

TEST_F(GeneralPage, CoreVersion) {
    struct Case {
        const wchar_t* settings;  // of the provider, NAME=VALUE
        const wchar_t* text;
    };
    const Case cases[] = {
        {L"Class=1", L"5.0.4821 KC1"},
        {L"Class=6 Debug=1", L"5.0.4821 KA1 Debug"},
        {L"Class=7 Debug=2", L"5.0.4821 "},
        {L"Class=4 Version=0x030C Build=7", L"3.12.0007 KB1"},
        {L"Class=0 Build=123456 Debug=1", L"5.0.123456  Debug"},
    };
    for (const Case& c : cases) {
        std::wstring settings = c.settings;
        for (size_t at = 0, end; at < settings.size(); at = end + 1) {
            end = std::min(settings.find(L' ', at), settings.size());
            ASSERT_EQ(RunTool(L"set " + settings.substr(at, end - at)), 0u);
        }
        Look([&](HWND page) { EXPECT_EQ(Ui::Text(page, IDC_GENERAL_CORE_VERSION), c.text) << c.text; });
        for (const wchar_t* name : {L"Class", L"Version", L"Build", L"Debug"})
            RunTool(std::wstring(L"set ") + name + L"=");
    }
}

TEST_F(GeneralPage, WarnsOnceOfAnInterceptedDefaultProvider) {
    ASSERT_EQ(RunTool(L"set Type=1"), 0u);
    Look([](HWND) {});
    RunTool(L"set Type=");
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].text,
              L"Fatal error. Default system cryptoprovider intercepted. System may not function properly.");
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
    ASSERT_TRUE(shell.Found());
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
        for (const Opened& console : opened) EXPECT_EQ(console.file, L"C:\\console %s%n.msc");
        ASSERT_EQ(boxes.size(), c.failures);
        for (const ShownBox& box : boxes) EXPECT_EQ(box.text, L"Failed to start \"Vestra PKI\" console");
    }
}

UINT WINAPI HostileProperty(LPCWSTR, LPCWSTR name, LPWSTR value, LPDWORD length) {
    lstrcpynW(value, (std::wstring(name) + L" %s%n%1 & \x202E").c_str(), static_cast<int>(*length));
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
    EXPECT_EQ(opened[0].file, L"URLInfoAbout %s%n%1 & \x202E");
    EXPECT_EQ(opened[1].file, L"URLUpdateInfo %s%n%1 & \x202E");
}

// Each thing is read once. The counts are those of one look at the page.
TEST_F(GeneralPage, AsksForNothingTwice) {
    static int acquired, parameters;
    acquired = parameters = 0;
    static const ImportPatch* acquire;
    static const ImportPatch* read;
    const auto countAcquire =
        +[](HCRYPTPROV* provider, LPCWSTR container, LPCWSTR name, DWORD type, DWORD flags) -> BOOL {
        ++acquired;
        return acquire->Original<decltype(CryptAcquireContextW)>()(provider, container, name, type, flags);
    };
    const auto countRead = +[](HCRYPTPROV provider, DWORD parameter, BYTE* data, DWORD* length, DWORD flags) -> BOOL {
        ++parameters;
        return read->Original<decltype(CryptGetProvParam)>()(provider, parameter, data, length, flags);
    };
    const ImportPatch acquirePatch(nullptr, "CryptAcquireContextW", countAcquire);
    const ImportPatch readPatch(nullptr, "CryptGetProvParam", countRead);
    acquire = &acquirePatch;
    read = &readPatch;
    Look([](HWND) {});
    EXPECT_EQ(acquired, 2);    // the default provider, and the product's own
    EXPECT_EQ(parameters, 4);  // the default's type; version, build and class of the product's
}

}  // namespace
