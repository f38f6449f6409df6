// What stands in the panel's resources, read from the built file: both languages alike, texts that fit, keys that
// don't clash, pictures and versions complete.
#include <windows.h>
#include <commctrl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "framework/Handles.h"
#include "resources/resource.h"
#include "tests/support/DialogTemplate.h"

namespace {

constexpr WORD kEnglish = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);
constexpr WORD kRussian = MAKELANGID(LANG_RUSSIAN, SUBLANG_DEFAULT);
constexpr WORD kNeutral = MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL);
constexpr WORD kLanguages[] = {kEnglish, kRussian};

using Bytes = std::span<const std::byte>;

// Beside the running test lies the panel, as in the build's one directory of programs.
const std::wstring& PanelPath() {
    static const std::wstring path = [] {
        wchar_t own[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, own, MAX_PATH);
        const std::wstring text = own;
        return text.substr(0, text.rfind(L'\\') + 1) + L"vestra.cpl";
    }();
    return path;
}

HMODULE Panel() {
    static const UniqueModule module(LoadLibraryExW(PanelPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    return module.get();
}

Bytes Resource(const wchar_t* type, WORD id, WORD language) {
    const HRSRC found = FindResourceExW(Panel(), type, MAKEINTRESOURCEW(id), language);
    if (found == nullptr) return {};
    const void* data = LockResource(LoadResource(Panel(), found));
    return {static_cast<const std::byte*>(data), SizeofResource(Panel(), found)};
}

template <class Number>
Number At(Bytes bytes, std::size_t offset) {
    Number value{};
    if (offset + sizeof value <= bytes.size()) memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

std::set<WORD> Ids(const wchar_t* type, WORD language) {
    std::set<WORD> all, present;
    EnumResourceNamesW(
        Panel(), type,
        [](HMODULE, LPCWSTR, LPWSTR name, LONG_PTR ids) -> BOOL {
            reinterpret_cast<std::set<WORD>*>(ids)->insert(static_cast<WORD>(reinterpret_cast<ULONG_PTR>(name)));
            return TRUE;
        },
        reinterpret_cast<LONG_PTR>(&all));
    for (const WORD id : all)
        if (!Resource(type, id, language).empty()) present.insert(id);
    return present;
}

using Dialogs = std::map<WORD, DialogTemplate>;

Dialogs ReadDialogs(WORD language) {
    Dialogs dialogs;
    for (const WORD id : Ids(RT_DIALOG, language)) {
        const auto dialog = ReadDialogTemplate(Resource(RT_DIALOG, id, language));
        EXPECT_TRUE(dialog) << id << ' ' << language;
        if (dialog) dialogs.emplace(id, *dialog);
    }
    return dialogs;
}

std::map<UINT, std::wstring> ReadStrings(WORD language) {
    std::map<UINT, std::wstring> strings;
    for (const WORD block : Ids(RT_STRING, language)) {
        const Bytes bytes = Resource(RT_STRING, block, language);
        std::size_t offset = 0;
        for (UINT i = 0; i < 16; ++i) {
            const auto length = At<WORD>(bytes, offset);
            offset += sizeof length;
            std::wstring text(length, L'\0');
            for (auto& c : text) c = At<wchar_t>(bytes, offset), offset += sizeof c;
            if (length != 0) strings[(block - 1u) * 16u + i] = text;
        }
        EXPECT_LE(offset, bytes.size());
    }
    return strings;
}

bool Is(const DialogControl& control, const wchar_t* className) {
    return lstrcmpiW(control.className.c_str(), className) == 0;
}
bool IsStatic(const DialogControl& control, DWORD type) {
    return Is(control, WC_STATICW) && (control.style & SS_TYPEMASK) == type;
}
bool IsButton(const DialogControl& control, DWORD type) {
    return Is(control, WC_BUTTONW) && (control.style & BS_TYPEMASK) == type;
}
bool IsBox(const DialogControl& control) {
    return IsButton(control, BS_AUTOCHECKBOX) || IsButton(control, BS_AUTORADIOBUTTON);
}

// For failure messages; in UTF-8, as gtest prints it.
std::string Name(WORD dialog, WORD language, const DialogControl& control) {
    char text[512] = {};
    WideCharToMultiByte(CP_UTF8, 0, control.text.c_str(), -1, text, sizeof text - 1, nullptr, nullptr);
    return "dialog " + std::to_string(dialog) + " language " + std::to_string(language) + " control " +
           std::to_string(static_cast<int>(control.id)) + " '" + text + "'";
}

TEST(Resources, DialogsAreTheSameInBothLanguages) {
    ASSERT_NE(Panel(), nullptr);
    const Dialogs english = ReadDialogs(kEnglish), russian = ReadDialogs(kRussian);
    for (const int page :
         {IDD_GENERAL, IDD_HARDWARE, IDD_SERVICE, IDD_ADVANCED, IDD_ALGORITHMS, IDD_SECURITY, IDD_WINLOGON, IDD_TLS})
        EXPECT_TRUE(english.contains(static_cast<WORD>(page))) << page;
    ASSERT_EQ(english.size(), russian.size());
    for (const auto& [id, ours] : english) {
        ASSERT_TRUE(russian.contains(id)) << id;
        const DialogTemplate& theirs = russian.at(id);
        EXPECT_EQ(ours.style, theirs.style) << id;
        EXPECT_EQ(ours.cx, theirs.cx) << id;
        EXPECT_EQ(ours.cy, theirs.cy) << id;
        ASSERT_EQ(ours.controls.size(), theirs.controls.size()) << id;
        for (std::size_t i = 0; i < ours.controls.size(); ++i) {
            const DialogControl &a = ours.controls[i], &b = theirs.controls[i];
            EXPECT_TRUE(a.id == b.id && a.style == b.style && a.exStyle == b.exStyle && a.resource == b.resource &&
                        a.className == b.className && a.text.empty() == b.text.empty())
                << Name(id, kEnglish, a) << "; " << Name(id, kRussian, b);
        }
    }
}

TEST(Resources, TruncatedTemplatesAreRefused) {
    const Bytes whole = Resource(RT_DIALOG, IDD_SECURITY, kEnglish);
    ASSERT_GT(whole.size(), 3u);
    for (std::size_t length = 0; length + 3 < whole.size(); ++length)  // the last bytes may be padding
        EXPECT_FALSE(ReadDialogTemplate(whole.first(length))) << length;
}

TEST(Resources, PagesHaveOneSizeAndTheShellFont) {
    for (const WORD language : kLanguages) {
        const Dialogs dialogs = ReadDialogs(language);
        ASSERT_TRUE(dialogs.contains(IDD_GENERAL));
        for (const auto& [id, dialog] : dialogs) {
            EXPECT_EQ(dialog.style & DS_SHELLFONT, static_cast<DWORD>(DS_SHELLFONT)) << id;
            EXPECT_EQ(dialog.face, L"MS Shell Dlg 2") << id;
            EXPECT_EQ(dialog.pointSize, 8) << id;
            if ((dialog.style & WS_CHILD) == 0) continue;
            EXPECT_EQ(dialog.cx, dialogs.at(IDD_GENERAL).cx) << id;
            EXPECT_EQ(dialog.cy, dialogs.at(IDD_GENERAL).cy) << id;
            EXPECT_FALSE(dialog.title.empty()) << id;
        }
    }
}

TEST(Resources, ControlsLieInTheirDialogAndApart) {
    constexpr int margin = 7;
    for (const WORD language : kLanguages)
        for (const auto& [id, dialog] : ReadDialogs(language)) {
            std::vector<DialogControl> solid;  // group boxes hold others, up-downs lie in their edits
            for (const DialogControl& control : dialog.controls) {
                EXPECT_TRUE(control.x >= margin && control.y >= margin && control.x + control.cx <= dialog.cx - margin)
                    << Name(id, language, control);
                const int height = Is(control, WC_COMBOBOXW) ? 14 : control.cy;  // without its dropped list
                EXPECT_LE(control.y + height, dialog.cy - margin) << Name(id, language, control);
                if (IsButton(control, BS_GROUPBOX) || Is(control, UPDOWN_CLASSW)) continue;
                for (const DialogControl& other : solid)
                    EXPECT_TRUE(control.x >= other.x + other.cx || other.x >= control.x + control.cx ||
                                control.y >= other.y + other.cy || other.y >= control.y + height)
                        << Name(id, language, control) << " over " << Name(id, language, other);
                solid.push_back(control);
                solid.back().cy = static_cast<std::int16_t>(height);
            }
        }
}

TEST(Resources, InputsHaveTheirLabelDirectlyBefore) {
    for (const WORD language : kLanguages)
        for (const auto& [id, dialog] : ReadDialogs(language))
            for (std::size_t i = 0; i < dialog.controls.size(); ++i) {
                const DialogControl& control = dialog.controls[i];
                const bool list = Is(control, WC_LISTVIEWW);
                if (!list && !Is(control, WC_EDITW) && !Is(control, WC_COMBOBOXW)) continue;
                ASSERT_GT(i, 0u) << Name(id, language, control);
                const DialogControl& label = dialog.controls[i - 1];
                EXPECT_TRUE(!label.text.empty() && (IsStatic(label, SS_LEFT) || (list && IsButton(label, BS_GROUPBOX))))
                    << Name(id, language, control) << " follows " << Name(id, language, label);
            }
}

// The letter after the ampersand, in upper case; 0 when there is none.
wchar_t AccessKey(const DialogControl& control) {
    if (Is(control, WC_STATICW) && (control.style & SS_NOPREFIX) != 0) return L'\0';
    for (std::size_t i = 0; i + 1 < control.text.size(); ++i) {
        if (control.text[i] != L'&') continue;
        if (control.text[i + 1] != L'&') {
            wchar_t key = control.text[i + 1];
            CharUpperBuffW(&key, 1);
            return key;
        }
        ++i;
    }
    return L'\0';
}

TEST(Resources, AccessKeysAreUnique) {
    // Two English wordings are given and repeat a key; Windows then moves between the two on each press.
    const std::set<std::tuple<WORD, WORD, wchar_t>> given = {{kEnglish, IDD_SERVICE, L'H'},
                                                             {kEnglish, IDD_SECURITY, L'C'}};
    std::set<std::tuple<WORD, WORD, wchar_t>> repeated;
    for (const WORD language : kLanguages)
        for (const auto& [id, dialog] : ReadDialogs(language)) {
            std::set<wchar_t> taken;
            if ((dialog.style & WS_CHILD) != 0)
                taken = {L'A', L'\u041F', L'\u041C'};  // the sheet's Apply, both languages
            for (const DialogControl& control : dialog.controls) {
                const wchar_t key = AccessKey(control);
                if (key == L'\0' || taken.insert(key).second) continue;
                repeated.insert({language, id, key});
                EXPECT_TRUE(given.contains({language, id, key})) << Name(id, language, control);
            }
        }
    EXPECT_EQ(repeated, given);
}

// The dialog font at a resolution, with the base units that dialog units are counted in.
class DialogFont {
  public:
    explicit DialogFont(int dpi)
        : dpi_(dpi),
          font_(CreateFontW(-MulDiv(8, dpi, 72), 0, 0, 0, FW_NORMAL, 0, 0, 0, DEFAULT_CHARSET, 0, 0, 0, 0,
                            L"MS Shell Dlg 2")) {
        SelectObject(dc_, font_.get());
        TEXTMETRICW metric{};
        GetTextMetricsW(dc_, &metric);
        SIZE alphabet{};
        GetTextExtentPoint32W(dc_, L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", 52, &alphabet);
        baseX_ = (alphabet.cx / 26 + 1) / 2;
        baseY_ = metric.tmHeight;
    }
    DialogFont(const DialogFont&) = delete;
    DialogFont& operator=(const DialogFont&) = delete;
    ~DialogFont() { DeleteDC(dc_); }

    // A tenth more than the text needs is asked for, since fonts differ between systems.
    bool Fits(const DialogControl& control) const {
        const LONG width = (MulDiv(control.cx, baseX_, 4) - Decoration(control)) * 10 / 11;
        UINT flags = DT_CALCRECT | DT_SINGLELINE;
        if (Is(control, WC_STATICW)) {
            if (control.cy >= 16) flags = DT_CALCRECT | DT_WORDBREAK;
            if ((control.style & SS_NOPREFIX) != 0) flags |= DT_NOPREFIX;
        }
        RECT need{0, 0, width, 0};
        DrawTextW(dc_, control.text.c_str(), -1, &need, flags);
        return need.right <= width && need.bottom <= MulDiv(control.cy, baseY_, 8);
    }

  private:
    // Pixels of the width that are not the text's: the box and its gap, a frame's corners, a button's edges.
    int Decoration(const DialogControl& control) const {
        if (IsBox(control)) return MulDiv(18, dpi_, 96);
        if (IsButton(control, BS_GROUPBOX)) return MulDiv(18, dpi_, 96);
        return Is(control, WC_BUTTONW) ? MulDiv(10, dpi_, 96) : 0;
    }

    int dpi_;
    UniqueFont font_;
    HDC dc_ = CreateCompatibleDC(nullptr);
    int baseX_ = 0, baseY_ = 0;
};

TEST(Resources, TextsFitTheirControls) {
    for (const int dpi : {96, 144, 192}) {
        const DialogFont font(dpi);
        for (const WORD language : kLanguages)
            for (const auto& [id, dialog] : ReadDialogs(language))
                for (const DialogControl& control : dialog.controls) {
                    if (!IsStatic(control, SS_LEFT) && !Is(control, WC_BUTTONW)) continue;
                    EXPECT_TRUE(font.Fits(control)) << dpi << " dpi, " << Name(id, language, control);
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
    const auto english = ReadStrings(kEnglish), russian = ReadStrings(kRussian);
    EXPECT_TRUE(english.contains(IDS_APP_TITLE));
    for (const auto& [id, text] : russian) EXPECT_TRUE(english.contains(id)) << id;
    for (const auto& [id, text] : english) {
        ASSERT_TRUE(russian.contains(id)) << id;
        const std::wstring& other = russian.at(id);
        EXPECT_EQ(Inserts(text), Inserts(other)) << id;
        EXPECT_EQ(text.back() == L' ', other.back() == L' ') << id;
        EXPECT_LE(std::max(text.size(), other.size()), most) << id;
        EXPECT_EQ(other.find(L'\uFFFD'), std::wstring::npos) << id;
    }
}

TEST(Resources, IconsHaveAllSizes) {
    const std::set<int> sizes = {16, 24, 32, 48, 256};
    for (const WORD id : std::initializer_list<WORD>{IDI_PRODUCT, IDI_READERS, IDI_RANDOM, IDI_CARRIERS}) {
        const Bytes group = Resource(RT_GROUP_ICON, id, kNeutral);
        std::set<int> found;
        for (WORD i = 0; i < At<WORD>(group, 4); ++i) {
            const std::size_t entry = 6 + i * std::size_t{14};  // the group's header and entries, packed
            const int width = At<BYTE>(group, entry) == 0 ? 256 : At<BYTE>(group, entry);
            const Bytes image = Resource(RT_ICON, At<WORD>(group, entry + 12), kNeutral);
            const bool png = At<DWORD>(image, 0) == 0x474E5089;
            EXPECT_EQ(png, width == 256) << id << ' ' << width;
            if (!png) {
                EXPECT_EQ(At<WORD>(image, offsetof(BITMAPINFOHEADER, biBitCount)), 32) << id << ' ' << width;
            }
            found.insert(width);
        }
        EXPECT_EQ(found, sizes) << id;
        const UniqueIcon small(static_cast<HICON>(LoadImageW(Panel(), MAKEINTRESOURCEW(id), IMAGE_ICON, 16, 16, 0)));
        EXPECT_TRUE(small) << id;
    }
}

TEST(Resources, WizardBitmapsHaveTheirSizesAndSixteenColours) {
    const struct {
        WORD id;
        LONG width, height;
    } bitmaps[] = {{IDB_WIZARD_HEADER, 53, 53}, {IDB_WIZARD_WATERMARK, 145, 290}};
    for (const auto& bitmap : bitmaps) {
        const auto header = At<BITMAPINFOHEADER>(Resource(RT_BITMAP, bitmap.id, kNeutral), 0);
        EXPECT_EQ(header.biWidth, bitmap.width) << bitmap.id;
        EXPECT_EQ(header.biHeight, bitmap.height) << bitmap.id;
        EXPECT_EQ(header.biBitCount, 4) << bitmap.id;
    }
}

TEST(Resources, VersionNamesTheProductInBothLanguages) {
    DWORD ignored = 0;
    std::vector<std::byte> version(GetFileVersionInfoSizeW(PanelPath().c_str(), &ignored));
    ASSERT_TRUE(GetFileVersionInfoW(PanelPath().c_str(), 0, static_cast<DWORD>(version.size()), version.data()));
    const auto query = [&](const std::wstring& name) {
        void* value = nullptr;
        UINT length = 0;  // bytes, or characters of a text with its terminator
        if (!VerQueryValueW(version.data(), name.c_str(), &value, &length) || length == 0) return std::wstring();
        return std::wstring(static_cast<const wchar_t*>(value));
    };
    for (const wchar_t* block : {L"040904b0", L"041904b0"}) {
        const std::wstring at = std::wstring(L"\\StringFileInfo\\") + block + L"\\";
        EXPECT_EQ(query(at + L"ProductName"), L"Vestra CSP");
        EXPECT_EQ(query(at + L"OriginalFilename"), L"vestra.cpl");
        for (const wchar_t* name : {L"LegalCopyright", L"FileDescription", L"FileVersion", L"CompanyName"})
            EXPECT_FALSE(query(at + name).empty());
    }
    EXPECT_NE(query(L"\\StringFileInfo\\040904b0\\LegalCopyright"),
              query(L"\\StringFileInfo\\041904b0\\LegalCopyright"));
    void* languages = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(version.data(), L"\\VarFileInfo\\Translation", &languages, &length));
    const std::vector<WORD> listed(static_cast<WORD*>(languages),
                                   static_cast<WORD*>(languages) + length / sizeof(WORD));
    EXPECT_EQ(listed, (std::vector<WORD>{kEnglish, 1200, kRussian, 1200}));
}

TEST(Resources, ManifestsAskForTheNewCommonControls) {
    for (const WORD id : {WORD{2}, WORD{123}}) {
        ACTCTXW request{};
        request.cbSize = sizeof request;
        request.dwFlags = ACTCTX_FLAG_RESOURCE_NAME_VALID;
        request.lpSource = PanelPath().c_str();
        request.lpResourceName = MAKEINTRESOURCEW(id);
        const UniqueActivationContext context(CreateActCtxW(&request));
        EXPECT_TRUE(context) << id;
        const Bytes bytes = Resource(RT_MANIFEST, id, kNeutral);
        const std::string text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        EXPECT_NE(text.find("Microsoft.Windows.Common-Controls"), std::string::npos) << id;
        EXPECT_EQ(text.find("requestedExecutionLevel"), std::string::npos) << id;
    }
}

}  // namespace
