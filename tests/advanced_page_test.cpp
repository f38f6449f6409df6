// The Advanced page as a real window, and the list of file versions that it shows.
#include "pages/PropPageConfigCSPAdvanced.h"

#include <shlwapi.h>

#include <filesystem>
#include <fstream>

#include "settings/FileVersions.h"
#include "tests/support/Directory.h"
#include "tests/support/SettingsPage.h"

namespace {

const std::wstring kLibrary = ProgramDirectory() + L"kvsuprt.dll";

// What the product's installer registers; gone with the object. Modules come in the order of their keys.
class RegisteredModules {
  public:
    ~RegisteredModules() { RegDeleteTreeW(HKEY_LOCAL_MACHINE, key_.c_str()); }
    void Add(const std::wstring& key, const std::wstring& path, DWORD type = REG_SZ) {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, (key_ + L"\\kvcsp\\" + key).c_str(), L"Path", type, path.c_str(),
                        static_cast<DWORD>(path.size() * sizeof(wchar_t)));
    }

  private:
    const std::wstring key_ = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\KvexIntegrity";
};

// A file of this length with an image's headers, as far as they fit into it.
std::string Image(WORD machine, WORD characteristics, DWORD offset = 128, std::size_t length = 512) {
    std::string bytes = "MZ" + std::string(length - 2, '\0');
    const auto put = [&](std::size_t at, const auto& value) { std::memcpy(bytes.data() + at, &value, sizeof value); };
    put(60, offset);
    if (offset + 24 > length) return bytes;
    put(offset, IMAGE_NT_SIGNATURE);
    put(offset + 4, machine);
    put(offset + 22, characteristics);
    return bytes;
}

UINT WINAPI NoDirectory(LPWSTR, UINT) {
    return 0;
}

std::wstring AllOf(const std::wstring& path) {
    const FileVersion file = FileVersionsReader().Read(path);
    return file.name + L'|' + file.version + L'|' + file.type + L'|' + file.path;
}

