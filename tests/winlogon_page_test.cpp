// What the Winlogon page does besides showing and writing the product's support, as a real window, against the software
// provider, its store and readers, and a directory of the test's own.
#include "pages/PropPageConfigWLReaders.h"

#include <commdlg.h>

#include "tests/support/Certificates.h"
#include "tests/support/Provider.h"
#include "tests/support/SettingsPage.h"
#include "tests/support/TestDirectory.h"

namespace {

constexpr DWORD kMissing = 0x7ffffffe, kNoKey = 0x7fffffff;  // of the KDC's value: none, not even the key

using Opened = std::pair<std::wstring, DWORD>;  // a provider and the type that it is opened with

// What the page asks the system.
struct System {
    static BOOL WINAPI Version(OSVERSIONINFOW* info) {
        reinterpret_cast<OSVERSIONINFOEXW*>(info)->wProductType =
            kind == Workstation ? VER_NT_WORKSTATION : VER_NT_DOMAIN_CONTROLLER;
        return kind != Unknown;
    }
    static BOOL WINAPI Acquire(HCRYPTPROV* handle, LPCWSTR container, LPCWSTR name, DWORD type, DWORD flags) {
        EXPECT_EQ(flags, 0xF0004000);
        opened.emplace_back(name, type);
        return acquire(handle, container, name, type, flags);
    }
    static BOOL WINAPI Choose(OPENFILENAMEW* request) {
        EXPECT_STREQ(request->lpstrFile, L"");
        EXPECT_EQ(request->Flags & OFN_OVERWRITEPROMPT, 0u) << "the page asks by itself";
        if (files.empty()) return FALSE;
        lstrcpynW(request->lpstrFile, files.front().c_str(), static_cast<int>(request->nMaxFile));
        files.pop_front();
        return TRUE;
    }
    static inline enum { Workstation, Unknown, Controller } kind;
    static inline std::vector<Opened> opened;
    static inline decltype(&CryptAcquireContextW) acquire;
    static inline std::deque<std::wstring> files;  // that the user chooses; then cancel
};

// A workstation with two readers that may have a default, nothing stored.
class WinlogonPage : public SettingsPageTest<CPropPageConfigWLReaders> {
  protected:
    WinlogonPage() {
        System::kind = System::Workstation;
        System::opened.clear();
        System::acquire = acquire.Original<decltype(CryptAcquireContextW)>();
        RunTool(L"carrier add WLTEST");
        StoreReader(nullptr);
    }
    ~WinlogonPage() override {
        RunTool(L"carrier remove WLTEST");
        StoreReader(nullptr);
        StoreKdc(kNoKey);
    }
    static void StoreReader(const wchar_t* name, const std::wstring& provider = kProvider75) {
        const std::wstring path = DefaultReaderPath(provider);
        name ? support_registry_put_string(path.c_str(), name) : support_registry_delete_param(path.c_str());
    }
    static std::wstring StoredReader(const std::wstring& provider = kProvider75) {
        wchar_t text[80] = L"";
        DWORD length = 79;
        return support_registry_get_string(DefaultReaderPath(provider).c_str(), &length, text) == 0 ? text : L"";
    }
    static void StoreKdc(DWORD value) {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Services\\kdc");
        const wchar_t* name = value == kMissing ? L"other" : kKdcValue;
        if (value != kNoKey) RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKdcKey, name, REG_DWORD, &value, sizeof value);
    }
    static DWORD StoredKdc() {
        DWORD value = kMissing, size = sizeof value;
        RegGetValueW(HKEY_LOCAL_MACHINE, kKdcKey, kKdcValue, RRF_RT_DWORD, nullptr, &value, &size);
        return value;
    }
    // Clicks the boxes and applies.
    static auto Click(const std::vector<UINT>& ids) {
        return [=](HWND sheet) {
            ClickAll(Ui::Page(sheet), ids);
            Apply(sheet);
        };
    }
    static auto ChooseReader(int item) {
        return [=](HWND sheet) {
            Ui::Select(Ui::Page(sheet), IDC_WINLOGON_READER, item);
            Apply(sheet);
        };
    }

