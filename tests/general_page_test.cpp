// The General page as a real window in the real sheet, against the software provider and its store.
#include "pages/PropPageConfigCSPGeneral.h"

#include <msi.h>

#include "framework/Module.h"
#include "tests/support/Panel.h"
#include "tests/support/SettingsPage.h"
#include "tests/support/SpokenNames.h"

namespace {

// Every test begins with both languages English and ends with what was there before.
class GeneralPage : public SettingsPageTest<CPropPageConfigCSPGeneral> {
  protected:
    // Opens the panel at a page and runs the steps in it. Without `open` the sheet closes before the last step.
    void RunPanel(Steps steps, const char* page = nullptr, bool open = true) {
        ShownBoxes::shown.clear();
        boxes.clear();
        const ModalScript script(std::move(steps));
        PanelSession().Open(page);
        EXPECT_EQ(script.Finished(), open) << "whether the sheet is open in the last step";
        for (const Box& box : ShownBoxes::shown) boxes.push_back(box.second);
    }

    StoredNumber config{L"\\config\\Language", kEnglish}, local{L"\\local\\Language", kEnglish};
};

// The sheet is built anew in the chosen language, at the page that was asked for at the start. The system is Russian.
// That the machine's language can't be written isn't reported then.
TEST_F(GeneralPage, OkAndApplyReopenTheSheetInTheNewLanguage) {
    const struct {
        int button, item;
        Stored local, config;
        const wchar_t* denied = L"\\config\\none";  // while the page is open
    } cases[] = {{PSBTN_OK, 1, kRussian, kRussian},
                 {PSBTN_APPLYNOW, 0, {}, kRussian},
                 {PSBTN_APPLYNOW, 1, kRussian, kEnglish, L"\\config"}};
    for (const auto& c : cases) {
        local.Set(kEnglish);
        config.Set(kEnglish);
        std::optional<Denied> denied;
        RunPanel({[&](HWND sheet) {
                      PropSheet_SetCurSel(sheet, nullptr, 0);
                      Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, c.item);
                      Ui::Select(Ui::Page(sheet), IDC_GENERAL_MACHINE_LANGUAGE, 0);
                      denied.emplace(c.denied);
                      Ui::Press(sheet, c.button);
                  },
                  [&](HWND sheet) {
                      EXPECT_EQ(Ui::PageIndex(sheet), 1);
                      PropSheet_SetCurSel(sheet, nullptr, 0);
                      EXPECT_EQ(Ui::Text(Ui::Page(sheet)), L"Общие");
                      EXPECT_EQ(Ui::Selected(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE), c.item);
                      EXPECT_FALSE(Ui::ApplyEnabled(sheet));
                  }},
                 "1");
        EXPECT_EQ(local.Get(), c.local);
        EXPECT_EQ(config.Get(), c.config);
        EXPECT_EQ(boxes, Texts{});
    }
}

// A value that can't be written is no reason to offer Apply, nor to open the sheet again.
TEST_F(GeneralPage, StoresWhatIsMissingWhereItMay) {
    const struct {
        const wchar_t* denied;
        Stored local, config;
        bool offersAdministration, modified;  // when modified, OK opens the sheet again
    } cases[] = {{L"\\config", kEnglish, {}, true, false},
                 {L"\\local", kEnglish, {}, false, true},
                 {L"\\local", 1058, kEnglish, false, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        config.Set(c.config);
        local.Set(c.local);
        const Denied denied(c.denied);
        RunPanel({[&](HWND sheet) {
                      const HWND page = Ui::Page(sheet);
                      EXPECT_EQ(Ui::Visible(page, IDC_GENERAL_SHIELD), c.offersAdministration);
                      EXPECT_EQ(Ui::Visible(page, IDC_GENERAL_RUN_AS_ADMIN), c.offersAdministration);
                      EXPECT_EQ(Ui::TipBehind(page, IDC_GENERAL_MACHINE_LANGUAGE),
                                c.offersAdministration ? kOnlyAdministrators : L"");
                      EXPECT_EQ(Ui::ApplyEnabled(sheet), c.modified);
                      Ui::Press(sheet, PSBTN_OK);
                  },
                  [](HWND) {}},
                 nullptr, c.modified);
    }
}

// Rights to a page's settings are withdrawn while it is open: the save can be repeated. Then the sheet is built anew,
// though the language may have been saved before.
TEST_F(GeneralPage, AFailedSaveKeepsTheSheetOpenAndModified) {
    const StoredNumber sessions(L"\\config\\Parameters\\tls_server_max_sessions", 64);
    for (const auto& [section, failing] : {std::pair{L"\\local", 0}, {L"\\config\\Parameters", 7}}) {
        local.Set(kEnglish);
        sessions.Set(64);
        std::optional<Denied> denied;
        RunPanel({[&, path = section](HWND sheet) {
                      Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, 1);
                      PropSheet_SetCurSel(sheet, nullptr, 7);
                      Ui::Type(Ui::Page(sheet), IDC_TLS_SESSIONS, L"68");
                      denied.emplace(path);
                      Ui::Press(sheet, PSBTN_OK);
                  },
                  [&, page = failing](HWND sheet) {
                      EXPECT_TRUE(Ui::ApplyEnabled(sheet));
                      EXPECT_EQ(Ui::PageIndex(sheet), page) << "the failing page comes to the front";
                      denied.reset();
                      Apply(sheet);
                  },
                  [](HWND sheet) { EXPECT_EQ(Ui::Text(Ui::Page(sheet)), L"Общие"); }});
        EXPECT_EQ(boxes, Texts{kSaveFailed});
    }
}

