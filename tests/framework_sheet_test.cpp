// Property sheets and wizards: their results, pages, owner and end.

#include <stdexcept>

#include "applet/services/Strings.h"
#include "framework/DataExchange.h"
#include "framework/Module.h"
#include "framework/PropertyPage.h"
#include "framework/PropertySheet.h"
#include "resources/resource.h"
#include "tests/support/ModalScript.h"

namespace {

constexpr UINT kButton = IDC_CERTIFICATE_PROPERTIES;  // after edits that are read-only

enum Event { kStart, kValid, kApply, kReset, kCancel, kNext, kFinish, kShown, kClick, kEnd, kEvents };

class TestPage : public CPropertyPage {
  public:
    TestPage() { SetTemplate(Module::Resource(kDialogType, IDD_SELECT_CERTIFICATE, kEnglish), {}); }

    std::function<bool(Event)> answer;  // true without it
    int times[kEvents] = {};

  protected:
    std::span<const Route> Routes() const override {
        static constexpr Route table[] = {on<&TestPage::OnClick>(kButton, BN_CLICKED)};
        return table;
    }
    void DoDataExchange(CDataExchange* exchange) override {
        if (exchange->m_bSaveAndValidate && !Ask(kValid)) throw CDataExchange::Failed{};
    }
    bool OnInitDialog() override { return Ask(kStart) && CPropertyPage::OnInitDialog(); }
    bool OnApply() override { return Ask(kApply); }
    void OnFirstShown() override { Ask(kShown); }
    void OnReset() override { Ask(kReset); }
    bool OnQueryCancel() override { return Ask(kCancel); }
    LRESULT OnWizardNext() override { return Ask(kNext) ? 0 : -1; }
    bool OnWizardFinish() override { return Ask(kFinish); }
    void PostNcDestroy() override { Ask(kEnd); }

  private:
    void OnClick() { Ask(kClick); }
    bool Ask(Event event) {
        ++times[event];
        return !answer || answer(event);
    }
};

class TestSheet : public CPropertySheet {
  public:
    explicit TestSheet(std::initializer_list<CPropertyPage*> pages) {
        for (CPropertyPage* page : pages) AddPage(*page);
    }
    int* ends = nullptr;  // counted; then the sheet deletes itself

  protected:
    void PostNcDestroy() override {
        if (!ends) return;
        ++*ends;
        delete this;
    }
};

// A sheet that is still open after the steps is cancelled.
INT_PTR RunSheet(CPropertySheet& sheet, std::vector<ModalScript::Step> steps) {
    const ModalScript script(std::move(steps));
    return sheet.DoModal();
}

ModalScript::Step Press(int button) {
    return [button](HWND sheet) { Ui::Press(sheet, button); };
}

// The sheet deletes itself at its end, on every path.
TEST(PropertySheetTest, EndsOnceWithTheResultThatFits) {
    const struct {
        const char* name;
        ModalScript::Step step;
        INT_PTR result;
        int applied = 0, reset = 0;
        Event ended = kEvents;  // the page ends it then
    } cases[] = {
        {"OK", Press(PSBTN_OK), IDOK, 1},
        {"Cancel", Press(PSBTN_CANCEL), IDCANCEL, 0, 1},
        {"a page that saves", Press(PSBTN_OK), 0, 1, 0, kApply},
        {"its owner goes", [](HWND sheet) { DestroyWindow(GetWindow(sheet, GW_OWNER)); }, IDCANCEL},
        {"no page to show", nullptr, -1},
        {"the program's end", [](HWND) { PostQuitMessage(5); }, IDCANCEL},
    };
    for (const auto& [name, step, result, applied, reset, ended] : cases) {
        SCOPED_TRACE(name);
        const HWND owner =
            CreateWindowW(L"STATIC", L"", WS_POPUP | WS_VISIBLE, 0, 0, 99, 99, nullptr, nullptr, nullptr, nullptr);
        const bool enabled = result != IDCANCEL;  // an owner that was disabled stays so
        EnableWindow(owner, enabled);
        TestPage page;
        int ends = 0;
        if (!step) page.m_psp.pResource = nullptr;
        page.answer = [&, when = ended](Event event) {
            EXPECT_EQ(IsWindowEnabled(owner), enabled && event == kEnd) << "enabled before the sheet goes, not earlier";
            if (event != when) return true;
            EXPECT_EQ(ends, 0) << "deleted while its page is at work";
            if (ends == 0) page.GetParentSheet()->EndDialog(0);
            return true;
        };
        auto* sheet = new TestSheet({&page});
        sheet->ends = &ends;
        sheet->SetOwner(CreateWindowW(L"STATIC", L"", WS_CHILD, 0, 0, 9, 9, owner, nullptr, nullptr, nullptr));
        EXPECT_EQ(RunSheet(*sheet, {step, [](HWND) { ADD_FAILURE() << "still open"; }}), result);
        EXPECT_EQ(page.times[kApply], applied);
        EXPECT_EQ(page.times[kReset], reset);
        EXPECT_EQ(ends, 1);
        EXPECT_EQ(IsWindowEnabled(owner), enabled);
        DestroyWindow(owner);
    }
    MSG message{};
    EXPECT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE)) << "kept from the outer loop";
}

