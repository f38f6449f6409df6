// What settings pages are made of: the page itself, its links, its combo boxes of provider parameters.
#include "applet/services/ParameterEntry.h"
#include "applet/services/PropPageConfigBase.h"
#include "applet/services/StaticLink.h"
#include "framework/DataExchange.h"
#include "pages/PropPageConfigCSPOID.h"
#include "tests/support/SettingsPage.h"
#include "tests/support/Shell.h"

namespace {

struct Page : CPropPageConfigBase {
    Page() : CPropPageConfigBase(IDD_SERVICE) {}
    SaveResult SavePage() override { return ++saves, SaveResult::Saved; }
    void DoDataExchange(CDataExchange* exchange) override {
        if (exchange->m_bSaveAndValidate) exchange->Fail(FrameworkText::kEnterUnsigned);
    }
    using CPropPageConfigBase::RebootSystem;

    int saves = 0;
};

struct ConfigPage : SettingsTest {};

TEST_F(ConfigPage, InvalidValuesAreReportedAndNotSaved) {
    Page page;
    RunPage(page, {[&](HWND sheet) {
                       page.SetModified();
                       Ui::Press(sheet, PSBTN_OK);
                   },
                   Modified(true)});
    EXPECT_EQ(page.saves, 0);
    EXPECT_EQ(boxes, Texts{L"Enter a whole number, zero or greater."});
    EXPECT_EQ(ShownBoxes::caption, L"Vestra CSP Properties");
}

TEST_F(ConfigPage, EveryStepOfTheRestartCanFail) {
    bool restarted = false;
    const auto restart = [&] {
        restarted = false;
        restarted = Page().RebootSystem();
    };
    FaultInjection().Survive("restart", restart, [&](const Fault& fault) {
        return restarted == (fault.point == Fault::kNone) ? "" : "restarts although a step failed";
    });
    for (const wchar_t* refused : {L"privilege", L"exit"}) {
        Restart::refused = refused;
        EXPECT_FALSE(Page().RebootSystem()) << testing::PrintToString(refused);
    }
}

constexpr UINT kNoString = 60000;  // an id of no string

// A control by itself.
HWND Control(const wchar_t* name, DWORD style, UINT id) {
    return CreateWindowExW(0, name, L"own text", WS_CHILD | style, 0, 0, 90, 90, GetDesktopWindow(),
                           reinterpret_cast<HMENU>(UINT_PTR{id}), nullptr, nullptr);
}

int beeps;

BOOL WINAPI Beep(UINT) {
    return ++beeps;
}

COLORREF Color(const CStaticLink& link) {
    const HDC context = CreateCompatibleDC(nullptr);
    link.SendMessage(kReflected + WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(context));
    const COLORREF color = GetTextColor(context);
    DeleteDC(context);
    return color;
}

// Without a target the string of the control's id is opened, else its own text.
TEST(StaticLink, OpensItsTargetOrBeeps) {
    const Shell shell;
    const ImportPatch beep(nullptr, "MessageBeep", &Beep);
    const SpokenLanguage english(kEnglish);
    wchar_t system[MAX_PATH] = L"";
    GetSystemDirectoryW(system, MAX_PATH);
    const struct {
        const wchar_t* target;
        bool asked;  // the shell is
        INT_PTR result = 33;
        UINT id = kNoString;
        const wchar_t* text = L"none";
    } cases[] = {{L"https://example.org/?a=%1", true},
                 {L"HTTP://example.org", true, 32},
                 {L"mailto:a@example.org", true},
                 {L"C:\\windows\\system32\\kernel32.dll", true},
                 {L"C:\\windows\\system32", false},
                 {L"kernel32.dll", false},
                 {L"file:///C:/windows/system32/kernel32.dll", false},
                 {L"", false, 33, IDS_COLUMN_NAME, L"https://example.org"},
                 {L"", true, 33, kNoString, L"https://example.org"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.target));
        Shell::result = c.result;
        Shell::opened.clear();
        beeps = 0;
        CStaticLink link;
        link.SubclassWindow(Control(L"STATIC", SS_LEFT, c.id));
        link.SetWindowText(c.text);
        link.SetTarget(c.target);
        EXPECT_EQ(Color(link), RGB(0, 0, 255));
        EXPECT_EQ(link.SendMessage(WM_NCHITTEST), HTCLIENT) << "the mouse is let through";
        link.SendMessage(WM_LBUTTONDOWN);
        ASSERT_EQ(Shell::opened.size(), c.asked ? 1u : 0u);
        for (const auto& request : Shell::opened) {
            EXPECT_EQ(request.file, *c.target ? c.target : c.text);
            EXPECT_EQ(request.directory, system);
        }
        const bool visited = c.asked && c.result > 32;
        EXPECT_EQ(beeps, visited ? 0 : 1);
        EXPECT_EQ(Color(link), visited ? RGB(128, 0, 128) : RGB(0, 0, 255));
    }
}

using Bytes = std::vector<BYTE>;
constexpr DWORD kList = 103, kValue = 92;

