// Where the product's libraries are loaded from, and how their functions are bound.
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>

#include "applet/services/ProcessCaches.h"
#include "applet/services/SupportLibrary.h"
#include "framework/Module.h"
#include "tests/support/Directory.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/Services.h"

namespace {

constexpr wchar_t kLibrary[] = L"kvtest.dll";

std::wstring Self() {
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

// The path registered for a file, of any type and size; gone at the end.
class RegisteredPath {
  public:
    explicit RegisteredPath(const std::wstring& file)
        : key_(L"SOFTWARE\\Kelvane\\Cryptography\\CurrentVersion\\AppPath\\" + file) {}
    RegisteredPath(const std::wstring& file, const std::wstring& path) : RegisteredPath(file) { Set(REG_SZ, path); }
    ~RegisteredPath() { RegDeleteKeyW(HKEY_LOCAL_MACHINE, key_.c_str()); }

    // `cut`: bytes left out at the end, the terminator's included.
    void Set(DWORD type, const std::wstring& text, size_t cut = 0) const {
        UniqueRegistryKey key;
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, key_.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, key.put(), nullptr);
        RegSetValueExW(key.get(), nullptr, 0, type, reinterpret_cast<const BYTE*>(text.c_str()),
                       static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t) - cut));
    }

  private:
    std::wstring key_;
};

const std::wstring& OwnName() {
    static const std::wstring name = std::filesystem::path(Self()).filename();
    return name;
}

TEST(ProductLibraryPath, TheOwnKeyDecidesWhetherTheLibrarysCounts) {
    const std::wstring beside = ProgramDirectory() + kLibrary, registered = L"C:\\registered\\kvtest.dll";
    EXPECT_EQ(ResolveProductLibrary(kLibrary), beside);
    const RegisteredPath library(kLibrary, registered);
    EXPECT_EQ(ResolveProductLibrary(kLibrary), beside);
    std::wstring upper = Self();
    CharUpperW(upper.data());
    for (const auto& [own, counts] : {std::pair<std::wstring, bool>{L"C:\\elsewhere\\" + OwnName(), false},
                                      {Self(), true},
                                      {upper, true},
                                      {Self() + L" ", false},
                                      {OwnName(), false},
                                      {L"", false}}) {
        const RegisteredPath self(OwnName(), own);
        EXPECT_EQ(ResolveProductLibrary(kLibrary), counts ? registered : beside) << counts;
        EXPECT_EQ(ResolveProductLibrary(L"kvother.dll"), ProgramDirectory() + L"kvother.dll");
    }
}

TEST(ProductLibraryPath, OnlyFullPathsStoredAsTextAreTaken) {
    const RegisteredPath self(OwnName(), Self()), library(kLibrary);
    const std::wstring full = L"C:\\registered\\kvtest.dll";
    struct Case {
        DWORD type;
        std::wstring stored;
        size_t cut;
        std::wstring path;  // empty: this module's directory
    };
    const Case cases[] = {
        {REG_SZ, full, 0, full},
        {REG_SZ, full, 2, full},  // without its terminator
        {REG_SZ, full, 3, {}},    // half a character
        {REG_SZ, full + L'\0' + L"behind", 0, full},
        {REG_SZ, L"\\\\server\\share\\kvtest.dll", 0, L"\\\\server\\share\\kvtest.dll"},
        {REG_SZ, L"C:\\" + std::wstring(257, L'a'), 0, L"C:\\" + std::wstring(257, L'a')},
        {REG_SZ, L"C:\\" + std::wstring(32764, L'a'), 0, L"C:\\" + std::wstring(32764, L'a')},
        {REG_SZ, L"C:\\" + std::wstring(32765, L'a'), 0, {}},
        {REG_SZ, L"", 0, {}},
        {REG_SZ, L"", 2, {}},
        {REG_SZ, L"", 1, {}},
        {REG_SZ, L"kvtest.dll", 0, {}},
        {REG_SZ, L"sub\\kvtest.dll", 0, {}},
        {REG_SZ, L"\\kvtest.dll", 0, {}},
        {REG_SZ, L"C:kvtest.dll", 0, {}},
        {REG_SZ, L"C:\\", 0, {}},
        {REG_SZ, L"1:\\kvtest.dll", 0, {}},
        {REG_EXPAND_SZ, full, 0, {}},
        {REG_MULTI_SZ, full + L'\0', 0, {}},
        {REG_BINARY, full, 0, {}},
        {REG_NONE, full, 0, {}},
        {REG_DWORD, L"C", 0, {}},
        {REG_QWORD, L"C:\\", 0, {}},
    };
    for (const Case& c : cases) {
        library.Set(c.type, c.stored, c.cut);
        EXPECT_EQ(ResolveProductLibrary(kLibrary), c.path.empty() ? ProgramDirectory() + kLibrary : c.path)
            << "type " << c.type << ", " << c.stored.size() << " characters less " << c.cut << " bytes";
    }
}

