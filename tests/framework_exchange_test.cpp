// Data exchange between a real dialog's controls and its object's members, and initialisation data.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <limits>

#include "framework/DataExchange.h"
#include "framework/DialogInit.h"
#include "tests/support/DialogRun.h"
#include "tests/support/TemplateBuilder.h"

namespace {

enum Id : WORD { kText = 10, kInteger, kUnsigned, kCheck, kRadio, kNoRadio, kRadio2, kRadio3, kOther, kCombo, kList };

const std::vector<BYTE>& Template() {
    constexpr DWORD radio = BS_AUTORADIOBUTTON;
    static const std::vector<BYTE> bytes = BuildTemplate(WS_POPUP | WS_CAPTION | WS_VISIBLE, L"Exchange",
                                                         {{L"EDIT", kText, WS_TABSTOP | ES_AUTOHSCROLL},
                                                          {L"EDIT", kInteger, WS_TABSTOP | ES_AUTOHSCROLL},
                                                          {L"EDIT", kUnsigned, WS_TABSTOP | ES_AUTOHSCROLL},
                                                          {L"BUTTON", kCheck, BS_AUTO3STATE | WS_TABSTOP},
                                                          {L"BUTTON", kRadio, radio | WS_GROUP | WS_TABSTOP},
                                                          {L"STATIC", kNoRadio, 0},
                                                          {L"BUTTON", kRadio2, radio},
                                                          {L"BUTTON", kRadio3, radio},
                                                          {L"BUTTON", kOther, radio | WS_GROUP},
                                                          {L"COMBOBOX", kCombo, CBS_DROPDOWNLIST},
                                                          {L"LISTBOX", kList, 0}});
    return bytes;
}

// Entries of initialisation data as resources hold them.
class InitData {
  public:
    InitData& Add(WORD control, WORD message, const std::string& bytes, DWORD lengthMore = 0) {
        Put(control), Put(message), Put(static_cast<DWORD>(bytes.size()) + lengthMore);
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    InitData& AddText(WORD control, WORD message, const std::string& text) {
        return Add(control, message, text + '\0');
    }
    std::vector<BYTE> End() {
        Put(WORD{0});
        return bytes_;
    }

  private:
    template <class Number>
    void Put(Number number) {
        const auto* from = reinterpret_cast<const BYTE*>(&number);
        bytes_.insert(bytes_.end(), from, from + sizeof number);
    }
    std::vector<BYTE> bytes_;
};

constexpr WORD kAddToList = 0x401, kAddToCombo = 0x403;

class ExchangeDialog : public CDialog {
  public:
    ExchangeDialog() { InitModalIndirect(Template(), init_); }

    std::wstring text = L"one";
    int integer = -5;
    UINT number = 5;
    int check = BST_INDETERMINATE, radio = 1, combo = 2;
    int edits = 0;                                 // EN_CHANGE seen
    std::function<void(CDataExchange*)> exchange;  // instead of the whole exchange
    std::vector<std::wstring> told;                // id and inserts of what the user was told

    std::wstring LoadText(UINT id) const override { return std::to_wstring(id) + L" %1 %2"; }
    int ShowMessage(const std::wstring& message, UINT) override {
        told.push_back(message);
        ::SetFocus(GetDlgItem(kCheck));  // as a message box takes it
        return IDOK;
    }

  protected:
    void DoDataExchange(CDataExchange* exchanged) override {
        if (exchange) return exchange(exchanged);
        DDX_Text(exchanged, kText, text);
        DDX_Text(exchanged, kInteger, integer);
        DDX_Text(exchanged, kUnsigned, number);
        DDX_Check(exchanged, kCheck, check);
        DDX_Radio(exchanged, kRadio, radio);
        DDX_CBIndex(exchanged, kCombo, combo);
    }
    std::span<const Route> Routes() const override {
        static constexpr Route table[] = {on<&ExchangeDialog::OnEdit>({kText, kUnsigned}, EN_CHANGE)};
        return table;
    }

  private:
    void OnEdit() { ++edits; }

