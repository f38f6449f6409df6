// What settings pages are made of: links, and combo boxes of provider parameters.
#include "applet/services/ParameterEntry.h"
#include "applet/services/StaticLink.h"
#include "pages/PropPageConfigCSPOID.h"
#include "tests/support/Services.h"
#include "tests/support/Shell.h"

namespace {

constexpr UINT kNoString = 60000;  // an id of no string

// A control by itself.
HWND Control(const wchar_t* name, DWORD style, UINT id) {
    return CreateWindowExW(0, name, L"https://example.org", WS_CHILD | style, 0, 0, 90, 90, GetDesktopWindow(),
                           reinterpret_cast<HMENU>(UINT_PTR{id}), nullptr, nullptr);
}

// Without a target the string of the control's id is opened, else its own text.
TEST(StaticLink, OpensOnlyWhatIsAnAddressOrAFile) {
    const Shell shell;
    const SpokenLanguage english(kEnglish);
    const struct {
        const wchar_t* target;
        bool opens;
        UINT id = kNoString;
    } cases[] = {{L"https://example.org/?a=%1", true},
                 {L"mailto:a@example.org", true},
                 {L"C:\\windows\\system32\\kernel32.dll", true},
                 {L"C:\\windows\\system32", false},
                 {L"kernel32.dll", false},
                 {L"file:///C:/windows/system32/kernel32.dll", false},
                 {L"", false, IDS_COLUMN_NAME},
                 {L"", true}};
    for (const auto& c : cases) {
        Shell::opened.clear();
        CStaticLink link;
        link.SubclassWindow(Control(L"STATIC", SS_LEFT, c.id));
        link.SetTarget(c.target);
        EXPECT_EQ(link.SendMessage(WM_NCHITTEST), HTCLIENT) << "the mouse is let through";
        link.SendMessage(WM_LBUTTONDOWN);
        ASSERT_EQ(Shell::opened.size(), c.opens ? 1u : 0u) << c.target;
        for (const auto& request : Shell::opened)
            EXPECT_EQ(request.file, *c.target ? c.target : L"https://example.org");
    }
}

using Value = std::vector<BYTE>;
constexpr DWORD kList = 103, kCurrent = 92;

// An entry of a one-letter name and a value of its own before it.
Value Entry(char name, BYTE value) {
    return {5, 0, 1, 0, value, static_cast<BYTE>(name), 0, 0, 0};
}

struct ComboProvider {
    std::vector<Value> entries;
    Value current;
    int failingCall = 0;   // from 1; 0: none
    bool endless = false;  // the list begins anew
    DWORD claimed = 0;     // not 0: the length that the current value is said to have
    size_t next = 0;       // the entry that the list goes on with
    int calls = 0;
    std::vector<Value> written = {};
} provider;

BOOL WINAPI GetParameter(HCRYPTPROV, DWORD parameter, BYTE* data, DWORD* length, DWORD flags) {
    if (++provider.calls == provider.failingCall) return FALSE;
    const Value* value = &provider.current;
    if (parameter == kList) {
        if (flags & CRYPT_FIRST || (provider.endless && provider.next == provider.entries.size())) provider.next = 0;
        if (provider.next == provider.entries.size()) return FALSE;
        value = &provider.entries[provider.next];
        provider.next += data != nullptr;
    }
    if (data) std::copy(value->begin(), value->end(), data);
    *length = parameter == kCurrent && provider.claimed ? provider.claimed : static_cast<DWORD>(value->size());
    return TRUE;
}

BOOL WINAPI SetParameter(HCRYPTPROV, DWORD, const BYTE* data, DWORD) {
    provider.written.emplace_back(data, data + provider.current.size());  // a provider knows a value's length
    return TRUE;
}

TEST(ComboParam, SelectsTheLastEntryThatEqualsTheValueAndSavesAnotherOnce) {
    const ImportPatch get(nullptr, "CryptGetProvParam", &GetParameter),
        set(nullptr, "CryptSetProvParam", &SetParameter);
    const SpokenLanguage english(kEnglish);
    CComboParam combo{AlgorithmKind{"", kList, kCurrent}};
    // Sorted, so that positions in the list aren't those of the entries.
    combo.SubclassWindow(Control(L"COMBOBOX", CBS_DROPDOWNLIST | CBS_SORT, kNoString));
    const Value first = Entry('a', 9), twice = Entry('b', 1), byId = {IDS_SAVE_FAILED, 0, 0, 0, 1, 2, 3, 4, 5};
    provider = {{twice, byId, {0, 0, 0, 0}, twice, first}, twice};
    combo.Attach(77);
    EXPECT_EQ(combo.GetCount(), 4);
    for (const auto& [item, text] : {std::pair{2, L"b"}, {3, L"Error saving parameters."}, {0, L"a"}}) {
        EXPECT_EQ(combo.GetCurSel() == item, item == 2);
        combo.SetCurSel(item);
        EXPECT_EQ(combo.GetWindowText(), text);
        EXPECT_EQ(combo.IsModified(), item != 2);
    }
    for (int times = 0; times < 2; ++times) combo.Save();
    EXPECT_EQ(provider.written, std::vector<Value>{first});

    const std::tuple<ComboProvider, int, bool> cases[] = {{{{first, twice}, first, 1}, 0, false},
                                                          {{{first, twice}, first, 6}, 2, false},
                                                          {{{first, {}, first}, first}, 1, true},
                                                          {{{first, twice}, {}}, 2, true},
                                                          {{{first}, first, 0, false, 0xFFFFFFFF}, 1, false},
                                                          {{{first}, first, 0, true}, 1000, true}};
    for (const auto& [lists, count, usable] : cases) {
        provider = lists;
        combo.Attach(77);
        EXPECT_EQ(combo.GetCount(), count);
        EXPECT_EQ(IsWindowEnabled(combo.m_hWnd) != FALSE, usable) << count;
        EXPECT_EQ(combo.GetCurSel() >= 0, usable) << count;
    }
}

TEST(ParameterEntry, ANameEndsWithAZero) {
    const Value entry = {5, 0, 1, 0, 7, 'A', 0, 0x11, 0x04, 0, 0, 'x', 0};
    ParameterName name;
    EXPECT_TRUE(ReadParameterName(entry.data(), entry.size(), name));
    EXPECT_EQ(name.text, u"AБ");
}

}  // namespace