TEST(FileVersions, AreOfWhateverIsInAFile) {
    const TemporaryDirectory directory;
    const std::pair<std::string, std::wstring> files[] = {
        {Image(0x14C, 0), L"x86"},
        {Image(0x8664, 0x100), L"x64"},
        {Image(0x200, 0), L"ia64"},
        {Image(0xAA64, 0x2022), L"64 bit"},
        {Image(0x1C4, 0x2122), L"32 bit"},
        {"plain text", L"32 bit"},
        {Image(0x14C, 0, 4076, 4100).substr(0, 4096), L"32 bit"}};  // behind it nothing is mapped
    for (const std::wstring name : {L"Имя", L"\u4E2D"}) {           // the latter isn't in the ANSI code page
        const std::wstring path = directory.Path() + name;
        for (const auto& [bytes, type] : files) {
            std::ofstream(std::filesystem::path(path), std::ios::binary) << bytes;
            EXPECT_EQ(AllOf(path), name + L"||" + type + L"|" + path) << &bytes - &files[0].first;
        }
    }
    EXPECT_EQ(AllOf(ProgramDirectory() + L".\\kvsuprt.dll"), L"kvsuprt.dll|5.0.4821.0|x64|" + kLibrary);
    std::wstring path = L"\\\\?\\" + directory.Path();
    while (path.size() < 300) std::filesystem::create_directory(path += std::wstring(100, L'd') + L"\\");
    ASSERT_TRUE(CopyFileW(kLibrary.c_str(), (path += L"long").c_str(), FALSE));
    EXPECT_EQ(FileVersionsReader().Read(path).version, L"5.0.4821.0");
    const LibraryFunction map("MapAndLoad", nullptr), query("VerQueryValueW", nullptr);
    EXPECT_EQ(AllOf(kLibrary), L"kvsuprt.dll||32 bit|" + kLibrary);
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

struct AdvancedPage : SettingsPageTest<CPropPageConfigCSPAdvanced> {
    // Instead of the system's modules, which differ from system to system, only paths.
    ImportPatch first{"GetSystemDirectoryW", &NoDirectory};
    ImportPatch second{"GetSystemWow64DirectoryW", &NoDirectory};
    RegisteredModules modules;
};

// In the place of the clipboard's opening, while another program has it now and then.
struct BusyClipboard {
    static BOOL WINAPI Open(HWND owner) { return ++tries % 3 == 0 && self->patch.Original<decltype(Open)>()(owner); }
    static inline int tries;
    static inline const BusyClipboard* self;
    const ImportPatch patch{(self = this, tries = 0, "OpenClipboard"), &Open};
};

TEST_F(AdvancedPage, ShowsSortsAndCopiesTheList) {
    modules.Add(L"1", kLibrary);
    modules.Add(L"2", L"%SystemDrive%\\none\\lost file.dll", REG_EXPAND_SZ);
    modules.Add(L"3", L"");
    const std::wstring library = L"kvsuprt.dll        5.0.4821.0 x64 " + kLibrary + L"\r\n",
                       unknown = std::wstring(30, L' ') + L"32 bit ", lost = unknown + L"C:\\none\\lost file.dll\r\n";
    std::wstring system, reversed;
    for (const wchar_t* name :
         {L"advapi32", L"crypt32", L"inetcomm", L"schannel", L"secur32", L"security", L"wininet"}) {
        const std::wstring line = unknown + L"\\" + name + L".dll\r\n";
        system += line + line;
        reversed.insert(0, line + line);
    }
    const std::tuple<int, const wchar_t*, std::wstring> clicks[] = {{3, L"|||<|", lost + library + system},
                                                                    {3, L"|||>|", reversed + library + lost},
                                                                    {1, L"|<|||", lost + system + library}};
    const auto six = +[](DLLVERSIONINFO* version) { return version->dwMajorVersion = 6, S_OK; };
    for (const bool newer : {false, true}) {
        const LibraryFunction version(newer ? "DllGetVersion" : "none", six);
        Look([&](HWND page) {
            const HWND list = GetDlgItem(page, IDC_ADVANCED_VERSIONS);
            HBITMAP arrow = nullptr;
            EXPECT_EQ(Arrows(list, arrow), L"<||||");
            EXPECT_EQ(arrow == nullptr, newer);
            EXPECT_EQ(ListView_GetExtendedListViewStyle(list), DWORD{LVS_EX_FULLROWSELECT | LVS_EX_LABELTIP});
            const int width = ListView_GetColumnWidth(list, 3);
            ListView_SetColumnWidth(list, 3, LVSCW_AUTOSIZE);
            EXPECT_EQ(ListView_GetColumnWidth(list, 3), width);
            for (const auto& [column, arrows, text] : clicks) {
                NMLISTVIEW click{{list, 1023, LVN_COLUMNCLICK}, -1, column, 0, 0, 0, {}, 0};
                SendMessageW(page, WM_NOTIFY, 1023, reinterpret_cast<LPARAM>(&click));
                {
                    const BusyClipboard busy;
                    Ui::Click(page, IDC_ADVANCED_COPY);
                }
                EXPECT_EQ(Arrows(list, arrow), arrows);
                EXPECT_EQ(Ui::ClipboardText(), text) << column;
            }
        });
    }
}

TEST_F(AdvancedPage, SurvivesEveryFailure) {
    int rows = 0;
    const auto look = [&](HWND page) {
        rows = ListView_GetItemCount(GetDlgItem(page, IDC_ADVANCED_VERSIONS));
        Ui::Click(page, IDC_ADVANCED_COPY);
    };
    const auto inspect = [&](const Fault& fault) {
        return rows == 14 || (rows == 0 && fault.memory) ? "" : "loses files";
    };
    const auto open = [&] { rows = 0, Look(look); };
    Faults("file versions", open, inspect, {"CreateFileW"});  // no system directory is known, which makes paths equal
}

}  // namespace
