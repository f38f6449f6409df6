// Modal dialogs: results, validation, message tables, exceptions.
#include <gtest/gtest.h>

#include <windows.h>

#include <functional>
#include <stdexcept>

#include "framework/DataExchange.h"
#include "framework/Static.h"
#include "tests/support/DialogRun.h"
#include "tests/support/TemplateBuilder.h"

namespace {

enum Id : WORD { kFirst = 20, kMiddle, kLast, kBeyond, kStatic, kPlainStatic };

const std::vector<BYTE>& Template() {
    static const std::vector<BYTE> bytes = BuildTemplate(WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_VISIBLE, L"Dialog",
                                                         {{L"BUTTON", IDOK, BS_DEFPUSHBUTTON | WS_TABSTOP},
                                                          {L"BUTTON", IDCANCEL, WS_TABSTOP},
                                                          {L"BUTTON", kFirst, 0},
                                                          {L"BUTTON", kMiddle, 0},
                                                          {L"BUTTON", kLast, 0},
                                                          {L"BUTTON", kBeyond, 0},
                                                          {L"STATIC", kStatic, 0},
                                                          {L"STATIC", kPlainStatic, 0}});
    return bytes;
}

constexpr UINT kVoid = WM_APP + 1, kResult = WM_APP + 2;
constexpr UINT kNotification = 1000;

class TestDialog : public CDialog {
  public:
    TestDialog() { InitModalIndirect(Template()); }

    bool valid = true;
    std::function<void()> onInit, onClick;
    std::vector<WORD> clicked;
    int notified = 0, closes = 0, ends = 0;
    UINT seen = 0;

  protected:
    std::span<const Route> Routes() const override {
        static constexpr Route table[] = {
            on<&TestDialog::OnRange>({kFirst, kLast}, BN_CLICKED),
            onNotify<&TestDialog::OnNotify>({kFirst, kMiddle}, kNotification),
            onMessage<&TestDialog::OnVoid>(kVoid),
            onMessage<&TestDialog::OnResult>(kResult),
            onMessage<&TestDialog::OnClose>(WM_CLOSE),
        };
        return table;
    }
    bool OnInitDialog() override {
        if (onInit) onInit();
        return CDialog::OnInitDialog();
    }
    void DoDataExchange(CDataExchange* exchange) override {
        if (exchange->m_bSaveAndValidate && !valid) throw CDataExchange::Failed{};
    }
    void PostNcDestroy() override { ++ends; }