    StoredNumber readersEnabled{L"\\config\\Parameters\\EnableDefaultReader", 1},
        disabled{L"\\config\\Parameters\\DisableWL", {}};
    ImportPatch version{nullptr, "GetVersionExW", &System::Version},
        acquire{nullptr, "CryptAcquireContextW", &System::Acquire};
};

TEST_F(WinlogonPage, SelectsTheDefaultReader) {
    const std::wstring tooLong(65, L'L');
    const struct {
        const char* name;
        const wchar_t* stored;
        int selected;
        bool reported = false;
        const char* failing = "none";  // a function of the libraries
    } cases[] = {{"nothing", nullptr, 0},
                 {"a reader with its connection", L"DISK_WLTEST", 2},
                 {"another case", L"disk_wltest", -1, true},
                 {"a name too long", tooLong.c_str(), 0},
                 {"a reader without a kind", L"GONE", -1, false, "supsys_nickname"},
                 {"a reader without a name", L"REGISTRY", -1, true, "supsys_register_name"},
                 {"no search", nullptr, 0, false, "supsys_find_open"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        StoreReader(c.stored);
        const LibraryFunction failing(c.failing, nullptr);
        Look([&](HWND page) {
            EXPECT_EQ(Ui::Items(page, IDC_WINLOGON_READER).size(), c.failing == std::string("none") ? 3u : 1u);
            EXPECT_EQ(Ui::Selected(page, IDC_WINLOGON_READER), c.selected);
        });
        const std::wstring text = c.reported ? L"Can not find default reader [" + std::wstring(c.stored) + L"]." : L"";
        EXPECT_EQ(boxes, c.reported ? Texts{text} : Texts{});
    }
}

TEST_F(WinlogonPage, StoresTheReaderThatWasChosen) {
    std::optional<Denied> denied;
    const auto stored = [](const wchar_t* name) { return [=](HWND) { EXPECT_EQ(StoredReader(), name); }; };
    Run({ChooseReader(1), stored(L"REGISTRY"), ChooseReader(0), stored(L""), ChooseReader(2), stored(L"DISK_WLTEST"),
         [&](HWND) { denied.emplace(L"\\cryptography"); }, ChooseReader(1), Modified(true)});
    EXPECT_EQ(boxes, Texts{kSaveFailed});
    EXPECT_EQ(StoredReader(), L"DISK_WLTEST");
}

// On what isn't known to be a domain controller the directory isn't asked; where it doesn't name the controllers, what
// is of the domain is disabled.
TEST_F(WinlogonPage, ShowsWhatADomainControllerMayChange) {
    using enum decltype(System::kind);
    const struct {
        const char* name;
        decltype(System::kind) system;
        DWORD kdc;
        const wchar_t* shown;  // of the KDC
        Stored disabled = {};
        const wchar_t* trouble = L"";  // in the directory
    } cases[] = {{"a workstation", Workstation, 0, L"off disabled"},
                 {"an unknown system", Unknown, 0, L"off disabled"},
                 {"missing", Controller, kMissing, L"on"},
                 {"off", Controller, 1, L"off"},
                 {"negative", Controller, 0x80000000, L"on"},
                 {"no key", Controller, kNoKey, L"off disabled"},
                 {"on without support", Controller, 0, L"off disabled", 7},
                 {"no directory", Controller, 0, L"on disabled", {}, L"Open rootDS"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TestDirectory directory;
        directory.trouble = c.trouble;
        System::kind = c.system;
        StoreKdc(c.kdc);
        disabled.Set(c.disabled);
        const bool isController = c.system == Controller;
        Look([&](HWND page) {
            EXPECT_EQ(Shown(page, IDC_WINLOGON_KDC), c.shown);
            for (const UINT id : {IDC_WINLOGON_CONTROLLER, IDC_WINLOGON_EXPORT, IDC_WINLOGON_FIX_TEMPLATES}) {
                EXPECT_EQ(Ui::Enabled(page, id), isController && !*c.trouble) << id;
                EXPECT_EQ(Ui::TipBehind(page, id), isController ? L"" : L"Available on domain controllers only.") << id;
            }
            EXPECT_EQ(Ui::ApplyEnabled(GetParent(page)), c.disabled == 7);
            Ui::Select(page, IDC_WINLOGON_CONTROLLER, 1);
            EXPECT_EQ(Ui::Text(page, IDC_WINLOGON_IDENTIFIER),
                      Ui::Enabled(page, IDC_WINLOGON_EXPORT) ? L"{03020100-0504-0706-0809-0a0b0c0d0e02}" : L"");
        });
        EXPECT_EQ(directory.calls.empty(), !isController);
    }
}

TEST_F(WinlogonPage, DisablesTheReadersThatMayNotBeChosen) {
    const auto none = +[](DWORD, DWORD*, DWORD, DWORD*, LPWSTR, DWORD*) -> BOOL { return FALSE; };
    std::optional<ImportPatch> noProvider;
    for (const bool enabled : {false, true}) {
        readersEnabled.Set(enabled);
        if (enabled) noProvider.emplace(nullptr, "CryptEnumProvidersW", none);
        Look([](HWND page) {
            EXPECT_FALSE(Ui::Enabled(page, IDC_WINLOGON_CSP));
            EXPECT_EQ(Shown(page, IDC_WINLOGON_READER), L"Not set disabled");
            EXPECT_TRUE(IsWindowEnabled(GetFocus()));
        });
        StoreReader(nullptr);
    }
}

TEST_F(WinlogonPage, DisablingTheSupportClearsTheKdcAndWritesBoth) {
    const TestDirectory directory;
    System::kind = System::Controller;
    StoreKdc(0);
    std::optional<ImportPatch> fails;
    const auto refuse = +[](HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) -> LSTATUS { return ERROR_ACCESS_DENIED; };
    const auto shows = [&](const wchar_t* shown, DWORD kdc, Stored stored, bool modified) {
        return [=, this](HWND sheet) {
            EXPECT_EQ(Shown(Ui::Page(sheet), {IDC_WINLOGON_KDC, IDC_WINLOGON_DISABLE}), shown);
            EXPECT_EQ(StoredKdc(), kdc);
            EXPECT_EQ(disabled.Get(), stored);
            EXPECT_EQ(Ui::ApplyEnabled(sheet), modified);
        };
    };
    Run({Click({IDC_WINLOGON_DISABLE}), shows(L"off disabled, on", 1, 1, false),
         [&](HWND) { fails.emplace(nullptr, "RegSetValueExW", refuse); },
         Click({IDC_WINLOGON_DISABLE, IDC_WINLOGON_KDC}), shows(L"on, off", 1, 0, true), [&](HWND) { fails.reset(); },
         Click({}), shows(L"on, off", 0, 0, false)});
    EXPECT_EQ(boxes, Texts{kSaveFailed}) << "the support is written although the KDC's value isn't";
}

// The type goes to the item that the count names, which includes providers that are left out.
TEST_F(WinlogonPage, OpensEveryProviderWithTheTypeThatItsItemGot) {
    Texts names;
    Look([&](HWND page) { names = Ui::Items(page, IDC_WINLOGON_CSP); });
    ASSERT_EQ(names.size(), 2u);
    const DWORD first = names[0] == kProvider75 ? 75 : 71, second = first == 75 ? 71 : 75;
    EXPECT_EQ(System::opened, (std::vector<Opened>{{names[0], first}, {names[1], second}, {names[0], first}}));
    StoreReader(L"DISK_WLTEST", names[1]);
    Run({[&](HWND sheet) {
             Ui::Select(Ui::Page(sheet), IDC_WINLOGON_CSP, 1);
             EXPECT_EQ(System::opened.back().first, names[1]);
             EXPECT_EQ(Ui::Selected(Ui::Page(sheet), IDC_WINLOGON_READER), 2) << "a default reader of its own";
         },
         ChooseReader(1), Modified(false)});
    EXPECT_EQ(StoredReader(names[0]), L"");
    EXPECT_EQ(StoredReader(names[1]), L"REGISTRY");
    StoreReader(nullptr, names[1]);
    const std::wstring key = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\" + names[0];
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"ImpType");
    System::opened.clear();
    Look([](HWND) {});
    EXPECT_EQ(System::opened, std::vector<Opened>(2, {names[1], 0}));
    const DWORD kind = CRYPT_IMPL_SOFTWARE;
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"ImpType", REG_DWORD, &kind, sizeof kind);
}

