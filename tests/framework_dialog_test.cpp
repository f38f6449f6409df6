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

enum Id : WORD { kText = 10, kInteger, kUnsigned, kCheck, kRadio, kNoRadio, kRadio2, kOther, kCombo, kFirst, kLast };

constexpr BYTE kTwoItems[] = {kCombo, 0, 3, 4, 2, 0, 0, 0, 'a', 0, kCombo, 0, 3, 4, 2, 0, 0, 0, 'b', 0, 0, 0};

constexpr UINT kNotification = 1000;
constexpr INT_PTR kLeftOpen = -77;  // no dialog ends with it by itself

class TestDialog : public CDialog {
  public:
    TestDialog() {
        static const std::vector<BYTE> bytes = BuildTemplate(WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_VISIBLE,
                                                             {{kEditClass, kText, WS_TABSTOP | ES_AUTOHSCROLL},
                                                              {kEditClass, kInteger, ES_AUTOHSCROLL},
                                                              {kEditClass, kUnsigned, ES_AUTOHSCROLL},
                                                              {kButtonClass, kCheck, BS_AUTO3STATE},
                                                              {kButtonClass, kRadio, BS_AUTORADIOBUTTON | WS_GROUP},
                                                              {kStaticClass, kNoRadio, 0},
                                                              {kButtonClass, kRadio2, BS_AUTORADIOBUTTON},
                                                              {kButtonClass, kOther, BS_AUTORADIOBUTTON | WS_GROUP},
                                                              {kComboClass, kCombo, CBS_DROPDOWNLIST},
                                                              {kButtonClass, kFirst, WS_GROUP},
                                                              {kButtonClass, kLast, 0},
                                                              {kButtonClass, IDOK, BS_DEFPUSHBUTTON}});
        InitModalIndirect(bytes, kTwoItems);
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
    int integer = -5, radio = 1, combo = 1;
    bool check = true;
    UINT number = 5;
    std::function<void()> onExchange, onClick;
    std::vector<WORD> clicked;
    std::vector<ShownBox> boxes;
    int edits = 0, notified = 0;
    HWND owner = nullptr;

  protected:
    std::span<const Route> Routes() const override {
        static constexpr Route table[] = {
            on<&TestDialog::OnRange>({kFirst, kLast}, BN_CLICKED),
            on<&TestDialog::OnEdit>({kText, kUnsigned}, EN_CHANGE),
            onNotify<&TestDialog::OnNotify>({kFirst, kLast}, kNotification),
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
        DDX_Check(exchange, kCheck, check);
        DDX_Radio(exchange, kRadio, radio);
        DDX_CBIndex(exchange, kCombo, combo);
    }

  private:
    void OnRange(const Message& message) {
        clicked.push_back(LOWORD(message.wParam));
        if (onClick) onClick();
    }
    void OnEdit() { ++edits; }
    LRESULT OnNotify(const Message&) { return ++notified; }
};

void PressKey(WPARAM key) {
    PostMessageW(GetFocus(), WM_KEYDOWN, key, 0);
}

// Over the middle of its owner, wholly on the work area.
TEST(DialogTest, OpensOverItsOwner) {
    RECT area{};
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &area, 0);
    const POINT owners[] = {
        {area.right / 2 - 200, area.bottom / 2 - 200}, {-390, -390}, {area.right - 10, area.bottom - 10}};
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
        {"close", [](HWND window) { SendMessageW(window, WM_CLOSE, 0, 0); }, IDCANCEL},
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

        const auto notify = [&](WORD id, UINT code) {
            const NMHDR header{GetDlgItem(window, id), id, code};
            return SendMessageW(window, WM_NOTIFY, id, reinterpret_cast<LPARAM>(&header));
        };
        EXPECT_EQ(notify(kLast, kNotification), 1);
        EXPECT_EQ(notify(kOther, kNotification) + notify(kFirst, kNotification + 1), 0);
    }});
}

