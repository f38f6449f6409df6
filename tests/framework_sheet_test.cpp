// Property sheets: their results, pages, owner and end.
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/HandleCounts.h"
#include "tests/support/SheetRun.h"

namespace {

const std::vector<BYTE>& ReadOnlyFirst() {
    static const std::vector<BYTE> bytes = BuildTemplate(WS_CHILD | DS_CONTROL, L"Read-only first",
                                                         {{L"STATIC", 30, 0},
                                                          {L"EDIT", 31, WS_TABSTOP | ES_READONLY},
                                                          {L"EDIT", 32, WS_TABSTOP | ES_READONLY},
                                                          {L"BUTTON", kButton, WS_TABSTOP},
                                                          {L"EDIT", 33, WS_TABSTOP}});
    return bytes;
}

class OwnerWindow {
  public:
    OwnerWindow()
        : window_(CreateWindowExW(0, L"STATIC", L"owner", WS_POPUP | WS_VISIBLE, 0, 0, 99, 99, nullptr, nullptr,
                                  nullptr, nullptr)) {}
    ~OwnerWindow() { DestroyWindow(window_); }
    OwnerWindow(const OwnerWindow&) = delete;
    OwnerWindow& operator=(const OwnerWindow&) = delete;
    HWND Get() const { return window_; }