std::wstring ownPath;
DWORD WINAPI GiveOwnPath(HMODULE, LPWSTR buffer, DWORD size) {
    lstrcpynW(buffer, ownPath.c_str(), static_cast<int>(size));
    return ownPath.size() < size ? static_cast<DWORD>(ownPath.size()) : size;
}
DWORD longPathLength = 0;
DWORD WINAPI GiveLongPath(LPCWSTR path, LPWSTR buffer, DWORD size) {
    lstrcpynW(buffer, path, static_cast<int>(size));
    return longPathLength ? longPathLength : static_cast<DWORD>(lstrlenW(path));
}

TEST(ProductLibraryPath, NothingFromAnOwnPathThatCantBeHad) {
    const ImportPatch file(nullptr, "GetModuleFileNameW", &GiveOwnPath);
    const ImportPatch longer(nullptr, "GetLongPathNameW", &GiveLongPath);
    ASSERT_TRUE(file.Found() && longer.Found());
    const std::wstring longest = L"C:\\" + std::wstring(MAX_PATH - 1 - 3 - 1 - 10, L'd') + L"\\";
    struct Case {
        std::wstring own;
        DWORD longLength;
        std::wstring path;
    };
    const Case cases[] = {
        {L"C:\\d\\panel.cpl", 0, L"C:\\d\\kvtest.dll"},
        {L"", 0, {}},
        {std::wstring(MAX_PATH, L'p'), 0, {}},
        {L"C:\\d\\panel.cpl", MAX_PATH + 1, {}},
        {longest + L"p.cpl", 0, longest + kLibrary},  // 259 characters
        {longest.substr(0, longest.size() - 1) + L"d\\p.cpl", 0, {}},
    };
    for (const Case& c : cases) {
        ownPath = c.own;
        longPathLength = c.longLength;
        EXPECT_EQ(ResolveProductLibrary(kLibrary), c.path) << c.own.size();
    }
}

// Every load that the services ask for while the object lives, and under what circumstances.
struct Load {
    std::wstring path;
    DWORD errorMode;
    HANDLE context;
};
std::vector<Load> loads;
const ImportPatch* loader;

HANDLE CurrentContext() {
    HANDLE context = nullptr;
    GetCurrentActCtx(&context);
    if (context) ReleaseActCtx(context);
    return context;
}

HMODULE WINAPI NoteLoad(LPCWSTR path, HANDLE file, DWORD flags) {
    loads.push_back({path, GetThreadErrorMode(), CurrentContext()});
    return loader->Original<decltype(LoadLibraryExW)>()(path, file, flags);
}

class ProductLibraryLoad : public testing::Test {
  protected:
    ProductLibraryLoad() {
        loader = &patch;
        loads.clear();
    }
    void SetUp() override { ASSERT_TRUE(patch.Found()); }

