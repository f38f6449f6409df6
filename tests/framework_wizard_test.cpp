// Wizards of the Wizard97 style.
#include <gtest/gtest.h>

#include <stdexcept>

#include "framework/Handles.h"
#include "resources/resource.h"
#include "tests/support/SheetRun.h"

namespace {

constexpr UINT kBack = 0x3023, kNext = 0x3024, kFinish = 0x3025;  // the buttons' ids

class Wizard : public TestSheet {
  public:
    explicit Wizard(std::initializer_list<CPropertyPage*> pages) : TestSheet(pages) {
        SetWizard97(watermark_.get(), header_.get());
    }

  private:
    static UniqueBitmap Load(UINT id) {
        return UniqueBitmap(static_cast<HBITMAP>(
            LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(id), IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION)));
    }
    UniqueBitmap watermark_ = Load(IDB_WIZARD_WATERMARK), header_ = Load(IDB_WIZARD_HEADER);
};

// Three pages as a wizard has them, with the buttons of their places.
class WizardTest : public testing::Test {
  protected:
    WizardTest() {
        first_.HideHeader();
        middle_.SetCaption(L"caption");
        middle_.SetHeader(L"title", L"subtitle");
        last_.HideHeader();
        first_.onActive = [this] { wizard_.SetWizardButtons(PSWIZB_NEXT); };
        middle_.onActive = [this] { wizard_.SetWizardButtons(PSWIZB_BACK | PSWIZB_NEXT); };
        last_.onActive = [this] { wizard_.SetWizardButtons(PSWIZB_FINISH); };
    }

    // A step: on this page? Then the press.
    ModalScript::Step On(TestPage& page, int button) {
        return [&page, button](HWND window) {
            EXPECT_EQ(Ui::Page(window), page.m_hWnd) << "button " << button;
            Ui::Press(window, button);
        };
    }

    TestPage first_, middle_, last_;
    Wizard wizard_{&first_, &middle_, &last_};
};

TEST_F(WizardTest, GoesWhereItsPagesLetIt) {
    first_.next = middle_.back = -1;
    const auto allow = [](LRESULT& answer) { return [&answer](HWND) { answer = 0; }; };
    EXPECT_EQ(RunSheet(wizard_,
                       {On(first_, PSBTN_NEXT), On(first_, PSBTN_NEXT), allow(first_.next), On(first_, PSBTN_NEXT),
                        On(middle_, PSBTN_BACK), On(middle_, PSBTN_BACK), allow(middle_.back), On(middle_, PSBTN_BACK),
                        On(first_, PSBTN_NEXT), On(middle_, PSBTN_NEXT), On(last_, PSBTN_FINISH)}),
              ID_WIZFINISH);
}

TEST_F(WizardTest, FinishesOnceItsPageAgrees) {
    int asked = 0;
    last_.onFinish = [&] {
        if (++asked == 1) throw std::runtime_error("thrown by a page");
        return asked == 3;
    };
    wizard_.SetStartPage(2);
    const ModalScript::Step finish = On(last_, PSBTN_FINISH);
    EXPECT_EQ(RunSheet(wizard_, {finish, finish, finish}), ID_WIZFINISH);
    EXPECT_EQ(asked, 3);
}

TEST_F(WizardTest, EndsUnfinished) {
    EXPECT_EQ(RunSheet(wizard_, {On(first_, PSBTN_CANCEL)}), IDCANCEL);
    first_.onClick = [this] { wizard_.EndDialog(4711); };
    EXPECT_EQ(RunSheet(wizard_, {[](HWND window) { Ui::Click(Ui::Page(window), kButton); }}), 4711);
}

TEST_F(WizardTest, ShowsTheButtonsOfThePage) {
    const auto expect = [](HWND window, bool back, bool next, bool finish) {
        EXPECT_EQ(Ui::Enabled(window, kBack), back);
        EXPECT_EQ(Ui::Visible(window, kNext) && Ui::Enabled(window, kNext), next);
        EXPECT_EQ(Ui::Visible(window, kFinish) && Ui::Enabled(window, kFinish), finish);
    };
    RunSheet(wizard_, {[&](HWND window) { expect(window, false, true, false); }, On(first_, PSBTN_NEXT),
                       [&](HWND window) { expect(window, true, true, false); }, On(middle_, PSBTN_NEXT),
                       [&](HWND window) { expect(window, false, false, true); },
                       [&](HWND) { wizard_.SetWizardButtons(PSWIZB_BACK | PSWIZB_DISABLEDFINISH); },
                       [&](HWND window) { expect(window, true, false, false); }});
}

TEST_F(WizardTest, APictureIsNoCondition) {
    for (const auto& [watermark, header] : {std::pair{false, false}, {true, false}, {false, true}}) {
        const UniqueBitmap picture(CreateBitmap(8, 8, 1, 1, nullptr));
        TestPage page;
        TestSheet wizard({&page});
        wizard.SetWizard97(watermark ? picture.get() : nullptr, header ? picture.get() : nullptr);
        EXPECT_EQ(RunSheet(wizard, {On(page, PSBTN_FINISH)}), ID_WIZFINISH);
        EXPECT_EQ(GetObjectType(picture.get()), DWORD{OBJ_BITMAP}) << "still the caller's";
    }
}

}  // namespace