// An entry of a one-letter name and a value of its own before it.
Bytes Entry(char name, BYTE value) {
    return {5, 0, 1, 0, value, static_cast<BYTE>(name), 0, 0, 0};
}

struct Provider {
    std::vector<Bytes> entries;
    Bytes value;
    int failingCall = 0;   // from 1; 0: none
    bool endless = false;  // the list begins anew
    DWORD claimed = 0;     // not 0: the length that the value is said to have
    size_t next = 0;       // the entry that the list goes on with
    int calls = 0;
    std::vector<Bytes> written = {};
} provider;

BOOL WINAPI GetParameter(HCRYPTPROV, DWORD parameter, BYTE* data, DWORD* length, DWORD flags) {
    if (++provider.calls == provider.failingCall) return FALSE;
    const Bytes* bytes = &provider.value;
    if (parameter == kList) {
        if (flags & CRYPT_FIRST || (provider.endless && provider.next == provider.entries.size())) provider.next = 0;
        if (provider.next == provider.entries.size()) return FALSE;
        bytes = &provider.entries[provider.next];
        provider.next += data != nullptr;
    }
    if (data) std::copy(bytes->begin(), bytes->end(), data);
    *length = parameter == kValue && provider.claimed ? provider.claimed : static_cast<DWORD>(bytes->size());
    return TRUE;
}

BOOL WINAPI SetParameter(HCRYPTPROV, DWORD, const BYTE* data, DWORD) {
    provider.written.emplace_back(data, data + provider.value.size());  // a provider knows a value's length
    return TRUE;
}

class ComboParam : public testing::Test {
  protected:
    // Sorted, so that positions in the list aren't those of the entries.
    ComboParam() { combo.SubclassWindow(Control(L"COMBOBOX", CBS_DROPDOWNLIST | CBS_SORT, kNoString)); }
    void Attach(const Provider& to) {
        provider = to;
        combo.Attach(77);
        EXPECT_FALSE(combo.IsModified());
    }

    ImportPatch get{nullptr, "CryptGetProvParam", &GetParameter}, set{nullptr, "CryptSetProvParam", &SetParameter};
    SpokenLanguage english{kEnglish};
    CComboParam combo{AlgorithmKind{"", kList, kValue}};
};

TEST_F(ComboParam, SelectsTheLastEntryThatEqualsTheValueAndSavesAnotherOnce) {
    const Bytes twice = Entry('b', 1), byId = {IDS_SAVE_FAILED, 0, 0, 0, 1, 2, 3, 4, 5}, unnamed = {0, 0, 0, 0};
    Attach({{twice, byId, unnamed, twice, Entry('a', 9)}, twice});
    EXPECT_EQ(combo.GetCount(), 4);
    EXPECT_EQ(combo.GetCurSel(), 2);
    combo.Save();
    for (const auto& [item, text] : {std::pair{3, L"Error saving parameters."}, {2, L"b"}, {0, L"a"}}) {
        combo.SetCurSel(item);
        EXPECT_EQ(combo.GetWindowText(), text);
        EXPECT_EQ(combo.IsModified(), item != 2);
    }
    for (int times = 0; times < 2; ++times) combo.Save();
    EXPECT_EQ(provider.written, std::vector<Bytes>{Entry('a', 9)});
    Attach({{Entry('a', 1), twice}, {}});  // no value in the list
    EXPECT_EQ(combo.GetCurSel(), 0);
}

// Two calls an entry and one that finds the list's end, then two for the value.
TEST_F(ComboParam, DisabledAfterAFailureAndBounded) {
    const Bytes entry = Entry('a', 1);
    const struct {
        Provider provider;
        int count;
        bool usable;
    } cases[] = {{{{entry, Entry('b', 2)}, entry, 1}, 0, false}, {{{entry, Entry('b', 2)}, entry, 3}, 1, true},
                 {{{entry, Entry('b', 2)}, entry, 6}, 2, false}, {{{entry, {}, entry}, entry}, 1, true},
                 {{{entry}, entry, 0, true}, 1000, true},        {{{entry}, entry, 0, false, 0xFFFFFFFF}, 1, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        Attach(c.provider);
        EXPECT_EQ(combo.GetCount(), c.count);
        EXPECT_EQ(IsWindowEnabled(combo.m_hWnd) != FALSE, c.usable);
    }
}

TEST(ParameterEntry, NamesAreReadFromTheBytesThereAre) {
    const std::pair<Bytes, std::u16string> cases[] = {{{103, 0, 0}, u""},
                                                      {{4, 0, 1, 0, 0, 0, 'A', 0}, u""},
                                                      {{0xFF, 0xFF, 0xFF, 0xFF, 'A', 0}, u""},
                                                      {{5, 0, 1, 0, 7, 'A', 0, 0x11, 0x04, 0, 0, 'x', 0}, u"AБ"},
                                                      {{4, 0, 1, 0, 'A', 0, 'B'}, u"A"}};
    for (const auto& [entry, text] : cases) {
        ParameterName name;
        EXPECT_EQ(ReadParameterName(entry.data(), entry.size(), name), !text.empty()) << entry.size();
        EXPECT_EQ(name.text, text);
    }
}

}  // namespace