    TemporaryDirectory directory;
    ImportPatch patch{nullptr, "LoadLibraryExW", &NoteLoad};
};

TEST_F(ProductLibraryLoad, QuietInTheModulesContextAndNowhereElse) {
    DWORD before = 0;
    SetThreadErrorMode(SEM_NOGPFAULTERRORBOX, &before);
    const HANDLE contextBefore = CurrentContext();
    const RegisteredPath self(OwnName(), Self());
    const RegisteredPath missing(kLibrary, directory.Path() + kLibrary);
    CopyFileW((ProgramDirectory() + L"kvsuprt.dll").c_str(), (ProgramDirectory() + kLibrary).c_str(), FALSE);

    const UniqueModule fromMissing(LoadProductLibrary(kLibrary));
    DeleteFileW((ProgramDirectory() + kLibrary).c_str());
    EXPECT_FALSE(fromMissing);  // although one lies beside
    ASSERT_EQ(loads.size(), 1u);
    EXPECT_EQ(loads[0].path, directory.Path() + kLibrary);

    const UniqueModule found(LoadProductLibrary(L"kvsuprt.dll"));
    EXPECT_TRUE(found);
    for (const Load& load : loads) {
        EXPECT_EQ(load.errorMode, DWORD{SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX});
        EXPECT_EQ(load.context, Caches().ModuleContext());
    }
    EXPECT_NE(Caches().ModuleContext(), contextBefore);
    EXPECT_EQ(CurrentContext(), contextBefore);
    EXPECT_EQ(GetThreadErrorMode(), DWORD{SEM_NOGPFAULTERRORBOX});
    SetThreadErrorMode(before, nullptr);
}

TEST_F(ProductLibraryLoad, ABareNameIsNeverFoundInTheCurrentDirectory) {
    const std::wstring file = directory.Path() + kLibrary;
    CopyFileW((ProgramDirectory() + L"kvsuprt.dll").c_str(), file.c_str(), FALSE);
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(directory.Path());
    const ImportPatch own(nullptr, "GetModuleFileNameW", &GiveOwnPath);
    ownPath.clear();
    EXPECT_FALSE(UniqueModule(LoadProductLibrary(kLibrary)));
    EXPECT_TRUE(UniqueModule(LoadProductLibrary(L"kvsuprt.dll")));  // the program's own directory is a safe one
    EXPECT_TRUE(UniqueModule(LoadLibraryW(kLibrary)));              // what the system's own order would find
    std::filesystem::current_path(before);
    ASSERT_EQ(loads.size(), 2u);
    EXPECT_EQ(loads[0].path, kLibrary);
}

TEST_F(ProductLibraryLoad, AMissingLibraryIsTriedAgainAndGivesItsCodes) {
    ProductLibrary absent(L"kvabsent.dll");
    EXPECT_EQ(absent.Load(), kLibraryNotLoaded);
    EXPECT_EQ(absent.Call<DWORD()>("support_wnd_language_get"), kFunctionMissing);
    EXPECT_EQ(loads.size(), 2u);
    absent.Release();
    EXPECT_EQ(absent.Load(), kLibraryNotLoaded);
}

TEST_F(ProductLibraryLoad, LoadedOnceAndEntryPointsKeptUntilTheLastRelease) {
    const LibraryFunction counted("nothing", nullptr);
    LibraryFunction::ForgetLookUps();
    const auto lookUps = [] { return LibraryFunction::LookUps().at("support_wnd_language_get"); };
    ProductLibrary library(L"kvsuprt.dll");
    const auto call = [&] { return library.Call<DWORD()>("support_wnd_language_get") != kFunctionMissing; };
    library.Release();  // nothing to give back
    EXPECT_TRUE(call() && call());
    EXPECT_EQ(lookUps(), 1);
    EXPECT_EQ(library.Load(), 0u);
    library.Release();
    EXPECT_TRUE(call());
    EXPECT_EQ(lookUps(), 1);  // the first call's own reference is left
    library.Release();
    EXPECT_TRUE(call());
    EXPECT_EQ(lookUps(), 2);
    EXPECT_EQ(library.Load(), 0u);
    EXPECT_EQ(loads.size(), 1u);
}