    std::vector<BYTE> init_ = InitData()
                                  .AddText(kCombo, kAddToCombo, "a")
                                  .AddText(kCombo, kAddToCombo, "b")
                                  .AddText(kCombo, kAddToCombo, "c")
                                  .End();
};

bool Checked(HWND window, UINT id) {
    return IsDlgButtonChecked(window, static_cast<int>(id)) == BST_CHECKED;
}

TEST(DataExchangeTest, MembersGoIntoControls) {
    ExchangeDialog dialog;
    RunDialog(dialog, {[&](HWND window) {
                  EXPECT_EQ(Ui::Text(window, kText), L"one");
                  EXPECT_EQ(Ui::Text(window, kInteger), L"-5");
                  EXPECT_EQ(Ui::Text(window, kUnsigned), L"5");
                  EXPECT_EQ(IsDlgButtonChecked(window, kCheck), unsigned{BST_INDETERMINATE});
                  EXPECT_TRUE(!Checked(window, kRadio) && Checked(window, kRadio2) && !Checked(window, kRadio3));
                  EXPECT_EQ(Ui::Selected(window, kCombo), 2);

                  CheckDlgButton(window, kOther, BST_CHECKED);
                  dialog.edits = 0;
                  dialog.text = L"";
                  dialog.number = ~0u;
                  dialog.radio = dialog.combo = -1;
                  EXPECT_TRUE(dialog.UpdateData(false));
                  EXPECT_EQ(dialog.edits, 2) << "a text that is there already is not set again";
                  EXPECT_EQ(Ui::Text(window, kText), L"");
                  EXPECT_EQ(Ui::Text(window, kUnsigned), L"4294967295");
                  EXPECT_FALSE(Checked(window, kRadio) || Checked(window, kRadio2) || Checked(window, kRadio3));
                  EXPECT_TRUE(Checked(window, kOther)) << "the next group is another's";
                  EXPECT_EQ(Ui::Selected(window, kCombo), -1);
              }});
}

TEST(DataExchangeTest, ControlsGoIntoMembers) {
    ExchangeDialog dialog;
    RunDialog(dialog, {[&](HWND window) {
                  Ui::Type(window, kText, L" two ");
                  Ui::Type(window, kInteger, L"-2147483648");
                  CheckDlgButton(window, kCheck, BST_CHECKED);
                  CheckRadioButton(window, kRadio, kRadio3, kRadio3);
                  CheckDlgButton(window, kOther, BST_CHECKED);
                  Ui::Select(window, kCombo, 0);
                  EXPECT_TRUE(dialog.UpdateData());
                  EXPECT_EQ(dialog.text, L" two ");
                  EXPECT_EQ(dialog.integer, std::numeric_limits<int>::min());
                  EXPECT_EQ(dialog.check, BST_CHECKED);
                  EXPECT_EQ(dialog.radio, 2);
                  EXPECT_EQ(dialog.combo, 0);

                  CheckDlgButton(window, kRadio3, BST_UNCHECKED);
                  Ui::Select(window, kCombo, -1);
                  EXPECT_TRUE(dialog.UpdateData());
                  EXPECT_EQ(dialog.radio, -1);
                  EXPECT_EQ(dialog.combo, -1);
              }});
    EXPECT_TRUE(dialog.told.empty());
}

// The text in the edit `id` is refused with this message, leaving the edit focused with its text selected; or is taken.
void ExpectAnswer(ExchangeDialog& dialog, HWND window, UINT id, const wchar_t* typed, const std::wstring& message) {
    dialog.told.clear();
    Ui::Type(window, id, typed);
    EXPECT_EQ(dialog.UpdateData(), message.empty());
    EXPECT_EQ(dialog.told, message.empty() ? std::vector<std::wstring>{} : std::vector{message});
    if (message.empty()) return;
    EXPECT_EQ(GetFocus(), dialog.GetDlgItem(id));
    const auto selected = SendDlgItemMessageW(window, static_cast<int>(id), EM_GETSEL, 0, 0);
    EXPECT_EQ(LOWORD(selected), 0);
    EXPECT_EQ(HIWORD(selected), wcslen(typed));
}

TEST(DataExchangeTest, OnlyWholeNumbersInRangeAreTaken) {
    constexpr long long no = -1000;
    struct {
        const wchar_t* typed;
        long long integer, number;  // `no`: refused
    } const cases[] = {
        {L"", no, no},
        {L"abc", no, no},
        {L"12abc", no, no},
        {L"1 2", no, no},
        {L"-", no, no},
        {L"\x0661", no, no},
        {L" 7 ", 7, 7},
        {L"+7", 7, 7},
        {L"-1", -1, no},
        {L"2147483647", 2147483647, 2147483647},
        {L"2147483648", no, 2147483648},
        {L"-2147483648", -2147483648LL, no},
        {L"-2147483649", no, no},
        {L"4294967295", no, 4294967295},
        {L"4294967296", no, no},
        {L"18446744073709551617", no, no},
        {L"-18446744073709551617", no, no},
        {L"123456789012345678901234567890", no, no},
        {L"000000000000000000000000000007", 7, 7},
    };
    ExchangeDialog dialog;
    RunDialog(dialog, {[&](HWND window) {
                  for (const auto& [typed, integer, number] : cases) {
                      SCOPED_TRACE(typed);
                      dialog.integer = 1;
                      dialog.number = 1;
                      dialog.exchange = [&](CDataExchange* exchange) { DDX_Text(exchange, kInteger, dialog.integer); };
                      ExpectAnswer(dialog, window, kInteger, typed, integer == no ? L"61712  " : L"");
                      EXPECT_EQ(dialog.integer, integer == no ? 1 : integer);
                      dialog.exchange = [&](CDataExchange* exchange) { DDX_Text(exchange, kUnsigned, dialog.number); };
                      ExpectAnswer(dialog, window, kUnsigned, typed, number == no ? L"61719  " : L"");
                      EXPECT_EQ(dialog.number, number == no ? 1 : number);
                  }
              }});
}

TEST(DataExchangeTest, RangesAndLengthsHoldAtTheirBounds) {
    ExchangeDialog dialog;
    const auto integers = [&](CDataExchange* exchange) {
        DDX_Text(exchange, kInteger, dialog.integer);
        DDV_MinMaxInt(exchange, dialog.integer, -5, 5);
    };
    const auto numbers = [&](CDataExchange* exchange) {
        DDX_Text(exchange, kUnsigned, dialog.number);
        DDV_MinMaxUInt(exchange, dialog.number, 1, 4294967294);
    };
    const auto texts = [&](CDataExchange* exchange) {
        DDX_Text(exchange, kText, dialog.text);
        DDV_MaxChars(exchange, dialog.text, 3);
    };
    struct {
        std::function<void(CDataExchange*)> exchange;
        UINT id;
        const wchar_t *typed, *message;
    } const cases[] = {
        {integers, kInteger, L"-6", L"61714 -5 5"},
        {integers, kInteger, L"-5", L""},
        {integers, kInteger, L"5", L""},
        {integers, kInteger, L"6", L"61714 -5 5"},
        {numbers, kUnsigned, L"0", L"61714 1 4294967294"},
        {numbers, kUnsigned, L"1", L""},
        {numbers, kUnsigned, L"4294967294", L""},
        {numbers, kUnsigned, L"4294967295", L"61714 1 4294967294"},
        {texts, kText, L"", L""},
        {texts, kText, L"abc", L""},
        {texts, kText, L"abcd", L"61716 3 "},
    };
    RunDialog(dialog, {[&](HWND window) {
                  for (const auto& [exchange, id, typed, message] : cases) {
                      SCOPED_TRACE(typed);
                      dialog.exchange = exchange;
                      ExpectAnswer(dialog, window, id, typed, message);
                  }
                  dialog.text = L"abcd";
                  EXPECT_TRUE(dialog.UpdateData(false)) << "what members hold is shown unasked";
              }});
}

TEST(DataExchangeTest, AFailureEndsTheExchange) {
    ExchangeDialog dialog;
    RunDialog(dialog, {[&](HWND window) {
                  Ui::Type(window, kText, L"two");
                  Ui::Type(window, kInteger, L"x");
                  Ui::Type(window, kUnsigned, L"y");
                  EXPECT_FALSE(dialog.UpdateData());
              }});
    EXPECT_EQ(dialog.told.size(), 1u);
    EXPECT_EQ(dialog.text, L"two");
    EXPECT_EQ(dialog.number, 5u);
}

class PlainDialog : public CDialog {
  public:
    PlainDialog() { InitModalIndirect(Template()); }
    int value = 1;

