// Where the product's libraries are loaded from, how their functions are bound, which installation this one is.
#include <msi.h>

#include <filesystem>

#include "applet/services/ProcessCaches.h"
#include "framework/Module.h"
#include "framework/Registry.h"
#include "settings/InstalledProduct.h"
#include "tests/support/Directory.h"
#include "tests/support/Services.h"

namespace {

constexpr wchar_t kLibrary[] = L"kvtest.dll";
const std::wstring kRegistered = L"C:\\registered\\kvtest.dll";

// The path registered for a file, of any type and size, while the object lives.
class RegisteredPath {
  public:
    // `cut`: bytes left out at the end, the terminator's included.
    RegisteredPath(const std::wstring& file, const std::wstring& text, DWORD type = REG_SZ, size_t cut = 0)
        : key_(L"SOFTWARE\\Kelvane\\Cryptography\\CurrentVersion\\AppPath\\" + file),
          before_(ReadRegistryText(HKEY_LOCAL_MACHINE, key_, nullptr).value_or(L"")) {
        Write(text, type, cut);
    }
    ~RegisteredPath() {
        Write(before_, REG_SZ, 0);
        if (before_.empty()) RegDeleteKeyW(HKEY_LOCAL_MACHINE, key_.c_str());
    }

  private:
    void Write(const std::wstring& text, DWORD type, size_t cut) const {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, key_.c_str(), nullptr, type, text.c_str(),
                        static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t) - cut));
    }
    std::wstring key_, before_;
};

const std::wstring kSelf = Module::FileName(), kOwnName = std::filesystem::path(kSelf).filename();
const std::wstring kUpper = [](std::wstring path) { return std::wstring(CharUpperW(path.data())); }(kSelf);

// Texts may lack their terminator, but not have half of one.
TEST(ProductLibraryPath, RegisteredOnesCountWhenTheOwnIsThisModulesAndTheyAreFull) {
    const std::wstring beside = ProgramDirectory() + kLibrary;
    const struct {
        const char* name;
        std::wstring own, stored, path;
        DWORD type = REG_SZ;
        size_t cut = 0;
    } cases[] = {
        {"the own in other letters", kUpper, kRegistered, kRegistered},
        {"another's own", L"C:\\other\\" + kOwnName, kRegistered, beside},
        {"more behind", kSelf, kRegistered + L'\0' + L"behind", kRegistered},
        {"no drive", kSelf, L"\\kvtest.dll", beside},
        {"no bytes at all", kSelf, L"", beside, REG_SZ, 2},
        {"no terminator", kSelf, kRegistered, kRegistered, REG_SZ, 2},
        {"half a terminator", kSelf, kRegistered, beside, REG_SZ, 1},
        {"expandable", kSelf, kRegistered, beside, REG_EXPAND_SZ},
    };
    for (const auto& c : cases) {
        const RegisteredPath own(kOwnName, c.own), library(kLibrary, c.stored, c.type, c.cut);
        EXPECT_EQ(ResolveProductLibrary(kLibrary), c.path) << c.name;
    }
}

// What the services loaded last, and under what circumstances. The current directory holds a library of the name, which
// the system's own order would find.
class ProductLibraryLoad : public testing::Test {
  protected:
    ProductLibraryLoad() {
        loader = &patch;
        CopyFileW((ProgramDirectory() + L"kvsuprt.dll").c_str(), (directory.Path() + kLibrary).c_str(), FALSE);
        std::filesystem::current_path(directory.Path());
    }
    ~ProductLibraryLoad() override { std::filesystem::current_path(before); }

    static HMODULE WINAPI Load(LPCWSTR file, HANDLE handle, DWORD flags) {
        ++loads;
        path = file;
        errorMode = GetThreadErrorMode();
        GetCurrentActCtx(&context);
        if (context) ReleaseActCtx(context);
        constexpr DWORD searchFlags = 0x1F00;
        if (!knowsSearchFlags && (flags & searchFlags)) return SetLastError(ERROR_INVALID_PARAMETER), nullptr;
        return loader->Original<decltype(LoadLibraryExW)>()(file, handle, flags);
    }

    static inline const ImportPatch* loader;
    static inline int loads;
    static inline std::wstring path;
    static inline DWORD errorMode;
    static inline bool knowsSearchFlags = true;
    static inline HANDLE context;
    const std::filesystem::path before = std::filesystem::current_path();
    TemporaryDirectory directory;
    ImportPatch patch{"LoadLibraryExW", &Load};
};

TEST_F(ProductLibraryLoad, QuietInTheModulesContextAndFromTheRegisteredPathOnly) {
    SetThreadErrorMode(SEM_NOGPFAULTERRORBOX, nullptr);
    const RegisteredPath own(kOwnName, kSelf), missing(L"kvsuprt.dll", L"C:\\none.dll");
    EXPECT_FALSE(UniqueModule(LoadProductLibrary(L"kvsuprt.dll")));  // although one lies beside
    EXPECT_EQ(path, L"C:\\none.dll");
    EXPECT_EQ(errorMode, DWORD{SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX});
    EXPECT_EQ(context, Module::ActivationContext());
    EXPECT_EQ(GetThreadErrorMode(), DWORD{SEM_NOGPFAULTERRORBOX});
}

