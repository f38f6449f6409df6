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
    static LSTATUS WINAPI Write(HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) { return ERROR_ACCESS_DENIED; }
    static BOOL WINAPI NoProvider(DWORD, DWORD*, DWORD, DWORD*, LPWSTR, DWORD*) { return FALSE; }
    static BOOL WINAPI Choose(OPENFILENAMEW* request) {
        EXPECT_STREQ(request->lpstrFile, L"");
        EXPECT_EQ(request->lpstrInitialDir, nullptr);
        EXPECT_EQ(request->Flags & OFN_OVERWRITEPROMPT, 0u) << "the page asks by itself";
        EXPECT_STREQ(request->lpstrFilter, L"All Files (*.*)");
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
    static std::wstring DefaultOf(const std::wstring& provider) {
        return L"\\cryptography\\Defaults\\provider\\" + provider + L"\\ReaderDefault";
    }
    static void StoreReader(const wchar_t* name, const std::wstring& provider = kProvider75) {
        const std::wstring path = DefaultOf(provider);
        name ? support_registry_put_string(path.c_str(), name) : support_registry_delete_param(path.c_str());
    }
    static std::wstring StoredReader(const std::wstring& provider = kProvider75) {
        wchar_t text[80] = L"";
        DWORD length = 79;
        return support_registry_get_string(DefaultOf(provider).c_str(), &length, text) == 0 ? text : L"";
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
    static auto Modified(bool expected) {
        return [=](HWND sheet) { EXPECT_EQ(Ui::ApplyEnabled(sheet), expected); };
    }
    // Clicks the boxes and applies.
    static auto Click(std::vector<UINT> ids) {
        return [=](HWND sheet) {
            for (const UINT id : ids) Ui::Click(Ui::Page(sheet), id);
            Ui::Press(sheet, PSBTN_APPLYNOW);
        };
    }
    static auto ChooseReader(int item) {
        return [=](HWND sheet) {
            Ui::Select(Ui::Page(sheet), IDC_WINLOGON_READER, item);
            Ui::Press(sheet, PSBTN_APPLYNOW);
        };
    }

    StoredNumber readersEnabled{L"\\config\\Parameters\\EnableDefaultReader", 1},
        disabled{L"\\config\\Parameters\\DisableWL", {}};
    ImportPatch version{nullptr, "GetVersionExW", &System::Version},
        acquire{nullptr, "CryptAcquireContextW", &System::Acquire};
};

TEST_F(WinlogonPage, SelectsTheDefaultReader) {
    const Texts all = {L"Not set", L"Registry", L"Disk WLTEST"}, none = {L"Not set"};
    const std::wstring longest(64, L'L'), tooLong(65, L'L');
    const struct {
        const char* name;
        const wchar_t* stored;
        int selected;
        bool reported = false;
        const char* failing = "none";  // a function of the libraries
    } cases[] = {{"nothing", nullptr, 0},
                 {"a reader without connection", L"REGISTRY", 1},
                 {"a reader with its connection", L"DISK_WLTEST", 2},
                 {"another case", L"disk_wltest", -1, true},
                 {"the longest name", longest.c_str(), -1, true},
                 {"a name too long", tooLong.c_str(), 0},
                 {"a reader that can't say its kind", L"GONE", -1, false, "supsys_nickname"},
                 {"a reader that can't say its connection", L"REGISTRY", -1, false, "supsys_connect_current"},
                 {"a reader without a name", L"REGISTRY", -1, true, "supsys_register_name"},
                 {"no registration", nullptr, 0, false, "rdr_register_start"},
                 {"no registration of all", nullptr, 0, false, "supsys_register_all"},
                 {"no search", nullptr, 0, false, "supsys_find_open"},
                 {"no next reader", nullptr, 0, false, "supsys_find_next"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        StoreReader(c.stored);
        const LibraryFunction failing(c.failing, nullptr);
        ForgetSupportFunctions();
        Look([&](HWND page) {
            EXPECT_EQ(Ui::Items(page, IDC_WINLOGON_READER), c.failing == std::string("none") ? all : none);
            EXPECT_EQ(Ui::Selected(page, IDC_WINLOGON_READER), c.selected);
        });
        Boxes expected;
        if (c.reported)
            expected = {{MB_ICONEXCLAMATION, L"Can not find default reader [" + std::wstring(c.stored) + L"]."}};
        EXPECT_EQ(ShownBoxes::shown, expected);
    }
    ForgetSupportFunctions();
}

TEST_F(WinlogonPage, StoresTheReaderThatWasChosen) {
    std::optional<Denied> denied;
    const auto stored = [](const wchar_t* name) {
        return [=](HWND sheet) {
            EXPECT_EQ(StoredReader(), name);
            Modified(false)(sheet);
        };
    };
    Run({ChooseReader(1), stored(L"REGISTRY"), ChooseReader(0), stored(L""), ChooseReader(2), stored(L"DISK_WLTEST"),
         [&](HWND) { denied.emplace(L"\\cryptography"); }, ChooseReader(0), stored(L"DISK_WLTEST"), ChooseReader(1),
         Modified(true)});
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
        bool modified = false;
    } cases[] = {{"a workstation", Workstation, 0, L"off disabled"},
                 {"an unknown system", Unknown, 0, L"off disabled", 1},
                 {"on", Controller, 0, L"on"},
                 {"missing", Controller, kMissing, L"on"},
                 {"off", Controller, 1, L"off"},
                 {"negative", Controller, 0x80000000, L"on"},
                 {"no key", Controller, kNoKey, L"off disabled"},
                 {"on without support", Controller, 0, L"off disabled", 7, L"", true},
                 {"no directory", Controller, 0, L"on disabled", {}, L"Open rootDS"},
                 {"no controllers", Controller, 1, L"off disabled", {}, L"Open OU=Dom"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TestDirectory directory;
        directory.trouble = c.trouble;
        System::kind = c.system;
        StoreKdc(c.kdc);
        disabled.Set(c.disabled);
        Look([&](HWND page) {
            EXPECT_EQ(Shown(page, IDC_WINLOGON_KDC), c.shown);
            for (const UINT id : {IDC_WINLOGON_CONTROLLER, IDC_WINLOGON_IDENTIFIER, IDC_WINLOGON_EXPORT,
                                  IDC_WINLOGON_CONTROLLER_LABEL, IDC_WINLOGON_IDENTIFIER_LABEL})
                EXPECT_EQ(Ui::Enabled(page, id), c.system == Controller && !*c.trouble) << id;
            const bool asked = c.system == Controller && c.trouble != std::wstring(L"Open rootDS");
            EXPECT_EQ(Ui::Enabled(page, IDC_WINLOGON_FIX_TEMPLATES), asked);
            for (const UINT id : {IDC_WINLOGON_KDC, IDC_WINLOGON_EXPORT, IDC_WINLOGON_FIX_TEMPLATES}) {
                const wchar_t* reason = c.system == Controller ? L"" : L"Available on domain controllers only.";
                EXPECT_EQ(Ui::TipBehind(page, id), reason) << id;
            }
            for (const UINT id : {IDC_WINLOGON_CSP, IDC_WINLOGON_READER}) EXPECT_TRUE(Ui::Enabled(page, id)) << id;
            EXPECT_EQ(Ui::ApplyEnabled(GetParent(page)), c.modified);
        });
        EXPECT_EQ(directory.calls.empty(), c.system != Controller);
    }
}

TEST_F(WinlogonPage, DisablesTheReadersThatMayNotBeChosen) {
    System::kind = System::Controller;
    const TestDirectory directory;
    StoreKdc(0);
    for (const std::string hindrance : {"disabled", "missing", "denied", "no provider"}) {
        SCOPED_TRACE(hindrance);
        readersEnabled.Set(hindrance == "missing" ? Stored() : Stored(hindrance != "disabled"));
        const Denied rights(hindrance == "denied" ? L"\\config\\Parameters" : L"\\config\\none");
        std::optional<ImportPatch> none;
        if (hindrance == "no provider") none.emplace(nullptr, "CryptEnumProvidersW", &System::NoProvider);
        Look([&](HWND page) {
            EXPECT_EQ(Shown(page, IDC_WINLOGON_KDC), hindrance == "denied" ? L"on disabled" : L"on");
            for (const UINT id :
                 {IDC_WINLOGON_CSP_LABEL, IDC_WINLOGON_CSP, IDC_WINLOGON_READER_LABEL, IDC_WINLOGON_READER}) {
                EXPECT_FALSE(Ui::Enabled(page, id)) << id;
                EXPECT_EQ(Ui::TipBehind(page, id), hindrance == "denied" ? kOnlyAdministrators : L"") << id;
            }
            EXPECT_EQ(Ui::Items(page, IDC_WINLOGON_READER).size(), 3u);
            EXPECT_EQ(Ui::Text(page, IDC_WINLOGON_READER), L"Not set");
            EXPECT_TRUE(IsWindowEnabled(GetFocus()));
            EXPECT_FALSE(Ui::ApplyEnabled(GetParent(page)));
        });
    }
}

TEST_F(WinlogonPage, DisablingTheSupportClearsTheKdcAndWritesBoth) {
    const TestDirectory directory;
    System::kind = System::Controller;
    StoreKdc(0);
    std::optional<ImportPatch> kdcFails;
    const auto shows = [&](const wchar_t* shown, DWORD kdc, Stored stored, bool modified) {
        return [=, this](HWND sheet) {
            EXPECT_EQ(Shown(Ui::Page(sheet), {IDC_WINLOGON_KDC, IDC_WINLOGON_DISABLE}), shown);
            EXPECT_EQ(StoredKdc(), kdc);
            EXPECT_EQ(disabled.Get(), stored);
            Modified(modified)(sheet);
        };
    };
    Run({Click({IDC_WINLOGON_DISABLE}), shows(L"off disabled, on", 1, 1, false),
         [&](HWND) { kdcFails.emplace(nullptr, "RegSetValueExW", &System::Write); },
         Click({IDC_WINLOGON_DISABLE, IDC_WINLOGON_KDC}), shows(L"on, off", 1, 0, true),
         [&](HWND) { kdcFails.reset(); }, Click({}), shows(L"on, off", 0, 0, false)});
    EXPECT_EQ(boxes, Texts{kSaveFailed}) << "the support is written although the KDC's value isn't";
}

// The type goes to the item that the count names, which includes providers that are left out.
TEST_F(WinlogonPage, OpensEveryProviderWithTheTypeThatItsItemGot) {
    Texts names;
    Look([&](HWND page) { names = Ui::Items(page, IDC_WINLOGON_CSP); });
    ASSERT_EQ(names.size(), 2u);
    const DWORD first = names[0] == kProvider75 ? 75 : 71, second = first == 75 ? 71 : 75;
    const std::vector<Opened> all = {{names[0], first}, {names[1], second}, {names[0], first}};
    EXPECT_EQ(System::opened, all) << "the selected one last";
    StoreReader(L"DISK_WLTEST", names[1]);
    Run({[&](HWND sheet) {
             Ui::Select(Ui::Page(sheet), IDC_WINLOGON_CSP, 1);
             EXPECT_EQ(System::opened.back(), all[1]);
             EXPECT_EQ(Ui::Selected(Ui::Page(sheet), IDC_WINLOGON_READER), 2) << "a default reader of its own";
             Modified(false)(sheet);
         },
         ChooseReader(1), Modified(false)});
    EXPECT_EQ(StoredReader(names[0]), L"");
    EXPECT_EQ(StoredReader(names[1]), L"REGISTRY");
    StoreReader(nullptr, names[1]);
    const std::wstring key = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\" + names[0];
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"ImpType");
    for (const bool domainController : {false, true}) {
        System::kind = domainController ? System::Controller : System::Workstation;
        System::opened.clear();
        Look([](HWND page) { EXPECT_EQ(Ui::Selected(page, IDC_WINLOGON_CSP), 0); });
        const std::vector<Opened> withoutFirst(2, {names[1], 0});
        EXPECT_EQ(System::opened, domainController ? all : withoutFirst);
    }
    const DWORD kind = CRYPT_IMPL_SOFTWARE;
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"ImpType", REG_DWORD, &kind, sizeof kind);
}