TEST(DataExchangeTest, MembersAndControlsTakeEachOthersValues) {
    TestDialog dialog;
    dialog.Run({[&](HWND window) {
        const auto checked = [&](int id) { return IsDlgButtonChecked(window, id); };
        EXPECT_EQ(Ui::Text(window, kText) + Ui::Text(window, kInteger) + Ui::Text(window, kUnsigned), L"one-55");
        EXPECT_EQ(checked(kCheck), unsigned{BST_CHECKED});
        EXPECT_TRUE(!checked(kRadio) && checked(kRadio2));
        EXPECT_EQ(Ui::Selected(window, kCombo), 1);

        CheckDlgButton(window, kOther, BST_CHECKED);
        dialog.edits = 0;
        dialog.text = L"beyond bounds";  // what members hold is shown unasked
        dialog.radio = dialog.combo = -1;
        EXPECT_TRUE(dialog.UpdateData(false));
        EXPECT_EQ(dialog.edits, 1) << "a text that is there already is not set again";
        EXPECT_EQ(Ui::Text(window, kText), L"beyond bounds");
        EXPECT_FALSE(checked(kRadio) || checked(kRadio2));
        EXPECT_TRUE(checked(kOther)) << "the next group is another's";
        EXPECT_EQ(Ui::Selected(window, kCombo), -1);

        Ui::Type(window, kText, L" 2 ");
        Ui::Type(window, kUnsigned, L"7");
        CheckDlgButton(window, kCheck, BST_UNCHECKED);
        EXPECT_TRUE(dialog.UpdateData());
        EXPECT_EQ(std::tuple(dialog.text, dialog.number, dialog.check, dialog.radio, dialog.combo),
                  std::tuple(L" 2 ", 7u, false, -1, -1));
        CheckRadioButton(window, kRadio, kRadio2, kRadio2);
        Ui::Select(window, kCombo, 0);
        EXPECT_TRUE(dialog.UpdateData());
        EXPECT_EQ(std::tuple(dialog.radio, dialog.combo), std::tuple(1, 0));

        for (const auto& [id, typed, taken] : {std::tuple{kText, L"abc", L"abc"},
                                               {kInteger, L" +5 ", L"5"},
                                               {kInteger, L"-2147483648", L"-2147483648"},
                                               {kUnsigned, L"4294967294", L"4294967294"},
                                               {kUnsigned, L"000000000000000000000000000001", L"1"}}) {
            Ui::Type(window, id, typed);
            EXPECT_TRUE(dialog.UpdateData() && dialog.UpdateData(false));
            EXPECT_EQ(Ui::Text(window, id), taken);
        }
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
        {kInteger, L"-", integer},
        {kInteger, L"\x0661", integer},  // another script's digit
        {kInteger, L"2147483648", integer},
        {kInteger, L"-2147483649", integer},
        {kUnsigned, L"-1", number},
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
            dialog.SetWindowText(L"caption");
            Ui::Select(window, kCombo, 0);
            Ui::Type(window, row.id, row.typed);
            Ui::Click(window, IDOK);
            EXPECT_EQ(GetFocus(), dialog.GetDlgItem(row.id));
            EXPECT_EQ(SendDlgItemMessageW(window, row.id, EM_GETSEL, 0, 0), MAKELONG(0, wcslen(row.typed)));
            EXPECT_EQ(dialog.combo, 1) << "the exchange has ended at the edit";
            Ui::Type(window, row.id, L"1");
        });
    }
    const LCID before = GetThreadLocale();
    EXPECT_EQ(dialog.Run(steps), kLeftOpen);
    SetThreadLocale(before);
    ASSERT_EQ(dialog.boxes.size(), std::size(cases));
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(dialog.boxes[i].text, cases[i].message) << i;
        EXPECT_EQ(dialog.boxes[i].caption, L"caption");
    }
}

}  // namespace