// A page refuses, then fails to answer, then agrees. Pages are made when they are shown, if they can be.
TEST(PropertySheetTest, GoesOnlyWhereItsPageLetsIt) {
    struct {
        Event asked;
        int button;
        INT_PTR result;
        int times = 3;
    } const cases[] = {
        {kValid, PSBTN_OK, IDOK},
        {kApply, PSBTN_OK, IDOK},
        {kCancel, PSBTN_CANCEL, IDCANCEL, 2},  // a page that fails can be left
        {kNext, PSBTN_NEXT, IDCANCEL},         // left on the page that it went to
        {kFinish, PSBTN_FINISH, ID_WIZFINISH},
    };
    for (const auto& [asked, button, result, times] : cases) {
        SCOPED_TRACE(asked);
        TestPage first, page, last;
        CPropertyPage missing;
        page.answer = [&, it = asked](Event event) {
            if (event == it && page.times[event] == 2) throw std::runtime_error("thrown by a page");
            return event != it || page.times[event] > 2;
        };
        TestSheet sheet({&first, &missing, &page, &last});
        sheet.SetStartPage(1);
        if (asked >= kNext) sheet.SetWizard97(nullptr, nullptr);
        const auto press = [&, it = button](HWND window) {
            EXPECT_EQ(Ui::Page(window), page.m_hWnd);
            EXPECT_FALSE(first.m_hWnd || last.m_hWnd);
            Ui::Press(window, it);
        };
        const auto leave = [&](HWND window) { EXPECT_NE(Ui::Page(window), page.m_hWnd); };
        EXPECT_EQ(RunSheet(sheet, {press, press, press, leave}), result);
        EXPECT_EQ(page.times[asked], times);
    }
}

// Its controls may show anything.
TEST(PropertySheetTest, APageWhoseStartFailsSavesNothing) {
    TestPage page;
    page.answer = [](Event event) { return event != kStart ? true : throw std::runtime_error("thrown at the start"); };
    TestSheet sheet({&page});
    const auto click = [&](HWND) {
        EXPECT_FALSE(Ui::Enabled(page.m_hWnd, kButton));
        Ui::Click(page.m_hWnd, kButton);
    };
    EXPECT_EQ(RunSheet(sheet, {click, Press(PSBTN_OK)}), IDOK);
    EXPECT_EQ(page.times[kValid] + page.times[kApply] + page.times[kClick], 0);
}

TEST(PropertySheetTest, StartsAPageOnceAndItsFirstInputHasTheFocus) {
    TestPage first, second;
    TestSheet sheet({&first, &second});
    const auto leaveAndReturn = [&](HWND window) {
        EXPECT_EQ(GetFocus(), first.GetDlgItem(kButton)) << "edits before it are read-only";
        for (const WPARAM page : {1, 0}) PropSheet_SetCurSel(window, nullptr, page);
    };
    EXPECT_EQ(RunSheet(sheet, {leaveAndReturn}), IDCANCEL);
    EXPECT_EQ(first.times[kShown], 1);
}

}  // namespace
