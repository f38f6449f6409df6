// What settings pages are made of: the page itself, its links, its combo boxes of provider parameters.
#include <windows.h>
#include <prsht.h>
#include <wincrypt.h>

#include <gtest/gtest.h>

#include "applet/services/ParameterEntry.h"
#include "applet/services/PropPageConfigBase.h"
#include "applet/services/StaticLink.h"
#include "framework/DataExchange.h"
#include "framework/PropertySheet.h"
#include "pages/PropPageConfigCSPOID.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/ModalScript.h"
#include "tests/support/Services.h"
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

TEST(ConfigPage, InvalidValuesAreToldAndNotSaved) {
    const SpokenLanguage english(kEnglish);
    Page page;
    CPropertySheet sheet;
    sheet.AddPage(page);
    HWND owner = nullptr;
    ModalScript script({[&](HWND window) {
                            owner = window;
                            page.SetModified();
                            Ui::Press(window, PSBTN_OK);
                        },
                        [](HWND window) { EXPECT_TRUE(Ui::ApplyEnabled(window)); }});
    EXPECT_EQ(sheet.DoModal(), IDCANCEL);
    EXPECT_EQ(page.saves, 0);
    const ShownBox& box = script.Boxes().at(0);
    EXPECT_EQ(box.text, L"Enter a whole number, zero or greater.");
    EXPECT_EQ(script.Boxes().size(), 1u);
    EXPECT_EQ(box.caption, L"Vestra CSP Properties");
    EXPECT_EQ(box.owner, owner);
}

BOOL WINAPI Refuse() {  // in any call's place
    return FALSE;
}

TEST(ConfigPage, EveryStepOfTheRestartCanFailAndTheTokenIsClosed) {
    const auto restarts = [] {
        const bool restarted = Page().RebootSystem();
        DWORD flags = 0;
        EXPECT_FALSE(Restart::token && GetHandleInformation(Restart::token, &flags)) << "the token stays open";
        return restarted;
    };
    const Restart restart;
    EXPECT_TRUE(restarts());
    EXPECT_EQ(Restart::calls, 11);
    for (const char* function : {"OpenProcessToken", "LookupPrivilegeValueW", "AdjustTokenPrivileges"}) {
        const ImportPatch refused(nullptr, function, &Refuse);
        EXPECT_FALSE(restarts()) << function;
    }
    EXPECT_EQ(Restart::calls, 11) << "restarted without the privilege";
    for (const wchar_t* refused : {L"privilege", L"exit"}) {
        Restart::refused = refused;
        EXPECT_FALSE(restarts()) << testing::PrintToString(refused);
    }
    EXPECT_EQ(Restart::calls, 32) << "the privilege twice, and one restart";
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
    } cases[] = {{L"https://example.org/?a=%1", true},
                 {L"HTTP://example.org", true, 32},
                 {L"mailto:a@example.org", true},
                 {L"C:\\windows\\system32\\kernel32.dll", true},
                 {L"C:\\windows\\system32", false},
                 {L"C:\\no such file.txt", false},
                 {L"kernel32.dll", false},
                 {L"file:///C:/windows/system32/kernel32.dll", false},
                 {L"https", false},
                 {L"", false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.target));
        const bool visited = c.asked && c.result > 32;
        Shell::result = c.result;
        Shell::opened.clear();
        beeps = 0;
        CStaticLink link;
        link.SubclassWindow(Control(L"STATIC", SS_LEFT, kNoString));
        link.SetTarget(c.target);
        EXPECT_EQ(Color(link), RGB(0, 0, 255));
        EXPECT_EQ(link.SendMessage(WM_NCHITTEST), HTCLIENT) << "the mouse is let through";
        link.SendMessage(WM_LBUTTONDOWN);
        ASSERT_EQ(Shell::opened.size(), c.asked ? 1u : 0u);
        for (const auto& request : Shell::opened) {
            EXPECT_EQ(request.file, c.target);
            EXPECT_EQ(request.directory, system);
        }
        EXPECT_EQ(beeps, visited ? 0 : 1);
        EXPECT_EQ(Color(link), visited ? RGB(128, 0, 128) : RGB(0, 0, 255));
    }
}