TEST_F(WinlogonPage, ExportsTheControllersToAFileThatIsWholeOrAsItWas) {
    const TemporaryDirectory files;
    const std::wstring existing = files.Path() + L"old.txt", fresh = files.Path() + L"new.txt";
    const std::wstring question = L"The file " + existing + L" exists, to overwrite?";
    const auto fail =
        +[](HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) { return SetLastError(ERROR_DISK_FULL), FALSE; };
    ASSERT_TRUE(WriteExport(existing, "old", false));
    const LibraryFunction save("GetSaveFileNameW", &System::Choose);
    TestDirectory directory;
    System::kind = System::Controller;
    const struct {
        std::deque<std::wstring> files;
        std::deque<int> answers;
        std::wstring box;
        std::string old, now;  // what the files hold
        bool full = false;     // the disk
    } cases[] = {
        {{existing, existing}, {IDNO, IDCANCEL}, question + question, "old", ""},
        {{existing}, {IDYES}, question + L"Error 0x00000070 (112) ", "old", "", true},
        {{fresh}, {}, L"Error 0x00000070 (112) ", "old", "", true},
        {{existing, fresh}, {IDNO}, question, "old", kListed},
        {{existing}, {IDYES}, question, kListed, kListed},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        System::files = c.files;
        std::optional<ImportPatch> write;
        if (c.full) write.emplace(nullptr, "WriteFile", fail);
        Run({[&](HWND sheet) { Ui::Click(Ui::Page(sheet), IDC_WINLOGON_EXPORT); }}, c.answers);
        std::wstring shown;
        for (const std::wstring& text : boxes) shown += text;
        EXPECT_EQ(shown.substr(0, c.box.size()), c.box);
        EXPECT_TRUE(System::files.empty()) << "another file is asked for";
        const std::filesystem::directory_iterator left(files.Path());
        EXPECT_EQ(std::distance(begin(left), end(left)), c.now.empty() ? 1 : 2) << "nothing else is left behind";
        EXPECT_EQ(Read(existing), c.old);
        EXPECT_EQ(Read(fresh), c.now);
    }
}

