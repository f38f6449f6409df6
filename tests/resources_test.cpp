// What stands in the panel's resources, read from the built file: both languages alike, texts that fit, keys that
// don't clash, pictures and versions complete.
#include <windows.h>
#include <commctrl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <regex>
#include <set>

#include "framework/Handles.h"
#include "resources/resource.h"
#include "tests/support/DialogTexts.h"
#include "tests/support/Directory.h"

namespace {

constexpr WORD kEnglish = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);
constexpr WORD kRussian = MAKELANGID(LANG_RUSSIAN, SUBLANG_DEFAULT);
constexpr WORD kNeutral = MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL);

using Bytes = std::span<const std::byte>;

const std::wstring kPath = ProgramDirectory() + L"vestra.cpl";
const UniqueModule kPanel(LoadLibraryExW(kPath.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));

Bytes Resource(const wchar_t* type, WORD id, WORD language) {
    const HRSRC found = FindResourceExW(kPanel.get(), type, MAKEINTRESOURCEW(id), language);
    if (found == nullptr) return {};
    const void* data = LockResource(LoadResource(kPanel.get(), found));
    return {static_cast<const std::byte*>(data), SizeofResource(kPanel.get(), found)};
}

// Every resource of a type in a language, by its id.
std::map<WORD, Bytes> Resources(const wchar_t* type, WORD language) {
    std::map<WORD, Bytes> all;
    for (WORD id = 1; id != 0; ++id)
        if (const Bytes bytes = Resource(type, id, language); !bytes.empty()) all[id] = bytes;
    return all;
}

struct Dialog : DialogTemplate {
    WORD id, language;
};

// Of both languages, the English ones first.
const std::vector<Dialog>& ReadDialogs() {
    static const std::vector<Dialog> dialogs = [] {
        std::vector<Dialog> read;
        for (const WORD language : {kEnglish, kRussian})
            for (const auto& [id, bytes] : Resources(RT_DIALOG, language))
                read.push_back({DialogTemplate(ResourceReader(bytes)), id, language});
        return read;
    }();
    return dialogs;
}

std::map<UINT, std::wstring> ReadStrings(WORD language) {
    std::map<UINT, std::wstring> strings;
    for (const auto& [block, bytes] : Resources(RT_STRING, language)) {
        ResourceReader reader(bytes);
        for (UINT id = (block - 1u) * 16u; id < block * 16u; ++id) {
            std::wstring text(reader.Take<WORD>(), L'\0');
            for (wchar_t& c : text) c = reader.Take<wchar_t>();
            if (!text.empty()) strings[id] = text;
        }
    }
    return strings;
}

// A radio button, which labels the edit that it enables.
bool IsChoice(const DialogControl& control) {
    return Is(control, WC_BUTTONW) && (control.style & BS_TYPEMASK) == BS_AUTORADIOBUTTON;
}

testing::Message Name(const Dialog& dialog, const DialogControl& control) {
    return testing::Message() << "dialog " << dialog.id << " language " << dialog.language << " control "
                              << static_cast<int>(control.id) << " '" << control.text << "' ";
}

TEST(Resources, DialogsAreTheSameInBothLanguages) {
    const auto& dialogs = ReadDialogs();
    const std::size_t half = dialogs.size() / 2;
    EXPECT_EQ(half, 17u);
    for (std::size_t d = 0; d < half; ++d) {
        const Dialog &ours = dialogs[d], &theirs = dialogs[half + d];
        const auto facts = [](const Dialog& dialog) {
            return std::tuple(dialog.id, dialog.style, dialog.exStyle, dialog.cx, dialog.cy, dialog.face,
                              dialog.controls.size());
        };
        ASSERT_EQ(facts(ours), facts(theirs));
        for (std::size_t i = 0; i < ours.controls.size(); ++i) {
            const auto controlFacts = [](const DialogControl& c) {
                return std::tuple(c.id, c.style, c.exStyle, c.resource, c.className, c.text.empty());
            };
            EXPECT_EQ(controlFacts(ours.controls[i]), controlFacts(theirs.controls[i])) << Name(ours, ours.controls[i]);
        }
    }
}