constexpr wchar_t kSection[] = L"\\local\\ServicesTest";
constexpr wchar_t kText[] = L"\\local\\ServicesTest\\Text", kNumber[] = L"\\local\\ServicesTest\\Number",
                  kFlag[] = L"\\local\\ServicesTest\\Flag";

using Wrapper = DWORD (*)();
// Each wrapper called so that it succeeds, in the order of kSupportFunctions.
wchar_t text[256];
DWORD length;
LONG number;
BOOL flag;
DWORD rights;
const Wrapper kWrappers[] = {
    [] { return support_resource_string(Module::Instance(), IDS_SAVE_FAILED, text, &(length = 255)); },
    [] { return support_resource_version_string(L"ProductName", Module::Instance(), text, &(length = 255)); },
    [] { return support_registry_put_section(kSection); },
    [] { return support_registry_put_string(kText, L"текст"); },
    [] { return support_registry_get_string(kText, &(length = 255), text); },
    [] { return support_registry_put_long(kNumber, -5); },
    [] { return support_registry_get_long(kNumber, &number); },
    [] { return support_registry_put_bool(kFlag, TRUE); },
    [] { return support_registry_get_bool(kFlag, &flag); },
    [] { return support_registry_check_access(kSection, &(rights = kRightWrite)); },
    [] { return support_registry_delete_param(kText); },
    [] { return support_registry_delete_section(kSection); },
    [] { return support_wnd_language_update(); },
    [] { return support_wnd_language_get() - kEnglish; },
    [] { return support_wnd_language_done(); },
};
static_assert(std::size(kWrappers) == std::size(kSupportFunctions));

TEST(SupportLibrary, AMissingFunctionIsMissedByItsCallersOnly) {
    const SpokenLanguage english(kEnglish);
    for (const auto& wrapper : kWrappers) EXPECT_EQ(wrapper(), 0u) << kSupportFunctions[&wrapper - kWrappers];
    EXPECT_STREQ(text, L"текст");
    EXPECT_EQ(number, -5);
    EXPECT_TRUE(flag);
    for (size_t missing = 0; missing < std::size(kSupportFunctions); ++missing) {
        SCOPED_TRACE(kSupportFunctions[missing]);
        const LibraryFunction none(kSupportFunctions[missing], nullptr);
        ForgetSupportFunctions();
        for (size_t i = 0; i < std::size(kWrappers); ++i) {
            const DWORD gone = kFunctionMissing - (i == 13 ? kEnglish : 0);
            EXPECT_EQ(kWrappers[i]() == gone, i == missing) << kSupportFunctions[i];
        }
        EXPECT_EQ(MayWrite(L"\\local"), missing != 9);
    }
    ForgetSupportFunctions();
    support_registry_delete_section(kSection);
}

TEST(SupportLibrary, ReadsWhatWasWritten) {
    const std::wstring written(300, L'ё');
    std::wstring shown = L"before";
    const auto read = [](wchar_t* to, DWORD* room) { return support_registry_get_string(kText, room, to); };
    EXPECT_NE(ReadSupportText(read, shown), 0u);
    EXPECT_EQ(shown, L"before");
    support_registry_put_string(kText, written.c_str());
    EXPECT_EQ(ReadSupportText(read, shown), 0u);
    EXPECT_EQ(shown, written);
    EXPECT_TRUE(MayWrite(kSection));
    {
        const Denied denied(kSection);
        EXPECT_FALSE(MayWrite(kSection));
    }
    support_registry_delete_section(kSection);
    EXPECT_FALSE(MayWrite(kSection));
}

}  // namespace