// Without a target the string of the control's id is opened, else its own text.
TEST(StaticLink, WithoutATargetOpensTheTextThatIsThere) {
    const Shell shell;
    const SpokenLanguage english(kEnglish);
    for (const auto& [id, target] : {std::pair{UINT{IDS_COLUMN_NAME}, L"Name"}, {kNoString, L""}}) {
        CStaticLink link;
        link.SubclassWindow(Control(L"STATIC", SS_LEFT, id));
        link.SetWindowText(L"https://example.org");
        link.SendMessage(WM_LBUTTONDOWN);
        EXPECT_EQ(link.Target(), target);
    }
    ASSERT_EQ(Shell::opened.size(), 1u) << "a name is no address";
    EXPECT_EQ(Shell::opened[0].file, L"https://example.org");
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
    int failingCall = 0;  // from 1; 0: none
    size_t next = 0;      // the entry that the list goes on with
    int calls = 0;
    std::vector<Bytes> written = {};
    bool endless = false;  // the list begins anew
    DWORD claimed = 0;     // not 0: the length that the value is said to have
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

BOOL WINAPI SetParameter(HCRYPTPROV handle, DWORD parameter, const BYTE* data, DWORD) {
    EXPECT_TRUE(handle == 77 && parameter == kValue);
    provider.written.emplace_back(data, data + provider.value.size());  // a provider knows a value's length
    return TRUE;
}

class ComboParam : public testing::Test {
  protected:
    // Sorted, so that positions in the list aren't those of the entries.
    ComboParam() { combo.SubclassWindow(Control(L"COMBOBOX", CBS_DROPDOWNLIST | CBS_SORT, kNoString)); }
    ~ComboParam() override { DestroyWindow(combo.m_hWnd); }
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
    combo.Save();
    EXPECT_FALSE(combo.IsModified());
    combo.Save();
    EXPECT_EQ(provider.written, std::vector<Bytes>{Entry('a', 9)});
    Attach({{Entry('a', 1), twice}, {}});  // no value in the list
    EXPECT_EQ(combo.GetCurSel(), 0);
}

// Two calls an entry and one that finds the list's end, then two for the value.
TEST_F(ComboParam, AfterAFailureDisabledAndNeverWritten) {
    for (int call = 1; call <= 7; ++call) {
        const bool usable = call >= 3 && call <= 5;  // the list only ends earlier
        Attach({{Entry('a', 1), Entry('b', 2)}, Entry('a', 1), call});
        EXPECT_EQ(IsWindowEnabled(combo.m_hWnd) != FALSE, usable) << call;
        combo.SetCurSel(1);
        EXPECT_EQ(combo.IsModified(), usable && combo.GetCount() > 1) << call;
        if (!usable) combo.Save();
        EXPECT_TRUE(provider.written.empty());
    }
}

TEST_F(ComboParam, OfAProviderWithoutBoundsHasSome) {
    const Bytes entry = Entry('a', 1);
    Attach({{entry, {}, entry}, entry});  // of no bytes: its length is asked for again and again
    EXPECT_EQ(combo.GetCount(), 1);
    Attach({.entries = {entry}, .value = entry, .endless = true});
    EXPECT_EQ(combo.GetCount(), 1000);
    Attach({.entries = {entry}, .value = entry, .claimed = 0xFFFFFFFF});
    EXPECT_FALSE(IsWindowEnabled(combo.m_hWnd));
}

TEST(ParameterEntry, NamesAreReadFromTheBytesThereAre) {
    const struct {
        const char* name;
        Bytes entry;
        const char16_t* text = nullptr;
        uint32_t id = 0;
    } cases[] = {{"too short", {103, 0, 0}},
                 {"no text", {4, 0, 1, 0, 0, 0, 'A', 0}},
                 {"beyond the end", {0xFF, 0xFF, 0xFF, 0xFF, 'A', 0}},
                 {"a string's id", {0xFF, 0xFF, 0, 0, 'x', 0}, u"", 0xFFFF},
                 {"a text", {5, 0, 1, 0, 7, 'A', 0, 0x11, 0x04, 0, 0, 'x', 0}, u"AБ"},
                 {"half a character", {4, 0, 1, 0, 'A', 0, 'B'}, u"A"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ParameterName name{7, u"before"};
        ASSERT_EQ(ReadParameterName(c.entry.data(), c.entry.size(), name), c.text != nullptr);
        if (!c.text) continue;
        EXPECT_EQ(name.stringId, c.id);
        EXPECT_EQ(name.text, c.text);
    }
}

}  // namespace