// Sizes of wizards' pages, with and without a header.
bool IsWizardPage(const Dialog& dialog) {
    return dialog.cx == 317 && (dialog.cy == 143 || dialog.cy == 193);
}

// To the right in the same row, or at the top of the next column, which begins a group; else below.
bool Follows(const DialogControl& control, const DialogControl& before) {
    const bool right = control.x >= before.x + before.cx, above = control.y + control.cy <= before.y;
    return control.y >= before.y + before.cy || (right && (!above || (control.style & WS_GROUP) != 0));
}

// Dialog units between two controls; less than 0 when they overlap.
int Distance(const DialogControl& a, const DialogControl& b) {
    return std::max({a.x - b.x - b.cx, b.x - a.x - a.cx, a.y - b.y - b.cy, b.y - a.y - a.cy});
}

bool Holds(const DialogControl& frame, const DialogControl& control) {
    return control.x > frame.x && control.x + control.cx < frame.x + frame.cx && control.y > frame.y &&
           control.y + control.cy < frame.y + frame.cy;
}

TEST(Resources, ControlsLieInTheirDialogApartInReadingOrderAndBehindTheirLabels) {
    constexpr int margin = 7, apart = 2;
    for (const Dialog& dialog : ReadDialogs()) {
        std::vector<DialogControl> placed, stops;  // without up-downs, which lie in their edits
        const DialogControl* before = nullptr;
        for (const DialogControl& whole : dialog.controls) {
            DialogControl control = whole;
            const bool list = Is(control, WC_LISTVIEWW), combo = Is(control, WC_COMBOBOXW);
            if (combo) control.cy = 14;  // without its dropped list
            EXPECT_TRUE(control.x >= margin && control.y >= margin && control.x + control.cx <= dialog.cx - margin &&
                        control.y + control.cy <= dialog.cy - margin)
                << Name(dialog, control);
            if (list || combo || Is(control, WC_EDITW)) {
                EXPECT_TRUE(before && !before->text.empty() &&
                            (IsLabel(*before) || IsChoice(*before) || (list && IsFrame(*before))))
                    << Name(dialog, control) << "has no label before it";
            }
            before = &whole;
            EXPECT_FALSE(Is(control, WC_BUTTONW) && control.text.empty()) << Name(dialog, control) << "has no text";
            if (Is(control, UPDOWN_CLASSW)) continue;
            if (!Is(control, WC_STATICW) && !IsFrame(control)) {
                EXPECT_TRUE(stops.empty() || Follows(control, stops.back()))
                    << Name(dialog, control) << "comes too late";
                stops.push_back(control);
            }
            for (const DialogControl& other : placed)
                EXPECT_TRUE((IsFrame(other) && Holds(other, control)) || Distance(control, other) >= apart)
                    << Name(dialog, control) << "is too near to " << Name(dialog, other);
            placed.push_back(control);
        }
    }
}

