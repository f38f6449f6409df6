// Modal dialogs: results, message tables, the exchange between controls and members, validation.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <stdexcept>
#include <tuple>
#include <vector>

#include "framework/DataExchange.h"
#include "framework/Dialog.h"
#include "tests/support/ModalScript.h"
#include "tests/support/TemplateBuilder.h"

namespace {

enum Id : WORD { kText = 10, kInteger, kUnsigned, kRadio, kNoRadio, kRadio2, kOther, kFirst, kLast };

constexpr INT_PTR kLeftOpen = -77;  // no dialog ends with it by itself

class TestDialog : public CDialog {
  public:
    TestDialog() {
        static const std::vector<BYTE> bytes = BuildTemplate(WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_VISIBLE,
                                                             {{kEditClass, kText, WS_TABSTOP | ES_AUTOHSCROLL},
                                                              {kEditClass, kInteger, ES_AUTOHSCROLL},
                                                              {kEditClass, kUnsigned, ES_AUTOHSCROLL},
                                                              {kButtonClass, kRadio, BS_AUTORADIOBUTTON | WS_GROUP},
                                                              {kStaticClass, kNoRadio, 0},
                                                              {kButtonClass, kRadio2, BS_AUTORADIOBUTTON},
                                                              {kButtonClass, kOther, BS_AUTORADIOBUTTON | WS_GROUP},
                                                              {kButtonClass, kFirst, WS_GROUP},
                                                              {kButtonClass, kLast, 0},
                                                              {kButtonClass, IDOK, BS_DEFPUSHBUTTON}});
        InitModalIndirect(bytes, {});
    }

    // The steps run inside the dialog; one that is still open after them is ended with kLeftOpen.
    INT_PTR Run(std::vector<ModalScript::Step> steps) {
        steps.emplace_back([](HWND window) { ::EndDialog(window, kLeftOpen); });
        ModalScript script(std::move(steps));
        const INT_PTR result = DoModal(owner);
        boxes = script.Boxes();
        return result;
    }

    std::wstring text = L"one";
    int integer = -5, radio = 1;
    UINT number = 5;
    std::function<void()> onExchange, onClick;
    std::vector<WORD> clicked;
    std::vector<ShownBox> boxes;
    int edits = 0;
    HWND owner = nullptr;

  protected:
    std::span<const Route> Routes() const override {
        static constexpr Route table[] = {
            on<&TestDialog::OnRange>({kFirst, kLast}, BN_CLICKED),
            on<&TestDialog::OnEdit>({kText, kUnsigned}, EN_CHANGE),
        };
        return table;
    }
    void DoDataExchange(CDataExchange* exchange) override {
        if (onExchange) onExchange();
        DDX_Text(exchange, kText, text);
        DDV_MaxChars(exchange, text, 3);
        DDX_Text(exchange, kInteger, integer);
        DDV_MinMaxInt(exchange, integer, std::numeric_limits<int>::min(), 5);
        DDX_Text(exchange, kUnsigned, number);
        DDV_MinMaxUInt(exchange, number, 1, ~0u - 1);
        DDX_Radio(exchange, kRadio, radio);
    }

  private:
    void OnRange(const Message& message) {
        clicked.push_back(LOWORD(message.wParam));
        if (onClick) onClick();
    }
    void OnEdit() { ++edits; }
};

void PressKey(WPARAM key) {
    PostMessageW(GetFocus(), WM_KEYDOWN, key, 0);
}

// Over the middle of its owner, wholly on the work area.
TEST(DialogTest, OpensOverItsOwner) {
    RECT area{};
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &area, 0);
    const POINT owners[] = {{area.right / 2 - 200, area.bottom / 2 - 200}, {-390, area.bottom - 10}};
    for (const POINT& at : owners) {
        const HWND owner = CreateWindowW(L"STATIC", L"", WS_POPUP | WS_VISIBLE, at.x, at.y, 400, 400, nullptr, nullptr,
                                         nullptr, nullptr);
        TestDialog dialog;
        dialog.owner = owner;
        dialog.Run({[&](HWND window) {
            RECT own{};
            GetWindowRect(window, &own);
            const LONG width = own.right - own.left, height = own.bottom - own.top;
            EXPECT_EQ(own.left, std::clamp(at.x + (400 - width) / 2, area.left, area.right - width));
            EXPECT_EQ(own.top, std::clamp(at.y + (400 - height) / 2, area.top, area.bottom - height));
        }});
        DestroyWindow(owner);
    }
}

TEST(DialogTest, EndsWithTheResultThatFits) {
    struct {
        const char* name;
        ModalScript::Step step;
        INT_PTR result;
    } const cases[] = {
        {"Enter", [](HWND) { PressKey(VK_RETURN); }, IDOK},
        {"Esc", [](HWND) { PressKey(VK_ESCAPE); }, IDCANCEL},
        {"handler", [](HWND window) { Ui::Click(window, kFirst); }, 4711},
    };
    for (const auto& [name, step, result] : cases) {
        SCOPED_TRACE(name);
        TestDialog dialog;
        dialog.onClick = [&] { dialog.EndDialog(4711); };
        EXPECT_EQ(dialog.Run({step, [](HWND) {}}), result);
        EXPECT_EQ(dialog.m_hWnd, nullptr);
    }
    EXPECT_EQ(CDialog().DoModal(), -1) << "no template";
}