  private:
    void OnRange(const Message& message) {
        clicked.push_back(LOWORD(message.wParam));
        if (onClick) onClick();
    }
    LRESULT OnNotify(const Message&) { return ++notified; }
    void OnVoid(const Message& message) { seen = message.id; }
    LRESULT OnResult(const Message& message) { return static_cast<LRESULT>(message.wParam) * 2; }
    MessageResult OnClose(const Message&) {  // counted, then closed as ever
        ++closes;
        return {};
    }
};

void PressKey(WPARAM key) {
    PostMessageW(GetFocus(), WM_KEYDOWN, key, 0);
}

TEST(DialogTest, EndsWithTheResultThatFits) {
    struct {
        const char* name;
        ModalScript::Step step;
        INT_PTR result;
    } const cases[] = {
        {"OK", [](HWND window) { Ui::Click(window, IDOK); }, IDOK},
        {"Cancel", [](HWND window) { Ui::Click(window, IDCANCEL); }, IDCANCEL},
        {"Enter", [](HWND) { PressKey(VK_RETURN); }, IDOK},
        {"Esc", [](HWND) { PressKey(VK_ESCAPE); }, IDCANCEL},
        {"close", [](HWND window) { SendMessageW(window, WM_CLOSE, 0, 0); }, IDCANCEL},
        {"handler", [](HWND window) { Ui::Click(window, kFirst); }, 4711},
        {"another's notification",
         [](HWND window) { SendMessageW(window, WM_COMMAND, MAKEWPARAM(IDOK, BN_DBLCLK), 0); }, kLeftOpen},
    };
    for (const auto& [name, step, result] : cases) {
        SCOPED_TRACE(name);
        TestDialog dialog;
        dialog.onClick = [&] { dialog.EndDialog(4711); };
        EXPECT_EQ(RunDialog(dialog, {step, [](HWND) {}}), result);
        EXPECT_EQ(dialog.ends, 1);
        EXPECT_EQ(dialog.m_hWnd, nullptr);
    }
}

TEST(DialogTest, OpensOnlyWithATemplate) {
    EXPECT_EQ(CDialog().DoModal(), -1);
}

TEST(DialogTest, StaysOpenUntilItsControlsAreValid) {
    TestDialog dialog;
    dialog.valid = false;
    EXPECT_EQ(RunDialog(dialog, {[](HWND window) { Ui::Click(window, IDOK); },
                                 [&](HWND window) {
                                     EXPECT_EQ(window, dialog.m_hWnd);
                                     dialog.valid = true;
                                     Ui::Click(window, IDOK);
                                 }}),
              IDOK);
    EXPECT_TRUE(dialog.valid) << "the first click has closed it";
}

TEST(DialogTest, AnExceptionLeavesTheDialogUsable) {
    const auto fail = [] { throw std::runtime_error("thrown by a handler"); };
    for (const bool atStart : {true, false}) {
        SCOPED_TRACE(atStart);
        TestDialog dialog;
        (atStart ? dialog.onInit : dialog.onClick) = fail;
        EXPECT_EQ(RunDialog(dialog, {[](HWND window) { Ui::Click(window, kFirst); },
                                     [](HWND window) { Ui::Click(window, kLast); }, [](HWND) { PressKey(VK_ESCAPE); },
                                     [](HWND) {}}),
                  IDCANCEL);
        EXPECT_EQ(dialog.clicked, (std::vector<WORD>{kFirst, kLast}));
        EXPECT_EQ(dialog.ends, 1);
    }
}

TEST(RouteTest, MessagesReachTheHandlersOfTheirRows) {
    TestDialog dialog;
    RunDialog(dialog, {[&](HWND window) {
                  for (const WORD id : {kFirst, kMiddle, kLast, kBeyond}) Ui::Click(window, id);
                  SendMessageW(window, WM_COMMAND, MAKEWPARAM(kMiddle, BN_SETFOCUS), 0);
                  EXPECT_EQ(dialog.clicked, (std::vector<WORD>{kFirst, kMiddle, kLast}));

                  // The third value: what the sender gets back.
                  for (const auto& [id, code, answer] : {std::tuple{kFirst, kNotification, 1},
                                                         {kMiddle, kNotification, 2},
                                                         {kLast, kNotification, 0},
                                                         {kFirst, kNotification + 1, 0}}) {
                      const NMHDR header{GetDlgItem(window, id), id, code};
                      EXPECT_EQ(SendMessageW(window, WM_NOTIFY, id, reinterpret_cast<LPARAM>(&header)), answer);
                  }

                  EXPECT_EQ(SendMessageW(window, kVoid, 0, 0), 0);
                  EXPECT_EQ(dialog.seen, kVoid);
                  EXPECT_EQ(SendMessageW(window, kResult, 21, 0), 42);

                  SendMessageW(window, WM_CLOSE, 0, 0);  // its handler leaves it to the system
                  EXPECT_EQ(dialog.closes, 1);
              }});
}

class ColouredStatic : public CStatic {
  public:
    HBRUSH brush = nullptr;

  protected:
    std::span<const Route> Routes() const override {
        static constexpr Route table[] = {onReflected<&ColouredStatic::OnColor>(WM_CTLCOLORSTATIC)};
        return table;
    }

  private:
    LRESULT OnColor(const Message&) { return reinterpret_cast<LRESULT>(brush); }
};

TEST(RouteTest, AControlAnswersForItsOwnColour) {
    TestDialog dialog;
    ColouredStatic coloured;
    coloured.brush = GetSysColorBrush(COLOR_HIGHLIGHT);
    RunDialog(dialog, {[&](HWND window) {
                  const HDC context = GetDC(window);
                  const auto colour = [&](WORD id) {
                      return SendMessageW(window, WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(context),
                                          reinterpret_cast<LPARAM>(GetDlgItem(window, id)));
                  };
                  const LRESULT usual = colour(kStatic);
                  coloured.SubclassDlgItem(kStatic, dialog);
                  EXPECT_EQ(CWnd::FromHandlePermanent(GetDlgItem(window, kStatic)), &coloured);
                  EXPECT_EQ(colour(kStatic), reinterpret_cast<LRESULT>(coloured.brush));
                  EXPECT_EQ(colour(kPlainStatic), usual);
                  EXPECT_NE(usual, 0);
                  ReleaseDC(window, context);
              }});
    EXPECT_EQ(coloured.m_hWnd, nullptr);
}

}  // namespace
