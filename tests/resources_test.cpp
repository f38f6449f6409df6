// The resources of the built files: both languages alike, texts that fit, keys that don't clash.

#include <map>
#include <regex>
#include <set>

#include "framework/Accessibility.h"
#include "framework/Handles.h"
#include "resources/resource.h"
#include "tests/support/Directory.h"
#include "tests/support/SpokenNames.h"

namespace {

constexpr WORD kEnglish = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);
constexpr WORD kRussian = MAKELANGID(LANG_RUSSIAN, SUBLANG_DEFAULT);

UniqueModule LoadAsData(const wchar_t* file) {
    return UniqueModule(LoadLibraryExW((ProgramDirectory() + file).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
}
const UniqueModule kPanel = LoadAsData(L"vestra.cpl"), kConsole = LoadAsData(L"vestractl.exe");

// Every resource of a type in a language, by its id.
std::map<WORD, const void*> Resources(const UniqueModule& module, const wchar_t* type, WORD language) {
    std::map<WORD, const void*> all;
    for (WORD id = 1; id != 0; ++id)
        if (const HRSRC found = FindResourceExW(module.get(), type, MAKEINTRESOURCEW(id), language))
            all[id] = LockResource(LoadResource(module.get(), found));
    return all;
}

// Positions and sizes are dialog units.
struct Control {
    DWORD id, style, exStyle;
    int x, y, cx, cy;
    std::wstring className, text;
    std::wstring spoken;  // the name that the panel sets for assistive technology
    bool takesFocus;

    bool Is(const wchar_t* name) const { return lstrcmpiW(className.c_str(), name) == 0; }
    bool IsButton(DWORD type) const { return Is(WC_BUTTONW) && (style & BS_TYPEMASK) == type; }
    bool IsLabel() const { return Is(WC_STATICW) && (style & SS_TYPEMASK) == SS_LEFT; }
};

struct Dialog {
    WORD id, language;
    DWORD style;
    int cx, cy;
    std::vector<Control> controls;
};

Dialog MakeDialog(WORD id, WORD language, const void* dialogTemplate) {
    const HWND parent = CreateWindowW(L"STATIC", L"", WS_POPUP, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
    const auto procedure = [](HWND, UINT, WPARAM, LPARAM) -> INT_PTR { return FALSE; };
    const HWND window =
        CreateDialogIndirectParamW(kPanel.get(), static_cast<LPCDLGTEMPLATEW>(dialogTemplate), parent, procedure, 0);
    RECT unit{0, 0, 4, 8};
    MapDialogRect(window, &unit);
    const auto placeOf = [&](HWND of) {
        RECT place;
        of == window ? GetClientRect(of, &place) : GetWindowRect(of, &place);
        if (of != window) MapWindowPoints(nullptr, window, reinterpret_cast<POINT*>(&place), 2);
        const auto x = [&](LONG pixels) { return MulDiv(pixels, 4, unit.right); };
        const auto y = [&](LONG pixels) { return MulDiv(pixels, 8, unit.bottom); };
        return std::array{x(place.left), y(place.top), x(place.right - place.left), y(place.bottom - place.top)};
    };
    const SpokenNames names;
    NameControlsApart(window);
    const auto style = [](HWND of, int index) { return static_cast<DWORD>(GetWindowLongW(of, index)); };
    Dialog made{id, language, style(window, GWL_STYLE), placeOf(window)[2], placeOf(window)[3], {}};
    for (HWND child = GetWindow(window, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
        const auto [x, y, cx, cy] = placeOf(child);
        wchar_t name[64] = L"", text[512] = L"";
        GetClassNameW(child, name, 64);
        GetWindowTextW(child, text, 512);
        const bool radio = (SendMessageW(child, WM_GETDLGCODE, 0, 0) & DLGC_RADIOBUTTON) != 0;
        made.controls.push_back({static_cast<DWORD>(GetDlgCtrlID(child)), style(child, GWL_STYLE),
                                 style(child, GWL_EXSTYLE), x, y, cx, cy, name, text, SpokenNames::names[child],
                                 radio || (style(child, GWL_STYLE) & WS_TABSTOP) != 0});
    }
    DestroyWindow(parent);
    return made;
}

// Of both languages, the English ones first.
const std::vector<Dialog>& Dialogs() {
    static const std::vector<Dialog> dialogs = [] {
        const INITCOMMONCONTROLSEX classes{sizeof classes, ICC_LISTVIEW_CLASSES | ICC_UPDOWN_CLASS};
        InitCommonControlsEx(&classes);
        std::vector<Dialog> all;
        for (const WORD language : {kEnglish, kRussian})
            for (const auto& [id, dialog] : Resources(kPanel, RT_DIALOG, language))
                all.push_back(MakeDialog(id, language, dialog));
        return all;
    }();
    return dialogs;
}

std::map<UINT, std::wstring> ReadStrings(const UniqueModule& module, WORD language) {
    std::map<UINT, std::wstring> strings;
    for (const auto& [block, data] : Resources(module, RT_STRING, language)) {
        const auto* at = static_cast<const wchar_t*>(data);  // each after its length
        for (UINT id = (block - 1u) * 16u; id < block * 16u; at += *at + 1, ++id)
            if (*at) strings[id].assign(at + 1, *at);
    }
    return strings;
}

testing::Message Name(const Dialog& dialog, const Control& control) {
    return testing::Message() << "dialog " << dialog.id << " language " << dialog.language << " control "
                              << static_cast<int>(control.id) << " '" << control.text << "' ";
}

TEST(Resources, DialogsAreTheSameInBothLanguages) {
    const auto& dialogs = Dialogs();
    const std::size_t half = dialogs.size() / 2;
    EXPECT_EQ(half, 17u);
    for (std::size_t d = 0; d < half; ++d) {
        const Dialog &ours = dialogs[d], &theirs = dialogs[half + d];
        const auto facts = [](const Dialog& a) { return std::tuple(a.id, a.style, a.cx, a.cy, a.controls.size()); };
        ASSERT_EQ(facts(ours), facts(theirs));
        for (std::size_t i = 0; i < ours.controls.size(); ++i) {
            const auto controlFacts = [](const Control& a) {
                return std::tuple(a.id, a.style, a.exStyle, a.className, a.text.empty());
            };
            EXPECT_EQ(controlFacts(ours.controls[i]), controlFacts(theirs.controls[i])) << Name(ours, ours.controls[i]);
        }
    }
}

// Dialog units between two controls; less than 0 when they overlap.
int Distance(const Control& a, const Control& b) {
    return std::max({a.x - b.x - b.cx, b.x - a.x - a.cx, a.y - b.y - b.cy, b.y - a.y - a.cy});
}

bool Holds(const Control& frame, const Control& control) {
    return control.x > frame.x && control.x + control.cx < frame.x + frame.cx && control.y > frame.y &&
           control.y + control.cy < frame.y + frame.cy;
}

TEST(Resources, ControlsLieInTheirDialogApart) {
    constexpr int margin = 7, apart = 2;
    for (const Dialog& dialog : Dialogs()) {
        std::vector<Control> placed;  // without up-downs, which lie in their edits
        for (const Control& control : dialog.controls) {
            EXPECT_GE(std::min(control.x, control.y), margin) << Name(dialog, control);
            EXPECT_LE(control.x + control.cx, dialog.cx - margin) << Name(dialog, control);
            EXPECT_LE(control.y + control.cy, dialog.cy - margin) << Name(dialog, control);
            if (control.Is(UPDOWN_CLASSW)) continue;
            for (const Control& other : placed)
                EXPECT_TRUE((other.IsButton(BS_GROUPBOX) && Holds(other, control)) || Distance(control, other) >= apart)
                    << Name(dialog, control) << "is too near to " << Name(dialog, other);
            placed.push_back(control);
        }
    }
}

// The letter after the ampersand, in upper case; 0 when there is none.
wchar_t AccessKey(const Control& control) {
    if (control.Is(WC_STATICW) && (control.style & SS_NOPREFIX) != 0) return L'\0';
    std::wstring text = control.text;
    CharUpperW(text.data());
    std::size_t at = text.find(L'&');
    while (at != text.npos && text[at + 1] == L'&') at = text.find(L'&', at + 2);
    return at == text.npos ? L'\0' : text[at + 1];
}

TEST(Resources, AccessKeysAreUnique) {
    std::map<WORD, std::wstring> repeated;
    for (const Dialog& dialog : Dialogs()) {
        std::set<wchar_t> taken;
        const bool isWizardPage = dialog.cx == 317 && (dialog.cy == 143 || dialog.cy == 193);
        // The sheet's own buttons, in both languages: Apply; Back, Next, Finish.
        if (isWizardPage) {
            taken = {L'B', L'N', L'F', L'\u041D', L'\u0414', L'\u0413'};
        } else if ((dialog.style & WS_CHILD) != 0) {
            taken = {L'A', L'\u041F', L'\u041C'};
        }
        for (const Control& control : dialog.controls) {
            const wchar_t key = AccessKey(control);
            if (key != L'\0' && !taken.insert(key).second) repeated[dialog.id] += key;
        }
    }
    // Some English wordings are given and repeat a key; Windows then moves between the two on each press.
    const decltype(repeated) given = {{IDD_SERVICE, L"H"},
                                      {IDD_SECURITY, L"C"},
                                      {IDD_DELETE_PASSWORDS, L"UP"},
                                      {IDD_SELECT_FILE, L"N"},
                                      {IDD_SELECT_CERTIFICATE, L"FNI"},
                                      {IDD_SELECT_STORE, L"NU"}};
    EXPECT_EQ(repeated, given);
}

// As the system finds it: what was set, else a button's or text's own, else the text just before the control.
std::wstring SpokenName(const Control& control, const Control& before) {
    if (!control.spoken.empty()) return control.spoken;
    const bool own = control.Is(WC_BUTTONW) || control.Is(WC_STATICW),
               label = before.Is(WC_STATICW) || before.IsButton(BS_GROUPBOX);
    std::wstring text = own ? control.text : label ? before.text : L"";
    std::erase(text, L'&');
    return text;
}

TEST(Resources, ControlsAreSpokenApart) {
    for (const Dialog& dialog : Dialogs()) {
        std::set<std::wstring> names;
        Control before{};
        for (const Control& control : dialog.controls) {
            const std::wstring name = SpokenName(control, std::exchange(before, control));
            if (!control.takesFocus) continue;
            EXPECT_NE(name, L"") << Name(dialog, control);
            EXPECT_TRUE(names.insert(name).second) << Name(dialog, control) << "is spoken like another: " << name;
        }
    }
}

// A device context with a font selected.
struct FontContext {
    FontContext(int points, int dpi, int weight, const wchar_t* face)
        : font(CreateFontW(-MulDiv(points, dpi, 72), 0, 0, 0, weight, 0, 0, 0, DEFAULT_CHARSET, 0, 0, 0, 0, face)) {
        SelectObject(dc.get(), font.get());
    }
    UniqueFont font;
    std::unique_ptr<HDC__, decltype(&DeleteDC)> dc{CreateCompatibleDC(nullptr), &DeleteDC};
};

// Whether a text fits at a resolution, with a tenth more than it needs, since fonts differ between systems. `dialog`
// has the dialog's font selected, which dialog units are derived from, and `own` the control's.
bool Fits(const Control& control, HDC dialog, HDC own, int dpi) {
    TEXTMETRICW metric{};
    GetTextMetricsW(dialog, &metric);
    SIZE alphabet{};
    GetTextExtentPoint32W(dialog, L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", 52, &alphabet);
    const int baseX = (alphabet.cx / 26 + 1) / 2;  // four horizontal dialog units
    const bool label = control.IsLabel(), plain = (control.style & BS_TYPEMASK) <= BS_DEFPUSHBUTTON;
    // Not the text's: a button's edges; a box with its gap, or a frame's corners.
    const int decoration = label ? 0 : MulDiv(plain ? 10 : 18, dpi, 96);
    const LONG width = (MulDiv(control.cx, baseX, 4) - decoration) * 10 / 11;
    const bool wraps = label ? control.cy >= 16 : (control.style & BS_MULTILINE) != 0;
    UINT flags = DT_CALCRECT | (wraps ? DT_WORDBREAK : DT_SINGLELINE);
    if (label && (control.style & SS_NOPREFIX) != 0) flags |= DT_NOPREFIX;
    RECT need{0, 0, width, 0};
    DrawTextW(own, control.text.c_str(), -1, &need, flags);
    return need.right <= width && need.bottom <= MulDiv(control.cy, metric.tmHeight, 8);
}

TEST(Resources, TextsFitTheirControls) {
    for (const int dpi : {96, 144, 192}) {
        const FontContext plain(8, dpi, FW_NORMAL, L"MS Shell Dlg 2"), title(12, dpi, FW_BOLD, L"Verdana Bold");
        for (const Dialog& dialog : Dialogs())
            for (const Control& control : dialog.controls) {
                if (!control.IsLabel() && !control.Is(WC_BUTTONW)) continue;
                const FontContext& own = control.id == IDC_REPORT_TITLE ? title : plain;
                EXPECT_TRUE(Fits(control, plain.dc.get(), own.dc.get(), dpi))
                    << dpi << " dpi, " << Name(dialog, control);
            }
    }
}

// What is filled in at run time: %1, %s and the like, and line breaks, which separate a text from its cause.
std::multiset<std::wstring> Inserts(const std::wstring& text) {
    static const std::wregex insert(L"%[0-9]*[A-Za-z]|%[1-9]|\n");
    return {std::wsregex_token_iterator(text.begin(), text.end(), insert), std::wsregex_token_iterator()};
}

TEST(Resources, StringsAreTheSameInBothLanguages) {
    for (const UniqueModule* module : {&kPanel, &kConsole}) {
        const auto english = ReadStrings(*module, kEnglish);
        auto russian = ReadStrings(*module, kRussian);
        EXPECT_TRUE(english.contains(IDS_APP_TITLE));
        EXPECT_EQ(english.size(), russian.size());
        for (const auto& [id, text] : english) {
            const std::wstring other = russian[id];
            EXPECT_FALSE(other.empty()) << id;
            EXPECT_EQ(Inserts(text), Inserts(other)) << id;
            EXPECT_EQ(text.ends_with(L' '), other.ends_with(L' ')) << id;
            EXPECT_EQ(other.find(L'\uFFFD'), std::wstring::npos) << id;
        }
    }
}

}  // namespace