TEST_F(GeneralPage, ShowsTheCoreVersionAndWarnsOfAnInterceptedDefaultProvider) {
    const ProviderSetting type(softcsp::kTypeSetting, 1), version(softcsp::kVersionSetting, 0x030C),
        build(softcsp::kBuildSetting, 7), level(softcsp::kClassSetting, 6), debug(softcsp::kDebugSetting, 1);
    Look([](HWND page) { EXPECT_EQ(Ui::Text(page, IDC_GENERAL_CORE_VERSION), L"3.12.0007 KA1 Debug"); });
    EXPECT_EQ(boxes, Texts{L"Fatal error. Default system cryptoprovider intercepted. "
                           L"System may not function properly."});
}

TEST_F(GeneralPage, ClosesWhenItIsStartedAsAdministrator) {
    const Shell shell;
    const Denied denied(L"\\config");
    const auto click = [](int link) {
        return [=](HWND sheet) { SendDlgItemMessageW(Ui::Page(sheet), link, WM_LBUTTONDOWN, MK_LBUTTON, 0); };
    };
    RunPanel({click(IDC_GENERAL_PKI_CONSOLE), click(IDC_GENERAL_RUN_AS_ADMIN), [](HWND) {}}, nullptr, false);
    ASSERT_EQ(Shell::opened.size(), 1u) << "no console is installed";
    EXPECT_EQ(Shell::opened[0].verb, L"runas");
}

// Of two components one is installed.
INSTALLSTATE WINAPI LocateConsole(LPCWSTR component, LPWSTR path, LPDWORD length) {
    if (lstrcmpiW(component, L"{E7C05B94-1D38-4A6E-8F27-C4B9A20D5318}") != 0) return INSTALLSTATE_UNKNOWN;
    lstrcpynW(path, L"C:\\console %s%n.msc", static_cast<int>(*length));
    return INSTALLSTATE_LOCAL;
}
UINT WINAPI HostileProperty(LPCWSTR, LPCWSTR name, LPWSTR value, LPDWORD length) {
    const std::wstring scheme = std::wstring(name).starts_with(L"URL") ? L"https://" : L"";
    lstrcpynW(value, (scheme + name + L" %s%n%1 & \x202E").c_str(), static_cast<int>(*length));
    return ERROR_SUCCESS;
}

// Foreign texts are shown and opened unchanged. The shell refuses all of them.
TEST_F(GeneralPage, EveryLinkIsPressedByEnterAndSpace) {
    const LibraryFunction get("MsiGetProductInfoW", &HostileProperty), locate("MsiLocateComponentW", &LocateConsole);
    const Shell shell;
    const SpokenNames spoken;
    const Denied denied(L"\\config");
    Shell::result = 32;
    RunPanel({[&](HWND sheet) {
        const HWND page = Ui::Page(sheet);
        EXPECT_EQ(Ui::Text(page, IDC_GENERAL_PRODUCT_NAME), L"InstalledProductName %s%n%1 & \x202E");
        EXPECT_NE(GetFocus(), GetDlgItem(page, IDC_GENERAL_PRODUCT_NAME)) << "Enter must not open a link";
        for (const auto& [id, key, file] :
             {std::tuple{IDC_GENERAL_PRODUCT_NAME, VK_RETURN, L"https://URLUpdateInfo %s%n%1 & \x202E"},
              {IDC_GENERAL_NOTICE, VK_SPACE, L"https://URLInfoAbout %s%n%1 & \x202E"},
              {IDC_GENERAL_PKI_CONSOLE, VK_RETURN, L"C:\\console %s%n.msc"},
              {IDC_GENERAL_RUN_AS_ADMIN, VK_SPACE, nullptr}}) {
            const HWND link = GetDlgItem(page, id);
            SetFocus(link);
            EXPECT_EQ(SpokenNames::roles[link], ROLE_SYSTEM_LINK) << id;
            Shell::opened.clear();
            MSG message{link, WM_KEYDOWN, static_cast<WPARAM>(key), 1, 0, {}};
            if (!PropSheet_IsDialogMessage(sheet, &message)) DispatchMessageW(&message);
            ASSERT_EQ(Shell::opened.size(), 1u) << id;
            EXPECT_EQ(Shell::opened[0].file, file ? file : Module::FileName());
        }
    }});
    EXPECT_EQ(boxes, (Texts{L"Failed to start \"Vestra PKI\" console",
                            L"Couldn't run control panel with administrative privileges."}));
}

// The brush of a link is hollow: an old text goes away only when the page below it is erased.
TEST_F(GeneralPage, ALinkIsErasedWhenItsTextChanges) {
    Look([](HWND page) {
        const HWND link = GetDlgItem(page, IDC_GENERAL_NOTICE);
        POINT inside{3, 3};
        MapWindowPoints(link, page, &inside, 1);
        RedrawWindow(page, nullptr, nullptr, RDW_UPDATENOW | RDW_VALIDATE | RDW_ALLCHILDREN);
        SetWindowTextW(link, L"x");
        RECT update{};
        EXPECT_TRUE(GetUpdateRect(page, &update, FALSE));
        EXPECT_TRUE(PtInRect(&update, inside)) << "the page below the link must be drawn anew";
    });
}

TEST_F(GeneralPage, SurvivesEveryFailure) {
    bool changed = false;
    const auto save = [&] {
        changed = false;
        Run({[&](HWND sheet) {
            changed = Ui::Enabled(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE);
            Ui::Select(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE, 1);
            Apply(sheet);  // which ends the sheet when it succeeds
        }});
    };
    Faults("general page", save, [&](const Fault& fault) {
        const bool stored = local.Get() == kRussian;
        local.Set(kEnglish);
        if (fault.point == Fault::kNone) return stored && boxes.empty() ? "" : "is not saved";
        return stored || !boxes.empty() || !changed ? "" : "reads as saved";
    });
}

}  // namespace