  private:
    HWND window_;
};

TEST(PropertySheetTest, EndsWithTheResultThatFits) {
    struct {
        const char* name;
        ModalScript::Step step;
        INT_PTR result;
        int applied, reset;
    } const cases[] = {
        {"OK", [](HWND sheet) { Ui::Press(sheet, PSBTN_OK); }, IDOK, 1, 0},
        {"Cancel", [](HWND sheet) { Ui::Press(sheet, PSBTN_CANCEL); }, IDCANCEL, 0, 1},
        {"Esc", [](HWND) { PostMessageW(GetFocus(), WM_KEYDOWN, VK_ESCAPE, 0); }, IDCANCEL, 0, 1},
        {"close", [](HWND sheet) { PostMessageW(sheet, WM_SYSCOMMAND, SC_CLOSE, 0); }, IDCANCEL, 0, 1},
        {"a page's handler", [](HWND sheet) { Ui::Click(Ui::Page(sheet), kButton); }, 4711, 0, 0},
    };
    for (const auto& [name, step, result, applied, reset] : cases) {
        SCOPED_TRACE(name);
        TestPage page;
        page.onClick = [&] { page.GetParentSheet()->EndDialog(4711); };
        int ends = 0;
        TestSheet sheet({&page}, &ends);
        EXPECT_EQ(RunSheet(sheet, {step, [](HWND) {}}), result);
        EXPECT_EQ(page.applied, applied);
        EXPECT_EQ(page.resets, reset);
        EXPECT_EQ(ends, 1);
        EXPECT_EQ(sheet.m_hWnd, nullptr);
        EXPECT_EQ(page.m_hWnd, nullptr);
    }
}

TEST(PropertySheetTest, APageEndsItWhileItSaves) {
    for (const INT_PTR result : {INT_PTR{IDRETRY}, INT_PTR{0}, INT_PTR{-5}}) {
        TestPage page, other;
        page.onApply = [&] {
            page.GetParentSheet()->EndDialog(result);
            return true;
        };
        TestSheet sheet({&page, &other});
        EXPECT_EQ(RunSheet(sheet, {[](HWND window) { Ui::Press(window, PSBTN_OK); }}), result);
    }
}

TEST(PropertySheetTest, ShowsThePageThatRefusesToSave) {
    TestPage first, second;
    bool refuses = true;
    first.onApply = [&] { return !refuses; };
    TestSheet sheet({&first, &second});
    EXPECT_EQ(RunSheet(sheet, {[&](HWND) { sheet.SetActivePage(1); },
                               [](HWND window) {
                                   EXPECT_EQ(Ui::PageIndex(window), 1);
                                   Ui::Press(window, PSBTN_OK);
                               },
                               [&](HWND window) {
                                   EXPECT_EQ(Ui::Page(window), first.m_hWnd);
                                   EXPECT_EQ(Ui::PageIndex(window), 0);
                                   EXPECT_TRUE(IsWindowVisible(first.m_hWnd) && !IsWindowVisible(second.m_hWnd));
                                   refuses = false;
                                   Ui::Press(window, PSBTN_OK);
                               }}),
              IDOK);
    EXPECT_EQ(first.applied, 2);
    EXPECT_EQ(second.applied, 1);
}

TEST(PropertySheetTest, APageStaysUntilItLetsGo) {
    TestPage first, second;
    first.leaves = false;
    TestSheet sheet({&first, &second});
    EXPECT_EQ(RunSheet(sheet, {[&](HWND window) {
                                   EXPECT_FALSE(sheet.SetActivePage(1));
                                   EXPECT_EQ(Ui::Page(window), first.m_hWnd);
                                   EXPECT_EQ(second.m_hWnd, nullptr);
                                   Ui::Press(window, PSBTN_OK);
                               },
                               [&](HWND window) {
                                   EXPECT_EQ(first.applied, 0);
                                   first.leaves = true;
                                   first.cancels = false;
                                   Ui::Press(window, PSBTN_CANCEL);
                               },
                               [&](HWND window) {
                                   EXPECT_EQ(Ui::Page(window), first.m_hWnd);
                                   Ui::Press(window, PSBTN_OK);
                               }}),
              IDOK);
}

TEST(PropertySheetTest, ThrowsNothingThroughItsPages) {
    TestPage page;
    page.onApply = page.onInit = []() -> bool { throw std::runtime_error("thrown by a page"); };
    TestSheet sheet({&page});
    EXPECT_EQ(RunSheet(sheet, {[](HWND window) { Ui::Press(window, PSBTN_OK); },
                               [](HWND window) { Ui::Press(window, PSBTN_CANCEL); }}),
              IDCANCEL)
        << "a page whose saving threw hasn't saved";
}

TEST(PropertySheetTest, OwnerIsAsItWas) {
    for (const bool enabled : {true, false}) {
        SCOPED_TRACE(enabled);
        const OwnerWindow owner;
        EnableWindow(owner.Get(), enabled);
        const HWND child =
            CreateWindowExW(0, L"STATIC", L"", WS_CHILD, 0, 0, 9, 9, owner.Get(), nullptr, nullptr, nullptr);
        TestPage page;
        bool enabledAtEnd = !enabled;
        page.onEnd = [&] { enabledAtEnd = IsWindowEnabled(owner.Get()) != FALSE; };
        TestSheet sheet({&page});
        sheet.SetOwner(child);
        EXPECT_EQ(RunSheet(sheet, {[&](HWND window) {
                               EXPECT_EQ(GetWindow(window, GW_OWNER), owner.Get());
                               EXPECT_FALSE(IsWindowEnabled(owner.Get()));
                               Ui::Press(window, PSBTN_OK);
                           }}),
                  IDOK);
        EXPECT_EQ(enabledAtEnd, enabled) << "before the sheet goes";
        EXPECT_EQ(IsWindowEnabled(owner.Get()) != FALSE, enabled);
    }
}

TEST(PropertySheetTest, TheProgramsEndReachesTheOuterLoop) {
    TestPage page;
    int ends = 0;
    TestSheet sheet({&page}, &ends);
    EXPECT_EQ(RunSheet(sheet, {[](HWND) { PostQuitMessage(5); }, [](HWND) { ADD_FAILURE() << "still open"; }}),
              IDCANCEL);
    MSG message{};
    EXPECT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
    EXPECT_EQ(message.wParam, 5u);
    EXPECT_EQ(ends, 1);
}

TEST(PropertySheetTest, HoldsThePagesThatHaveATemplate) {
    TestPage first, last;
    CPropertyPage missing;
    TestSheet sheet({&first});
    sheet.AddPage(missing);
    sheet.AddPage(last);
    EXPECT_EQ(RunSheet(sheet, {[&](HWND window) {
                           EXPECT_EQ(Ui::PageCount(window), 2);
                           sheet.SetActivePage(1);
                           EXPECT_EQ(Ui::Page(window), last.m_hWnd);
                           Ui::Press(window, PSBTN_OK);
                       }}),
              IDOK);

    int ends = 0;
    TestSheet empty({}, &ends);
    empty.AddPage(missing);
    EXPECT_EQ(RunSheet(empty, {}), -1);
    EXPECT_EQ(ends, 1);
}

TEST(PropertySheetTest, StartsOnItsPageAndMakesTheOthersLater) {
    for (const auto& [start, shown] : {std::pair{0u, 0}, {2u, 2}, {3u, 0}, {~0u, 0}}) {
        SCOPED_TRACE(start);
        TestPage pages[3];
        TestSheet sheet({&pages[0], &pages[1], &pages[2]});
        sheet.SetStartPage(start);
        const int first = shown;
        RunSheet(sheet, {[&](HWND window) {
                     EXPECT_EQ(Ui::PageIndex(window), first);
                     for (int i = 0; i < 3; ++i) EXPECT_EQ(pages[i].m_hWnd != nullptr, i == first) << i;
                     Ui::Press(window, PSBTN_OK);
                 }});
        for (int i = 0; i < 3; ++i) EXPECT_EQ(pages[i].applied, i == first) << i;
        for (int i = 0; i < 3; ++i) EXPECT_EQ(pages[i].shown, i == first) << i;
    }
}

TEST(PropertySheetTest, FocusGoesToTheFirstControlThatTakesInput) {
    TestPage page(ReadOnlyFirst()), plain, unable(ReadOnlyFirst());
    TestSheet sheet({&page, &plain, &unable});
    unable.onInit = [&] { return unable.EnableDlgItem(kButton, false), true; };
    RunSheet(sheet, {[&](HWND) {
                         EXPECT_EQ(GetFocus(), page.GetDlgItem(kButton));
                         sheet.SetActivePage(2);
                     },
                     [&](HWND) {
                         EXPECT_EQ(GetFocus(), unable.GetDlgItem(33));
                         sheet.SetActivePage(0);
                     }});
    EXPECT_EQ(page.shown, 1);
    EXPECT_EQ(unable.shown, 1);
}

TEST(PropertySheetTest, MayDeleteItselfAtItsEnd) {
    TestPage page;
    CPropertyPage missing;
    struct {
        CPropertyPage* page;
        ModalScript::Step step;
        INT_PTR result;
    } const cases[] = {
        {&page, [](HWND window) { Ui::Press(window, PSBTN_OK); }, IDOK},
        {&page, [](HWND window) { Ui::Press(window, PSBTN_CANCEL); }, IDCANCEL},
        {&page, [&](HWND) { page.GetParentSheet()->EndDialog(9); }, 9},
        {&page, [](HWND window) { DestroyWindow(window); }, IDCANCEL},
        {&missing, nullptr, -1},
    };
    for (const auto& [only, step, result] : cases) {
        int ends = 0;
        auto* sheet = new TestSheet({only}, &ends);
        sheet->deletesItself = true;
        EXPECT_EQ(RunSheet(*sheet, {step}), result);
        EXPECT_EQ(ends, 1);
    }
}

TEST(PropertySheetTest, LeavesNoHandleBehind) {
    const OwnerWindow owner;
    const auto openAndClose = [&] {
        TestPage first, second;
        TestSheet sheet({&first, &second});
        sheet.SetOwner(owner.Get());
        RunSheet(sheet, {[&](HWND window) {
                     sheet.SetActivePage(1);
                     Ui::Press(window, PSBTN_OK);
                 }});
    };
    openAndClose();
    const HandleCounts before = CountHandles();
    for (int i = 0; i < 100; ++i) openAndClose();
    const HandleCounts after = CountHandles();
    EXPECT_EQ(after.kernel, before.kernel);
    EXPECT_EQ(after.gdi, before.gdi);
    EXPECT_EQ(after.windows, before.windows);
}

}  // namespace
