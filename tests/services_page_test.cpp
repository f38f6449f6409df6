// What settings pages are made of: links, and combo boxes of provider parameters.
#include "applet/services/ParameterEntry.h"
#include "applet/services/StaticLink.h"
#include "pages/PropPageConfigCSPOID.h"
#include "tests/support/Boxes.h"
#include "tests/support/Services.h"
#include "tests/support/SystemCalls.h"

namespace {

constexpr UINT kNoString = 60000;  // an id of no string

// A control by itself.
HWND Control(const wchar_t* name, DWORD style, UINT id) {
    return CreateWindowExW(0, name, L"https://example.org", WS_CHILD | style, 0, 0, 90, 90, GetDesktopWindow(),
                           reinterpret_cast<HMENU>(UINT_PTR{id}), nullptr, nullptr);
}

// Without a target the string of the control's id is opened, else its own text.
TEST(StaticLink, OpensOnlyWhatIsAnAddressOrAFile) {
    static int beeps;
    const Shell shell;
    const ImportPatch beep(
        "MessageBeep", +[](UINT) -> BOOL { return ++beeps; });
    const SpokenLanguage english(kEnglish);
    const HDC context = GetDC(nullptr);
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
        beeps = 0;
        CStaticLink link;
        link.SubclassWindow(Control(L"STATIC", SS_LEFT, c.id));
        link.SetTarget(c.target);
        EXPECT_EQ(link.SendMessage(WM_NCHITTEST), HTCLIENT) << "the mouse is let through";
        link.SendMessage(WM_LBUTTONDOWN);
        ASSERT_EQ(Shell::opened.size(), c.opens ? 1u : 0u) << c.target;
        EXPECT_EQ(beeps, c.opens ? 0 : 1) << c.target;
        link.SendMessage(kReflected + WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(context));
        EXPECT_EQ(GetTextColor(context) == RGB(128, 0, 128), c.opens) << "the colour of visited links";
        for (const auto& request : Shell::opened) {
            EXPECT_EQ(request.file, *c.target ? c.target : L"https://example.org");
            EXPECT_EQ(request.directory, L"C:\\windows\\system32");
        }
    }
    ReleaseDC(nullptr, context);
}

// An entry of a one-letter name and a value of its own before it.
std::string Entry(char name, char value) {
    return {5, 0, 1, 0, value, name, 0, 0, 0};
}

TEST(ComboParam, SelectsTheLastEntryThatEqualsTheValueAndSavesAnotherOnce) {
    constexpr DWORD kList = 103, kCurrent = 92;
    std::vector<std::string> entries, written;
    std::string current;
    const SystemCalls list =
        FakedParameter(kList, [&, next = size_t{0}](BYTE* data, DWORD* length, DWORD flags) mutable {
            if (flags & CRYPT_FIRST) next = 0;
            if (next == entries.size()) return DWORD{ERROR_NO_MORE_ITEMS};
            return Give(entries[data ? next++ : next], data, length);
        });
    const SystemCalls value =
        FakedParameter(kCurrent, [&](BYTE* data, DWORD* length, DWORD) { return Give(current, data, length); });
    const SystemCalls set([&](const SystemCalls::Call& call) {
        if (call.name != "CryptSetProvParam") return call();
        written.emplace_back(call.At<const char*>(2), current.size());  // a provider knows a value's length
        return SystemCalls::Word{TRUE};
    });
    const SpokenLanguage english(kEnglish);
    CComboParam combo{AlgorithmKind{"", kList, kCurrent}};
    // Sorted, so that positions in the list aren't those of the entries.
    combo.SubclassWindow(Control(L"COMBOBOX", CBS_DROPDOWNLIST | CBS_SORT, kNoString));
    const std::string first = Entry('a', 9), twice = Entry('b', 1), byId = {IDS_SAVE_FAILED, 0, 0, 0, 1, 2, 3, 4, 5};
    entries = {twice, byId, std::string(4, 0), twice, first};
    current = twice;
    combo.Attach(77);
    EXPECT_EQ(combo.GetCount(), 4);
    for (const auto& [item, text] : {std::pair{2, L"b"}, {3, L"Error saving parameters."}, {0, L"a"}}) {
        EXPECT_EQ(combo.GetCurSel() == item, item == 2);
        combo.SetCurSel(item);
        EXPECT_EQ(combo.GetWindowText(), text);
        EXPECT_EQ(combo.IsModified(), item != 2);
    }
    for (int times = 0; times < 2; ++times) combo.Save();
    EXPECT_EQ(written, std::vector<std::string>{first});

    const std::tuple<std::vector<std::string>, std::string, int, bool> cases[] = {
        {{}, first, 0, false},
        {{first}, std::string(65537, 0), 1, false},
        {{first, twice}, "", 2, true},
        {{first, "", first}, first, 1, true},
        {std::vector(1001, first), first, 1000, true}};
    for (const auto& [listed, chosen, count, usable] : cases) {
        entries = listed;
        current = chosen;
        combo.Attach(77);
        EXPECT_EQ(combo.GetCount(), count);
        EXPECT_EQ(IsWindowEnabled(combo.m_hWnd) != FALSE, usable) << count;
        EXPECT_EQ(combo.GetCurSel() >= 0, usable) << count;
    }
}

// The identifier is the same in every language.
TEST(ParameterEntry, HasANameThatEndsWithAZeroAndAnIdentifier) {
    const BYTE entry[] = {5, 0, 1, 0, 7, 'A', 0, 0x11, 0x04, 0, 0, 'x', 0};
    ParameterName name;
    EXPECT_TRUE(ReadParameterName(entry, sizeof entry, name));
    EXPECT_EQ(name.text, u"AБ");
    const std::tuple<const char*, std::vector<BYTE>, std::string> entries[] = {
        {"text before the name", {8, 0, 1, 0, '1', '.', '2', 0, 'N', 0, 0, 0}, "1.2"},
        {"bytes after the text", {8, 0, 1, 0, '1', 0, '2', 0, 'N', 0}, "31003200"},
        {"name within the number", {2, 0, 1, 0, 'N', 0}, ""},
        {"string id", {5, 0, 0, 0, '4', '2'}, "42"}};
    for (const auto& [what, bytes, identifier] : entries)
        EXPECT_EQ(ReadParameterIdentifier(bytes.data(), bytes.size()), identifier) << what;
}

}  // namespace