  protected:
    void DoDataExchange(CDataExchange* exchange) override {
        DDX_Text(exchange, kInteger, value);
        DDV_MinMaxInt(exchange, value, 1, 65535);
    }
};

TEST(DataExchangeTest, MessagesComeFromTheModuleInTheThreadsLanguage) {
    const LCID before = GetThreadLocale();
    struct {
        WORD language;
        const wchar_t* text;
    } const cases[] = {
        {MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), L"Enter a whole number between 1 and 65535."},
        {MAKELANGID(LANG_RUSSIAN, SUBLANG_DEFAULT), L"Введите целое число от 1 до 65535."},
    };
    for (const auto& [language, text] : cases) {
        SetThreadLocale(MAKELCID(language, SORT_DEFAULT));
        PlainDialog dialog;
        HWND window = nullptr;
        std::vector<ShownBox> boxes;
        RunDialog(dialog, {[&](HWND shown) {
                      window = shown;
                      Ui::Type(shown, kInteger, L"0");
                      EXPECT_FALSE(dialog.UpdateData());
                      EXPECT_EQ(GetFocus(), GetDlgItem(shown, kInteger));
                  }},
                  &boxes);
        ASSERT_EQ(boxes.size(), 1u);
        EXPECT_EQ(boxes[0].text, text);
        EXPECT_EQ(boxes[0].caption, L"Exchange");
        EXPECT_EQ(boxes[0].owner, window);
    }
    SetThreadLocale(before);
}

// Bytes that end where the next page begins, which can't be read.
class GuardedBytes {
  public:
    explicit GuardedBytes(std::span<const BYTE> bytes) : size_(bytes.size()) {
        pages_ = static_cast<BYTE*>(VirtualAlloc(nullptr, 2 * kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
        DWORD before = 0;
        VirtualProtect(pages_ + kPage, kPage, PAGE_NOACCESS, &before);
        if (size_ > 0) std::memcpy(pages_ + kPage - size_, bytes.data(), size_);
    }
    ~GuardedBytes() { VirtualFree(pages_, 0, MEM_RELEASE); }
    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;

    std::span<const BYTE> Get() const { return {pages_ + kPage - size_, size_}; }

  private:
    static constexpr size_t kPage = 4096;
    size_t size_;
    BYTE* pages_ = nullptr;
};

TEST(DialogInitTest, EntriesFillTheirControlsUpToTheFirstBadOne) {
    const std::vector<BYTE> good = InitData()
                                       .AddText(kCombo, kAddToCombo, "a")
                                       .AddText(kList, kAddToList, "")
                                       .AddText(kList, kAddToList, "b")
                                       .End();
    struct Case {
        std::vector<BYTE> data;
        bool whole;
        int combo, list;  // items added
    };
    std::vector<Case> cases = {
        {good, true, 1, 2},
        {{0, 0}, true, 0, 0},
        {InitData().AddText(kCombo, kAddToCombo, "a").AddText(kCombo, CB_RESETCONTENT, "b").End(), true, 1, 0},
        {InitData().Add(kCombo, kAddToCombo, "a").End(), false, 0, 0},
        {InitData().Add(kCombo, kAddToCombo, "").End(), false, 0, 0},
        {InitData().AddText(kList, kAddToList, "a").Add(kCombo, kAddToCombo, std::string("b\0", 2), 3).End(), false, 0,
         1},
        {InitData().Add(kCombo, kAddToCombo, std::string("b\0", 2), ~DWORD{2}).End(), false, 0, 0},
        {InitData().Add(kCombo, CB_RESETCONTENT, "a", 100).End(), false, 0, 0},
    };
    const size_t combo = 8 + 2, list = combo + 8 + 1, last = list + 8 + 2;  // where the good data's entries end
    for (size_t length = 0; length < good.size(); ++length) {
        cases.push_back({{good.begin(), good.begin() + static_cast<ptrdiff_t>(length)},
                         false,
                         length >= combo,
                         (length >= list) + (length >= last)});
    }
    PlainDialog dialog;
    RunDialog(dialog, {[&](HWND window) {
                  for (size_t i = 0; i < cases.size(); ++i) {
                      SCOPED_TRACE(i);
                      SendDlgItemMessageW(window, kCombo, CB_RESETCONTENT, 0, 0);
                      SendDlgItemMessageW(window, kList, LB_RESETCONTENT, 0, 0);
                      const GuardedBytes data(cases[i].data);
                      EXPECT_EQ(ApplyDialogInit(window, data.Get()), cases[i].whole);
                      EXPECT_EQ(SendDlgItemMessageW(window, kCombo, CB_GETCOUNT, 0, 0), cases[i].combo);
                      EXPECT_EQ(SendDlgItemMessageW(window, kList, LB_GETCOUNT, 0, 0), cases[i].list);
                  }
              }});
}

}  // namespace