TEST(Resources, AccessKeysAreUnique) {
    std::map<WORD, std::wstring> repeated;
    for (const Dialog& dialog : ReadDialogs()) {
        std::set<wchar_t> taken;
        // The sheet's own buttons, in both languages: Apply; Back, Next, Finish.
        if (IsWizardPage(dialog)) {
            taken = {L'B', L'N', L'F', L'\u041D', L'\u0414', L'\u0413'};
        } else if ((dialog.style & WS_CHILD) != 0) {
            taken = {L'A', L'\u041F', L'\u041C'};
        }
        for (const DialogControl& control : dialog.controls) {
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

// A device context with a font selected.
struct FontContext {
    FontContext(int points, int dpi, int weight, const wchar_t* face)
        : font(CreateFontW(-MulDiv(points, dpi, 72), 0, 0, 0, weight, 0, 0, 0, DEFAULT_CHARSET, 0, 0, 0, 0, face)) {
        SelectObject(dc.get(), font.get());
    }
    UniqueFont font;
    std::unique_ptr<HDC__, decltype(&DeleteDC)> dc{CreateCompatibleDC(nullptr), &DeleteDC};
};

TEST(Resources, TextsFitTheirControls) {
    for (const int dpi : {96, 144, 192}) {
        const FontContext plain(8, dpi, FW_NORMAL, L"MS Shell Dlg 2"), title(12, dpi, FW_BOLD, L"Verdana Bold");
        for (const Dialog& dialog : ReadDialogs())
            for (const DialogControl& control : dialog.controls) {
                if (!IsLabel(control) && !Is(control, WC_BUTTONW)) continue;
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
    constexpr std::size_t most = 255;  // characters, what the code that loads them has room for
    const auto english = ReadStrings(kEnglish);
    auto russian = ReadStrings(kRussian);
    EXPECT_TRUE(english.contains(IDS_APP_TITLE));
    EXPECT_EQ(english.size(), russian.size());
    for (const auto& [id, text] : english) {
        const std::wstring other = russian[id];
        EXPECT_FALSE(other.empty()) << id;
        EXPECT_EQ(Inserts(text), Inserts(other)) << id;
        EXPECT_EQ(text.ends_with(L' '), other.ends_with(L' ')) << id;
        EXPECT_LE(std::max(text.size(), other.size()), most) << id;
        EXPECT_EQ(other.find(L'\uFFFD'), std::wstring::npos) << id;
    }
}

TEST(Resources, IconsHaveTheirSizesAndColours) {
    for (const WORD id : std::initializer_list<WORD>{IDI_PRODUCT, IDI_READERS, IDI_RANDOM, IDI_CARRIERS}) {
        ResourceReader group(Resource(RT_GROUP_ICON, id, kNeutral));
        group.Skip(4);
        std::set<int> found;
        for (WORD left = group.Take<WORD>(); left != 0; --left) {
            found.insert(group.Take<BYTE>());  // 0 = 256
            group.Skip(5);
            EXPECT_EQ(group.Take<WORD>(), 32) << id << ": bits";
            group.Skip(6);
        }
        EXPECT_EQ(found, (std::set{0, 16, 24, 32, 48})) << id;
    }
}

TEST(Resources, VersionNamesTheProductInBothLanguages) {
    std::vector<std::byte> version(GetFileVersionInfoSizeW(kPath.c_str(), nullptr));
    ASSERT_TRUE(GetFileVersionInfoW(kPath.c_str(), 0, static_cast<DWORD>(version.size()), version.data()));
    void* value = nullptr;
    UINT length = 0;
    for (const std::wstring block : {L"\\StringFileInfo\\040904b0\\", L"\\StringFileInfo\\041904b0\\"}) {
        for (const wchar_t* name : {L"LegalCopyright", L"FileDescription", L"FileVersion", L"CompanyName"})
            EXPECT_TRUE(VerQueryValueW(version.data(), (block + name).c_str(), &value, &length)) << name;
        ASSERT_TRUE(VerQueryValueW(version.data(), (block + L"ProductName").c_str(), &value, &length));
        EXPECT_STREQ(static_cast<wchar_t*>(value), L"Vestra CSP");
    }
    ASSERT_TRUE(VerQueryValueW(version.data(), L"\\VarFileInfo\\Translation", &value, &length));
    const auto* first = static_cast<WORD*>(value);  // `length` counts bytes here
    EXPECT_EQ(std::vector(first, first + length / sizeof(WORD)), (std::vector<WORD>{kEnglish, 1200, kRussian, 1200}));
}

TEST(Resources, ManifestsAskForTheNewCommonControls) {
    for (const WORD id : {WORD{2}, WORD{123}}) {
        const Bytes bytes = Resource(RT_MANIFEST, id, kNeutral);
        const std::string text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        EXPECT_NE(text.find("Microsoft.Windows.Common-Controls"), std::string::npos) << id;
    }
}

}  // namespace
