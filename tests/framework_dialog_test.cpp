// Modal dialogs: results, message tables, the exchange between controls and members, validation.

#include <limits>
#include <stdexcept>

#include "applet/services/Strings.h"
#include "framework/DataExchange.h"
#include "framework/Dialog.h"
#include "framework/Module.h"
#include "resources/resource.h"
#include "tests/support/ModalScript.h"

namespace {

constexpr UINT kText = IDC_TIMEOUT_USER_VALUE, kInteger = IDC_TIMEOUT_SYSTEM_VALUE,
               kUnsigned = IDC_TIMEOUT_USER_SECONDS, kFirst = IDC_TIMEOUT_USER_DEFAULT,
               kLast = IDC_TIMEOUT_USER_INFINITE, kOther = IDC_TIMEOUT_USER_SET;

class TestDialog : public CDialog {
  public:
    TestDialog() { InitModalIndirect(Module::Resource(kDialogType, IDD_TIMEOUT, kEnglish), {}); }
    // The steps run inside the dialog; one that is still open after them is cancelled.
    INT_PTR Run(std::vector<ModalScript::Step> steps, HWND owner = nullptr) {
        const ModalScript script(std::move(steps));
        const INT_PTR result = DoModal(owner);
        boxes = script.Boxes();
        return result;
    }

    std::wstring text = L"one";
    int integer = -5, edits = 0;
    UINT number = 5;
    std::function<void()> onExchange, onClick;
    std::vector<UINT> clicked;
    std::vector<std::wstring> boxes;

  protected:
    std::span<const Route> Routes() const override {
        static constexpr Route table[] = {
            on<&TestDialog::OnRange>({kFirst, kLast}, BN_CLICKED),
            on<&TestDialog::OnEdit>({kText, kInteger}, EN_CHANGE),
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
    }

  private:
    void OnRange(const Message& message) {
        clicked.push_back(LOWORD(message.wParam));
        if (onClick) onClick();
    }
    void OnEdit() { ++edits; }
};

TEST(DialogTest, OpensOverItsOwnerOnTheWorkArea) {
    RECT area{};
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &area, 0);
    for (const bool corner : {false, true}) {
        const LONG at = corner ? -390 : area.bottom / 2 - 200;
        const HWND owner =
            CreateWindowW(L"STATIC", L"", WS_POPUP | WS_VISIBLE, at, at, 400, 400, nullptr, nullptr, nullptr, nullptr);
        TestDialog().Run({[&](HWND window) {
                             RECT own{};
                             GetWindowRect(window, &own);
                             EXPECT_EQ(own.left, corner ? area.left : at + (400 - (own.right - own.left)) / 2);
                             EXPECT_EQ(own.top, corner ? area.top : at + (400 - (own.bottom - own.top)) / 2);
                         }},
                         owner);
        DestroyWindow(owner);
    }
}

// After one at the start the controls may show anything: there is no dialog.
TEST(DialogTest, AnExceptionLeavesTheDialogUsable) {
    const auto click = [](UINT button) { return [=](HWND window) { Ui::Click(window, button); }; };
    for (const bool atStart : {true, false}) {
        TestDialog dialog;
        (atStart ? dialog.onExchange : dialog.onClick) = [] { throw std::runtime_error("thrown by a handler"); };
        EXPECT_EQ(dialog.Run({click(kFirst), click(kOther), click(kLast)}), atStart ? -1 : IDCANCEL);
        EXPECT_EQ(dialog.clicked, atStart ? std::vector<UINT>() : (std::vector<UINT>{kFirst, kLast}));
    }
}

TEST(DataExchangeTest, MembersAndControlsTakeEachOthersValues) {
    TestDialog dialog;
    dialog.Run({[&](HWND window) {
        EXPECT_EQ(Ui::Text(window, kText) + Ui::Text(window, kInteger) + Ui::Text(window, kUnsigned), L"one-55");
        dialog.edits = 0;
        EXPECT_TRUE(dialog.UpdateData(false));
        EXPECT_EQ(dialog.edits, 0) << "a text that is there already is not set again";
        for (const auto& [id, typed, taken] : {std::tuple{kText, L"abc", L"abc"},
                                               {kInteger, L" +5 ", L"5"},
                                               {kInteger, L"-2147483648", L"-2147483648"},
                                               {kUnsigned, L"0000000000000000000004294967295", L"4294967295"}}) {
            Ui::Type(window, id, typed);
            EXPECT_TRUE(dialog.UpdateData());
            EXPECT_TRUE(dialog.UpdateData(false));
            EXPECT_EQ(Ui::Text(window, id), taken);
        }
    }});
}

TEST(DataExchangeTest, WhatDoesNotFitKeepsTheDialogOpen) {
    const wchar_t *const integer = L"Enter a whole number.", *const number = L"Enter a whole number, zero or greater.";
    const struct {
        UINT id;
        const wchar_t *typed, *message;
    } cases[] = {
        {kText, L"abcd", L"Enter no more than 3 characters."},
        {kInteger, L"12abc", integer},
        {kInteger, L"\x0661", integer},  // another script's digit
        {kInteger, L"-2147483649", integer},
        {kInteger, L"6", L"Enter a whole number between -2147483648 and 5."},
        {kUnsigned, L"4294967296", number},
    };
    SetThreadLocale(MAKELCID(MAKELANGID(LANG_ENGLISH, SUBLANG_DEFAULT), SORT_DEFAULT));
    for (const auto& row : cases) {
        SCOPED_TRACE(row.typed);
        TestDialog dialog;
        dialog.Run({[&](HWND window) {
            Ui::Type(window, row.id, row.typed);
            Ui::Click(window, IDOK);
            EXPECT_EQ(GetFocus(), dialog.GetDlgItem(row.id));
        }});
        EXPECT_EQ(dialog.boxes, std::vector<std::wstring>{row.message});
    }
}

}  // namespace
