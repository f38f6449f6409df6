// What every settings page does alike, on a sheet of one page.
#include <windows.h>
#include <prsht.h>

#include <gtest/gtest.h>

#include "applet/services/PropPageConfigBase.h"
#include "framework/DataExchange.h"
#include "framework/FrameworkText.h"
#include "framework/PropertySheet.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/ModalScript.h"
#include "tests/support/Services.h"

namespace {

struct Page : CPropPageConfigBase {
    Page() : CPropPageConfigBase(IDD_SERVICE) {}

    bool IsPageModified() override { return modified; }
    SaveResult SavePage() override {
        ++saves;
        if (result != SaveResult::Failed) modified = false;
        return result;
    }
    void DoDataExchange(CDataExchange* exchange) override {
        EXPECT_TRUE(initialised_);
        if (exchange->m_bSaveAndValidate && !valid) exchange->Fail(FrameworkText::kEnterUnsigned);
    }
    using CPropPageConfigBase::OnControlChanged;
    using CPropPageConfigBase::RebootSystem;

    SaveResult result = SaveResult::Saved;
    bool modified = false, valid = true;
    int saves = 0;
};

class ConfigPage : public testing::Test {
  protected:
    INT_PTR Run(std::vector<ModalScript::Step> steps) {
        CPropertySheet sheet;
        sheet.AddPage(page);
        ModalScript script(std::move(steps));
        const INT_PTR result = sheet.DoModal();
        EXPECT_TRUE(script.Finished());
        boxes = script.Boxes();
        return result;
    }

    // A step that changes the page, then presses a button.
    ModalScript::Step ChangeAndPress(int button) {
        return [this, button](HWND sheet) {
            page.modified = true;
            page.OnControlChanged();
            EXPECT_TRUE(Ui::ApplyEnabled(sheet));
            Ui::Press(sheet, button);
        };
    }

    SpokenLanguage english{kEnglish};
    Page page;
    std::vector<ShownBox> boxes;
};

TEST_F(ConfigPage, ModifiedWhenItSaysSo) {
    const INT_PTR result = Run({[&](HWND sheet) {
                                    EXPECT_FALSE(Ui::ApplyEnabled(sheet));
                                    page.modified = true;
                                    page.OnControlChanged();
                                    EXPECT_TRUE(Ui::ApplyEnabled(sheet));
                                    page.modified = false;
                                    page.OnControlChanged();
                                    EXPECT_FALSE(Ui::ApplyEnabled(sheet));
                                },
                                ChangeAndPress(PSBTN_OK)});
    EXPECT_EQ(result, IDOK);
    EXPECT_EQ(page.saves, 1);
    EXPECT_TRUE(boxes.empty());
}

TEST_F(ConfigPage, AFailedSaveKeepsTheSheetOpenUntilItSucceeds) {
    for (const int button : {PSBTN_OK, PSBTN_APPLYNOW}) {
        page.result = SaveResult::Failed;
        page.saves = 0;
        HWND owner = nullptr;
        Run({ChangeAndPress(button),
             [&](HWND sheet) {
                 owner = sheet;
                 EXPECT_TRUE(Ui::ApplyEnabled(sheet));
                 page.result = SaveResult::Saved;
                 Ui::Press(sheet, PSBTN_APPLYNOW);
             },
             [](HWND sheet) { EXPECT_FALSE(Ui::ApplyEnabled(sheet)); }});
        EXPECT_EQ(page.saves, 2);
        ASSERT_EQ(boxes.size(), 1u);
        EXPECT_EQ(boxes[0].text, L"Error saving parameters.");
        EXPECT_EQ(boxes[0].caption, L"Vestra CSP Properties");
        EXPECT_EQ(boxes[0].owner, owner);
    }
}

TEST_F(ConfigPage, SavedWithAnotherLanguageEndsTheSheet) {
    page.result = SaveResult::SavedRebuild;
    EXPECT_EQ(Run({ChangeAndPress(PSBTN_APPLYNOW)}), IDRETRY);
    EXPECT_EQ(Run({ChangeAndPress(PSBTN_OK)}), IDRETRY);
}

TEST_F(ConfigPage, InvalidValuesAreToldAndNotSaved) {
    page.valid = false;
    const INT_PTR result = Run({ChangeAndPress(PSBTN_OK), [](HWND sheet) { EXPECT_TRUE(Ui::ApplyEnabled(sheet)); }});
    EXPECT_EQ(result, IDCANCEL);
    EXPECT_EQ(page.saves, 0);
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].text, L"Enter a whole number, zero or greater.");
}

// The restart's steps; none of them is ever taken for real.
enum Step { kNone, kOpen, kLookUp, kAdjust, kNotAssigned, kExit };
Step failing;
HANDLE token;
bool enabled, restarted;
const ImportPatch* opener;

BOOL WINAPI Open(HANDLE process, DWORD access, HANDLE* opened) {
    EXPECT_EQ(access, DWORD{TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY});
    if (failing == kOpen) return FALSE;
    const BOOL done = opener->Original<decltype(OpenProcessToken)>()(process, access, opened);
    token = *opened;
    return done;
}
BOOL WINAPI LookUp(LPCWSTR, LPCWSTR name, LUID* id) {
    EXPECT_STREQ(name, L"SeShutdownPrivilege");
    *id = {19, 0};
    return failing != kLookUp;
}
BOOL WINAPI Adjust(HANDLE, BOOL all, TOKEN_PRIVILEGES* privileges, DWORD, TOKEN_PRIVILEGES*, DWORD*) {
    enabled = !all && privileges->PrivilegeCount == 1 && privileges->Privileges[0].Luid.LowPart == 19 &&
              privileges->Privileges[0].Attributes == SE_PRIVILEGE_ENABLED;
    if (failing == kNotAssigned) SetLastError(ERROR_NOT_ALL_ASSIGNED);
    return failing != kAdjust;
}
BOOL WINAPI Exit(UINT flags, DWORD reason) {
    EXPECT_EQ(flags, UINT{EWX_REBOOT});
    EXPECT_EQ(reason, 0x80040001u);
    restarted = true;
    return failing != kExit;
}

TEST(RebootSystem, EveryStepCanFailAndTheTokenIsClosed) {
    const ImportPatch open(nullptr, "OpenProcessToken", &Open), lookUp(nullptr, "LookupPrivilegeValueW", &LookUp),
        adjust(nullptr, "AdjustTokenPrivileges", &Adjust), exit(nullptr, "ExitWindowsEx", &Exit);
    ASSERT_TRUE(open.Found() && lookUp.Found() && adjust.Found() && exit.Found());
    opener = &open;
    Page page;
    for (const Step step : {kOpen, kLookUp, kAdjust, kNotAssigned, kExit, kNone}) {
        failing = step;
        token = nullptr;
        enabled = restarted = false;
        SetLastError(ERROR_GEN_FAILURE);  // of an earlier call: no reason to fail
        EXPECT_EQ(page.RebootSystem(), step == kNone) << step;
        EXPECT_EQ(restarted, step == kExit || step == kNone) << step;
        EXPECT_EQ(enabled, step != kOpen && step != kLookUp) << step;
        DWORD flags = 0;
        EXPECT_FALSE(token && GetHandleInformation(token, &flags)) << step;
    }
}

}  // namespace
