// The Advanced page as a real window, and the list of file versions that it shows.
#include "pages/PropPageConfigCSPAdvanced.h"

#include <shlwapi.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "settings/FileVersions.h"
#include "tests/support/ClipboardText.h"
#include "tests/support/Directory.h"
#include "tests/support/ModuleFiles.h"
#include "tests/support/SettingsPage.h"

namespace {

const std::wstring kLibrary = ProgramDirectory() + L"kvsuprt.dll",
                   kSystem[] = {L"\\advapi32.dll", L"\\crypt32.dll",  L"\\inetcomm.dll", L"\\schannel.dll",
                                L"\\secur32.dll",  L"\\security.dll", L"\\wininet.dll"};

UINT WINAPI NoDirectory(LPWSTR, UINT) {
    return 0;
}

std::wstring AllOf(const std::wstring& path) {
    const FileVersion file = FileVersionsReader().Read(path);
    return file.name + L'|' + file.version + L'|' + file.type + L'|' + file.path;
}

TEST(FileVersions, AreOfWhateverIsInAFile) {
    const WORD machines[] = {0x14C, 0x8664, 0x200, 0xAA64, 0x1C4}, characteristics[] = {0, 0x100, 0, 0x2022, 0x2122};
    const wchar_t* types[] = {L"x86", L"x64", L"ia64", L"64 bit", L"32 bit"};
    std::vector<std::string> files;
    for (std::size_t i = 0; i < std::size(types); ++i) files.push_back(Image(machines[i], characteristics[i]));
    for (const DWORD offset : {489u, 0x7FFFFFFFu, 0xFFFFFFC0u}) files.push_back(Image(0x14C, 0, offset));
    for (const char* text : {"plain text", "", "MZ"}) files.emplace_back(text);
    files.push_back(Image(0x14C, 0, 4076, 4100).substr(0, 4096));  // behind it nothing is mapped
    const TemporaryDirectory directory;
    for (const std::wstring name : {L"Имя", L"\u4E2D"}) {  // the latter isn't in the ANSI code page
        const std::wstring path = directory.Path() + name;
        for (std::size_t i = 0; i < files.size(); ++i) {
            std::ofstream(std::filesystem::path(path), std::ios::binary) << files[i];
            const std::wstring type = i < std::size(types) ? types[i] : L"32 bit";
            EXPECT_EQ(AllOf(path), name + L"||" + type + L"|" + path) << i;
        }
    }
    const std::wstring big = directory.Path() + L"big";
    std::ofstream(std::filesystem::path(big), std::ios::binary) << files[1];
    std::filesystem::resize_file(big, 1ull << 32);
    EXPECT_EQ(AllOf(big), L"big||x64|" + big);
    EXPECT_EQ(AllOf(ProgramDirectory() + L".\\kvsuprt.dll"), L"kvsuprt.dll|5.0.4821.0|x64|" + kLibrary);
    for (const std::size_t length : {259, 260, 400}) {
        std::wstring path = L"\\\\?\\" + directory.Path();
        while (path.size() + 106 < length) std::filesystem::create_directory(path += std::wstring(100, L'd') + L"\\");
        const std::wstring name(length + 4 - path.size(), L'f'), bare = (path += name).substr(4);
        ASSERT_TRUE(CopyFileW(kLibrary.c_str(), path.c_str(), FALSE));
        const FileVersion whole = FileVersionsReader().Read(path), plain = FileVersionsReader().Read(bare);
        EXPECT_EQ(whole.name, name);
        EXPECT_EQ(whole.version, L"5.0.4821.0") << length;
        EXPECT_EQ(whole.path, path);
        if (length <= 259) {  // beyond that it depends on the system
            EXPECT_EQ(plain.version, L"5.0.4821.0") << length;
        }
        EXPECT_EQ(plain.path, bare);
    }
    const LibraryFunction map("MapAndLoad", nullptr), query("VerQueryValueW", nullptr);
    EXPECT_EQ(AllOf(kLibrary), L"kvsuprt.dll||32 bit|" + kLibrary);
}

TEST(FileVersions, AreOfTheSystemsModulesTwiceAndOfTheRegisteredOnes) {
    RegisteredModules modules;
    modules.Add(L"a", L"C:\\there\\a.dll");
    modules.Add(L"b", L"C:\\number.dll", REG_DWORD);
    modules.Add(L"c", L"");
    modules.Add(L"d", L"%SystemRoot%\\d.dll", REG_EXPAND_SZ);
    modules.Add(std::wstring(255, L'e'), L"relative.dll");
    for (const std::wstring second : {L"C:\\windows\\syswow64", L""}) {
        std::optional<ImportPatch> missing;
        if (second.empty()) missing.emplace(nullptr, "GetSystemWow64DirectoryW", &NoDirectory);
        std::wstring expected, listed;
        for (const int i : {0, 1, 2, 6, 3, 5, 4})
            expected += L"C:\\windows\\system32" + kSystem[i] + L"\n" + second + kSystem[i] + L"\n";
        for (const std::wstring& path : ListedFiles()) listed += path + L"\n";
        EXPECT_EQ(listed, expected + L"C:\\there\\a.dll\n\nC:\\windows\\d.dll\nrelative.dll\n");
        EXPECT_EQ(ReadFileVersions(ListedFiles()).size(), 17u);  // of an empty path there is nothing to tell
    }
}

TEST(FileVersions, AreOrderedByEachColumnBothWays) {
    const FileVersion files[] = {{L"b", L"10.0", L"x64", L"1"}, {L"A", L"5.1", L"x86", L"2"},
                                 {L"B", L"10.0", L"x64", L"0"}, {L"a", L"5.1", L"ia64", L"3"},
                                 {L"c", L"", L"x64", L"я"},     {L"a", L"9", L"x86", L"Б"}};
    const std::wstring orders[] = {L"32Б01я", L"я0132Б", L"301я2Б", L"0123Бя"};
    for (int order = 0; order < 8; ++order) {
        std::wstring paths = orders[order / 2];
        if (order % 2 != 0) std::ranges::reverse(paths);
        const auto at = [&](std::size_t i) {
            return *std::ranges::find(files, paths.substr(i, 1), &FileVersion::path);
        };
        for (std::size_t i = 1; i < std::size(files); ++i)
            EXPECT_LT(CompareFileVersions(at(i - 1), at(i), static_cast<VersionColumn>(order / 2), order % 2 != 0), 0);
    }
}

// "<" over a column for an arrow that points up, ">" for one that points down. The first one ever shown points up.
std::wstring Arrows(HWND list, HBITMAP& up) {
    std::wstring arrows;
    for (int column = 0; column < 4; ++column) {
        HDITEMW item{};
        item.mask = HDI_FORMAT | HDI_BITMAP;
        Header_GetItem(ListView_GetHeader(list), column, &item);
        const bool picture = (item.fmt & HDF_BITMAP) && (item.fmt & HDF_BITMAP_ON_RIGHT) && item.hbm;
        if (picture && !up) up = item.hbm;
        arrows += picture ? (item.hbm == up ? L"<" : L">") : L"";
        arrows += item.fmt & HDF_SORTUP ? L"<|" : item.fmt & HDF_SORTDOWN ? L">|" : L"|";
    }
    return arrows;
}

// The width that a column's content needs, or its heading if that needs more; the last heading is short.
int Needed(HWND list, int column) {
    const int now = ListView_GetColumnWidth(list, column);
    int needed = 0;
    for (const int kind : {LVSCW_AUTOSIZE, LVSCW_AUTOSIZE_USEHEADER}) {
        if (kind == LVSCW_AUTOSIZE_USEHEADER && column == 3) continue;
        ListView_SetColumnWidth(list, column, kind);
        needed = std::max(needed, ListView_GetColumnWidth(list, column));
    }
    ListView_SetColumnWidth(list, column, now);
    return needed;
}

struct AdvancedPage : SettingsPageTest<CPropPageConfigCSPAdvanced> {
    // Instead of the system's modules, which differ from system to system, only paths.
    ImportPatch first{nullptr, "GetSystemDirectoryW", &NoDirectory};
    ImportPatch second{nullptr, "GetSystemWow64DirectoryW", &NoDirectory};
    RegisteredModules modules;
};

// In the place of the clipboard's opening, while another program has it now and then.
struct BusyClipboard {
    static BOOL WINAPI Open(HWND owner) { return ++tries % 3 == 0 && self->patch.Original<decltype(Open)>()(owner); }
    static inline int tries;
    static inline const BusyClipboard* self;
    const ImportPatch patch{(self = this, tries = 0, nullptr), "OpenClipboard", &Open};
};

TEST_F(AdvancedPage, ShowsSortsAndCopiesTheList) {
    modules.Add(L"1", kLibrary);
    modules.Add(L"2", L"C:\\none\\lost file.dll");
    modules.Add(L"3", ProgramDirectory() + L"softcsp.exe");
    const std::wstring library = L"kvsuprt.dll        5.0.4821.0 x64 " + kLibrary + L"\r\n",
                       tool = L"softcsp.exe        5.0.4821.0 x64 " + ProgramDirectory() + L"softcsp.exe\r\n",
                       unknown = std::wstring(30, L' ') + L"32 bit ", lost = unknown + L"C:\\none\\lost file.dll\r\n";
    std::wstring system, reversed;
    for (const std::wstring& name : kSystem) {
        const std::wstring line = unknown + name + L"\r\n";
        system += line + line;
        reversed.insert(0, line + line);
    }
    const std::wstring up = lost + system + library + tool, down = tool + library + reversed + lost,
                       path = lost + library + tool + system, downByPath = reversed + tool + library + lost;
    const int clicked[] = {0, 0, 3, 3, 2, 1, 1, 0};
    const wchar_t* arrows[] = {L">||||", L"<||||", L"|||<|", L"|||>|", L"||<||", L"|<|||", L"|>|||", L"<||||"};
    const std::wstring* texts[] = {&down, &up, &path, &downByPath, &up, &up, &down, &up};
    const auto six = +[](DLLVERSIONINFO* version) { return version->dwMajorVersion = 6, S_OK; };
    for (const bool newer : {false, true}) {
        const LibraryFunction version(newer ? "DllGetVersion" : "none", six);
        Look([&](HWND page) {
            const HWND list = GetDlgItem(page, IDC_ADVANCED_VERSIONS);
            HBITMAP arrow = nullptr;
            EXPECT_EQ(Arrows(list, arrow), L"<||||");
            EXPECT_EQ(arrow == nullptr, newer);
            std::wstring cells;
            for (int column = 0; column < 4; ++column) {
                wchar_t text[2][300] = {};
                LVCOLUMNW heading{LVCF_TEXT, 0, 0, text[0], 300, 0, 0, 0, 0, 0, 0};
                ListView_GetColumn(list, column, &heading);
                ListView_GetItemText(list, 15, column, text[1], 300);
                cells += std::wstring(text[0]) + L": " + text[1] + L"|";
            }
            EXPECT_EQ(cells, L"Name: kvsuprt.dll|Version: 5.0.4821.0|Type: x64|Path: " + kLibrary + L"|");
            EXPECT_EQ(ListView_GetExtendedListViewStyle(list), DWORD{LVS_EX_FULLROWSELECT | LVS_EX_LABELTIP});
            for (int column = 0; column < 4; ++column)
                EXPECT_EQ(ListView_GetColumnWidth(list, column), Needed(list, column));
            for (std::size_t i = 0; i < std::size(clicked); ++i) {
                NMLISTVIEW click{{list, 1023, LVN_COLUMNCLICK}, -1, clicked[i], 0, 0, 0, {}, 0};
                SendMessageW(page, WM_NOTIFY, 1023, reinterpret_cast<LPARAM>(&click));
                {
                    const BusyClipboard busy;
                    Ui::Click(page, IDC_ADVANCED_COPY);
                }
                EXPECT_EQ(Arrows(list, arrow), arrows[i]);
                EXPECT_EQ(ClipboardText(), *texts[i]) << i;
            }
            EXPECT_FALSE(Ui::ApplyEnabled(GetParent(page)));  // there is nothing to apply
        });
    }
}

TEST_F(AdvancedPage, SurvivesEveryFailure) {
    modules.Add(L"1", kLibrary);
    int rows = 0;
    const auto look = [&](HWND page) {
        rows = ListView_GetItemCount(GetDlgItem(page, IDC_ADVANCED_VERSIONS));
        Ui::Click(page, IDC_ADVANCED_COPY);
    };
    const auto inspect = [&](const Fault& fault) -> std::string {
        const bool ofRegistry = fault.onwards || std::strncmp(fault.function, "Reg", 3) == 0;
        if (rows != 15 && (rows != 14 || !ofRegistry) && (rows != 0 || !fault.memory)) return "loses files";
        return "";
    };
    const auto open = [&] { rows = 0, Look(look); };
    Faults("file versions", open, inspect, {"CreateFileW"});  // no system directory is known, which makes paths equal
}

}  // namespace