TEST_F(ProductLibraryLoad, ABareNameIsNeverFound) {
    const ImportPatch own(
        "GetModuleFileNameW", +[](HMODULE, LPWSTR, DWORD) { return DWORD{0}; });
    EXPECT_FALSE(UniqueModule(LoadProductLibrary(kLibrary)));
    EXPECT_TRUE(UniqueModule(LoadProductLibrary(L"kvsuprt.dll"))) << "the program's own directory is a safe one";
}

TEST_F(ProductLibraryLoad, PathsAreFullWhereTheSystemKnowsNoSearchFlags) {
    const LibraryFunction unknown("AddDllDirectory", nullptr);
    knowsSearchFlags = false;
    EXPECT_FALSE(UniqueModule(LoadLibraryByName(kLibrary)));
    EXPECT_EQ(path, ProgramDirectory() + kLibrary);
    EXPECT_TRUE(UniqueModule(LoadLibraryByName(L"msi.dll")));
    EXPECT_EQ(path, L"C:\\windows\\system32\\msi.dll");
    knowsSearchFlags = true;
}

TEST_F(ProductLibraryLoad, TriedAgainUntilItSucceeds) {
    loads = 0;
    ProductLibrary absent(L"kvabsent.dll"), library(L"kvsuprt.dll");
    EXPECT_EQ(absent.Find("support_wnd_language_get"), nullptr);
    EXPECT_EQ(absent.Load(), kLibraryNotLoaded);
    EXPECT_EQ(loads, 2);
    library.Release();
    EXPECT_NE(library.Find("support_wnd_language_get"), nullptr);
    EXPECT_EQ(library.Load(), 0u);
    EXPECT_EQ(loads, 3);
}

TEST(SupportLibrary, TextsHaveAnyLengthAndRightsDecideOnWriting) {
    constexpr wchar_t section[] = L"\\local\\ServicesTest", path[] = L"\\local\\ServicesTest\\Value";
    const std::wstring written(300, L'ё');
    std::wstring shown;
    EXPECT_EQ(support_registry_put_section(section), 0u);
    EXPECT_EQ(support_registry_put_string(path, written.c_str()), 0u);
    const auto read = [&](wchar_t* to, DWORD* room) { return support_registry_get_string(path, room, to); };
    EXPECT_EQ(ReadSupportText(read, shown), 0u);
    EXPECT_EQ(shown, written);
    EXPECT_TRUE(MayWrite(section));
    std::optional<Denied> denied(section);
    EXPECT_FALSE(MayWrite(section));
    denied.reset();
    EXPECT_EQ(support_registry_delete_section(section), 0u);
}

// The installer locates the panel of the third installation here.
INSTALLSTATE WINAPI Locate(LPCWSTR code, LPCWSTR, LPWSTR path, LPDWORD) {
    if (lstrcmpW(code, L"0") == 0) return INSTALLSTATE_MOREDATA;
    lstrcpyW(path, lstrcmpW(code, L"1") == 0 ? L"C:\\other\\vestra.cpl" : L"C:\\ЩИТ\\VESTRA.CPL");
    return INSTALLSTATE_LOCAL;
}
UINT WINAPI Enumerate(LPCWSTR, DWORD index, LPWSTR code) {
    lstrcpyW(code, std::to_wstring(index).c_str());
    return index < 3 ? ERROR_SUCCESS : ERROR_NO_MORE_ITEMS;
}
UINT ownAnswer;
UINT WINAPI GetInfo(LPCWSTR code, LPCWSTR, LPWSTR value, LPDWORD) {
    const bool own = lstrcmpW(code, L"2") == 0;
    lstrcpyW(value, own ? L"" : L"second");
    return own ? ownAnswer : ERROR_SUCCESS;
}

TEST(InstalledProduct, IsTheOneWhosePanelIsThisModuleAndTellsWhatIsKnownOfIt) {
    const LibraryFunction enumerate("MsiEnumClientsW", &Enumerate), locate("MsiGetComponentPathW", &Locate),
        get("MsiGetProductInfoW", &GetInfo);
    const InstalledProduct product(L"C:\\Щит\\vestra.cpl");
    EXPECT_EQ(product.Code(), L"2");
    for (const UINT answer : {ERROR_SUCCESS, ERROR_UNKNOWN_PROPERTY}) {  // another answers for a failing one only
        ownAnswer = answer;
        EXPECT_EQ(product.Property(L"URLInfoAbout"), answer ? L"second" : L"");
    }
    EXPECT_EQ(InstalledProduct(L"C:\\third\\vestra.cpl").Code(), L"{B4E93F27-6A15-4D8C-8E02-7A39C15D6E80}");
}

}  // namespace