TEST_F(WinlogonPage, AFileIsWholeOrAsItWas) {
    const TemporaryDirectory files;
    const std::wstring existing = files.Path() + L"old.txt", fresh = files.Path() + L"new.txt";
    const auto fail =
        +[](HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) { return SetLastError(ERROR_DISK_FULL), FALSE; };
    ASSERT_TRUE(WriteExport(existing, "old", false));
    for (const std::wstring& path : {existing, fresh}) {
        const ImportPatch write(nullptr, "WriteFile", fail);
        const Result<> written = WriteExport(path, "new", path == existing);
        ASSERT_FALSE(written);
        EXPECT_EQ(written.Failed().code, DWORD{ERROR_DISK_FULL});
        const std::filesystem::directory_iterator left(files.Path());
        EXPECT_EQ(std::distance(begin(left), end(left)), 1) << "nothing is left behind";
        EXPECT_EQ(Read(existing), "old");
    }
}

TEST_F(WinlogonPage, ShowsAndExportsTheControllers) {
    const TemporaryDirectory files;
    const std::wstring existing = files.Path() + L"old.txt", fresh = files.Path() + L"new.txt",
                       nowhere = files.Path() + L"none\\file.txt", folder = files.Path() + L".";
    constexpr UINT kQuestion = MB_YESNOCANCEL | MB_ICONQUESTION;
    const Box question = {kQuestion, L"The file " + existing + L" exists, to overwrite?"};
    ASSERT_TRUE(WriteExport(existing, "", false));
    const LibraryFunction save("GetSaveFileNameW", &System::Choose);
    TestDirectory directory;
    System::kind = System::Controller;
    const struct {
        const char* name;
        std::deque<std::wstring> files;
        std::deque<int> answers;
        Boxes boxes;           // their texts' beginnings
        std::string old, now;  // what the files hold
    } cases[] = {
        {"cancelled", {}, {}, {}, "", ""},
        {"No, then Cancel", {existing, existing}, {IDNO, IDCANCEL}, {question, question}, "", ""},
        {"no such folder", {nowhere}, {}, {{MB_ICONERROR, L"Error 0x00000003 (3) "}}, "", ""},
        {"No, then another", {existing, fresh}, {IDNO}, {question}, "", kListed},
        {"a folder",
         {folder},
         {IDYES},
         {{kQuestion, L"The file " + folder}, {MB_ICONERROR, L"Error 0x00000005 (5) "}},
         "",
         kListed},
        {"Yes", {existing}, {IDYES}, {question}, kListed, kListed},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        System::files = c.files;
        Run({[&](HWND sheet) {
                const HWND page = Ui::Page(sheet);
                EXPECT_EQ(Ui::Items(page, IDC_WINLOGON_CONTROLLER), (Texts{L"dc1.test", L"dc2.test"}));
                EXPECT_EQ(Ui::Text(page, IDC_WINLOGON_IDENTIFIER), L"{03020100-0504-0706-0809-0a0b0c0d0e01}");
                Ui::Select(page, IDC_WINLOGON_CONTROLLER, 1);
                EXPECT_EQ(Ui::Text(page, IDC_WINLOGON_IDENTIFIER), L"{03020100-0504-0706-0809-0a0b0c0d0e02}");
                Ui::Click(page, IDC_WINLOGON_EXPORT);
            }},
            c.answers);
        Boxes shown = ShownBoxes::shown;
        for (size_t i = 0; i < shown.size() && i < c.boxes.size(); ++i)
            shown[i].second = shown[i].second.substr(0, c.boxes[i].second.size());
        EXPECT_EQ(shown, c.boxes);
        EXPECT_TRUE(System::files.empty()) << "another file is asked for";
        EXPECT_EQ(Read(existing), c.old);
        EXPECT_EQ(Read(fresh), c.now);
    }
}