TEST_F(WinlogonPage, RepairsTheTemplates) {
    TestDirectory directory;
    System::kind = System::Controller;
    const auto fix = [&](const wchar_t* trouble, bool enabledAfterwards) {
        return [=, &directory](HWND sheet) {
            directory.trouble = trouble;
            Ui::Click(Ui::Page(sheet), IDC_WINLOGON_FIX_TEMPLATES);
            directory.trouble = L"";
            EXPECT_EQ(Ui::Enabled(Ui::Page(sheet), IDC_WINLOGON_FIX_TEMPLATES), enabledAfterwards);
        };
    };
    Run({fix(L"Put CN=Enr", true), fix(L"", false)});
    EXPECT_EQ(ShownBoxes::shown,
              (Boxes{{MB_ICONERROR, L"Error 0x80005009 (-2147463159) E_ADS_OBJECT_UNBOUND"},
                     {MB_ICONINFORMATION, L"Certificate Templates in Active Directory updated successfully"}}));
}

TEST_F(WinlogonPage, SurvivesTheFailureOfEachCall) {
    const TestDirectory directory;
    System::kind = System::Controller;
    const auto reset = [&] {
        StoreKdc(0);
        StoreReader(nullptr);
        disabled.Set({});
    };
    const auto change = [](HWND page) {
        const bool kdc = Shown(page, IDC_WINLOGON_KDC) == L"on";
        Ui::Select(page, IDC_WINLOGON_READER, 1);
        return kdc && ClickAll(page, {IDC_WINLOGON_DISABLE}) && Ui::Text(page, IDC_WINLOGON_CSP) == kProvider75 &&
               Ui::Text(page, IDC_WINLOGON_READER) == L"Registry";
    };
    const auto stored = [&] { return StoredReader() == L"REGISTRY" && StoredKdc() == 1 && disabled.Get() == 1; };
    reset();
    Look([](HWND) {});  // loads the reader library, for good
    SaveUnderFaults("winlogon page", change, stored, reset,
                    {"CryptAcquireContextW"});  // all providers, then the selected one again
}

}  // namespace