// After one at the start the controls may show anything: there is no dialog.
TEST(DialogTest, AnExceptionLeavesTheDialogUsable) {
    for (const bool atStart : {true, false}) {
        SCOPED_TRACE(atStart);
        TestDialog dialog;
        (atStart ? dialog.onExchange : dialog.onClick) = [] { throw std::runtime_error("thrown by a handler"); };
        const auto click = [](WORD button) { return [=](HWND window) { Ui::Click(window, button); }; };
        EXPECT_EQ(dialog.Run({click(kFirst), click(kLast), [](HWND) { PressKey(VK_ESCAPE); }, [](HWND) {}}),
                  atStart ? -1 : IDCANCEL);
        EXPECT_EQ(dialog.clicked, atStart ? std::vector<WORD>() : (std::vector<WORD>{kFirst, kLast}));
    }
}

TEST(DialogTest, MessagesReachTheHandlersOfTheirRows) {
    TestDialog dialog;
    dialog.Run({[&](HWND window) {
        for (const WORD id : {kFirst, kLast, kOther}) Ui::Click(window, id);
        SendMessageW(window, WM_COMMAND, MAKEWPARAM(kLast, BN_SETFOCUS), 0);
        EXPECT_EQ(dialog.clicked, (std::vector<WORD>{kFirst, kLast}));
    }});
}

TEST(DataExchangeTest, MembersAndControlsTakeEachOthersValues) {
    TestDialog dialog;
    dialog.Run({[&](HWND window) {
        EXPECT_EQ(Ui::Text(window, kText) + Ui::Text(window, kInteger) + Ui::Text(window, kUnsigned), L"one-55");
        EXPECT_FALSE(IsDlgButtonChecked(window, kRadio));
        EXPECT_TRUE(IsDlgButtonChecked(window, kRadio2));
        CheckDlgButton(window, kOther, BST_CHECKED);
        dialog.edits = 0;
        dialog.radio = -1;
        EXPECT_TRUE(dialog.UpdateData(false));
        EXPECT_EQ(dialog.edits, 0) << "a text that is there already is not set again";
        EXPECT_FALSE(IsDlgButtonChecked(window, kRadio2));
        EXPECT_TRUE(IsDlgButtonChecked(window, kOther)) << "the next group is another's";
        CheckRadioButton(window, kRadio, kRadio2, kRadio2);
        for (const auto& [id, typed, taken] : {std::tuple{kText, L"abc", L"abc"},
                                               {kInteger, L" +5 ", L"5"},
                                               {kInteger, L"-2147483648", L"-2147483648"},
                                               {kUnsigned, L"4294967294", L"4294967294"},
                                               {kUnsigned, L"000000000000000000000000000001", L"1"}}) {
            Ui::Type(window, id, typed);
            EXPECT_TRUE(dialog.UpdateData());
            EXPECT_TRUE(dialog.UpdateData(false));
            EXPECT_EQ(Ui::Text(window, id), taken);
        }
        EXPECT_EQ(dialog.radio, 1);
    }});
}

TEST(DataExchangeTest, WhatDoesNotFitKeepsTheDialogOpen) {
    const wchar_t *const integer = L"Enter a whole number.", *const number = L"Enter a whole number, zero or greater.",
                         *const range = L"Enter a whole number between 1 and 4294967294.";
    struct {
        WORD id;
        const wchar_t *typed, *message;
        WORD language = LANG_ENGLISH;
    } const cases[] = {
        {kText, L"abcd", L"Enter no more than 3 characters."},
        {kInteger, L"12abc", integer},
        {kInteger, L"\x0661", integer},  // another script's digit
        {kInteger, L"-2147483649", integer},
        {kUnsigned, L"0", range},
        {kUnsigned, L"4294967296", number},
        {kInteger, L"6", L"Введите целое число от -2147483648 до 5.", LANG_RUSSIAN},
    };
    TestDialog dialog;
    std::vector<ModalScript::Step> steps;
    for (const auto& row : cases) {
        steps.emplace_back([&](HWND window) {
            SCOPED_TRACE(row.typed);
            SetThreadLocale(MAKELCID(MAKELANGID(row.language, SUBLANG_DEFAULT), SORT_DEFAULT));
            Ui::Type(window, row.id, row.typed);
            Ui::Click(window, IDOK);
            EXPECT_EQ(GetFocus(), dialog.GetDlgItem(row.id));
            Ui::Type(window, row.id, L"1");
        });
    }
    const LCID before = GetThreadLocale();
    EXPECT_EQ(dialog.Run(steps), kLeftOpen);
    SetThreadLocale(before);
    ASSERT_EQ(dialog.boxes.size(), std::size(cases));
    for (size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(dialog.boxes[i].text, cases[i].message) << i;
}

}  // namespace