TEST_F(WinlogonPage, RepairsTheTemplates) {
    TestDirectory directory;
    System::kind = System::Controller;
    const auto fix = [&](const wchar_t* trouble, bool enabledAfterwards) {
        return [=, &directory](HWND sheet) {
            EXPECT_TRUE(Ui::Enabled(Ui::Page(sheet), IDC_WINLOGON_FIX_TEMPLATES));
            directory.trouble = trouble;
            Ui::Click(Ui::Page(sheet), IDC_WINLOGON_FIX_TEMPLATES);
            directory.trouble = L"";
            EXPECT_EQ(Ui::Enabled(Ui::Page(sheet), IDC_WINLOGON_FIX_TEMPLATES), enabledAfterwards);
        };
    };
    Run({fix(L"Put CN=Enr", true), fix(L"Get configurationNamingContext", true), fix(L"", false)});
    const Box unbound = {MB_ICONERROR, L"Error 0x80005009 (-2147463159) E_ADS_OBJECT_UNBOUND"},
              done = {MB_ICONINFORMATION, L"Certificate Templates in Active Directory updated successfully"};
    EXPECT_EQ(ShownBoxes::shown, (Boxes{unbound, unbound, done}));
}

// Each call of the system, the providers, the store and the readers fails while the page opens, changes and saves. The
// page says that it wasn't saved exactly when it stays modified; otherwise what it shows is what is stored.
TEST_F(WinlogonPage, SurvivesTheFailureOfEachCall) {
    const TestDirectory directory;
    System::kind = System::Controller;
    bool modified = false, checked = false;
    std::wstring provider, reader;
    const auto scenario = [&] {
        StoreKdc(0);
        modified = checked = false;
        provider.clear(), reader.clear(), boxes.clear();
        Run({[&](HWND sheet) {
                 if (Ui::Enabled(Ui::Page(sheet), IDC_WINLOGON_DISABLE))
                     Ui::Click(Ui::Page(sheet), IDC_WINLOGON_DISABLE);
                 ChooseReader(1)(sheet);
             },
             [&](HWND sheet) {
                 modified = Ui::ApplyEnabled(sheet);
                 checked = Shown(Ui::Page(sheet), IDC_WINLOGON_DISABLE).starts_with(L"on");
                 provider = Ui::Text(Ui::Page(sheet), IDC_WINLOGON_CSP);
                 reader = Ui::Text(Ui::Page(sheet), IDC_WINLOGON_READER);
             }});
    };
    Look([](HWND) {});  // loads the reader library, for good
    const auto inspect = [&](const Fault& fault) -> std::string {
        const std::wstring stored = StoredReader(provider);
        const bool same = checked == (disabled.Get() == 1) && (reader == L"Registry") == (stored == L"REGISTRY");
        const bool all = checked && stored == L"REGISTRY" && StoredKdc() == 1;
        StoreReader(nullptr, provider);
        disabled.Set({});
        if (boxes != (modified ? Texts{kSaveFailed} : Texts{})) return "reports wrongly";
        if (fault.point == Fault::kNone && !all) return "not saved";
        return modified || same ? "" : "shows what isn't stored";
    };
    Faults("winlogon page", scenario, inspect, {"CryptAcquireContextW"});  // all providers, then the selected one again
}

}  // namespace
