// The Winlogon page as a real window, against the software provider, its store and readers, and a directory of the
// test's own.
#include "pages/PropPageConfigWLReaders.h"

#include <commdlg.h>

#include "tests/support/Certificates.h"
#include "tests/support/SettingsPage.h"
#include "tests/support/TestDirectory.h"

namespace {

constexpr wchar_t kProvider[] = L"Kelvane GOST R 34.10-2001 KC1 CSP";
constexpr DWORD kMissing = 0x7ffffffe, kNoKey = 0x7fffffff;  // of the KDC's value: none, not even the key

// What the page is told by the system, and what it asks it for.
struct System {
    static BOOL WINAPI Version(OSVERSIONINFOW* info) {
        reinterpret_cast<OSVERSIONINFOEXW*>(info)->wProductType =
            kind == Workstation ? VER_NT_WORKSTATION : VER_NT_DOMAIN_CONTROLLER;
        return kind != Unknown;
    }
    static BOOL WINAPI Acquire(HCRYPTPROV* handle, LPCWSTR container, LPCWSTR name, DWORD type, DWORD flags) {
        acquired.push_back(std::wstring(name) + L"|" + std::to_wstring(type) + L"|" + std::to_wstring(flags));
        return acquire(handle, container, name, type, flags);
    }
    static LSTATUS WINAPI Write(HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) { return ERROR_ACCESS_DENIED; }
    static BOOL WINAPI NoProvider(DWORD, DWORD*, DWORD, DWORD*, LPWSTR, DWORD*) { return FALSE; }
    static int WINAPI Tell(const MSGBOXPARAMSW* box) { return styles.push_back(box->dwStyle), tell(box); }
    static BOOL WINAPI Choose(OPENFILENAMEW* request) {
        EXPECT_TRUE(!*request->lpstrFile && !request->lpstrInitialDir && !(request->Flags & OFN_OVERWRITEPROMPT));
        EXPECT_STREQ(request->lpstrFilter, L"All Files (*.*)");
        if (files.empty()) return FALSE;
        lstrcpynW(request->lpstrFile, files.front().c_str(), static_cast<int>(request->nMaxFile));
        files.pop_front();
        return TRUE;
    }
    static inline enum { Workstation, Unknown, Controller } kind;
    static inline std::vector<std::wstring> acquired;
    static inline decltype(&CryptAcquireContextW) acquire;
    static inline decltype(&MessageBoxIndirectW) tell;
    static inline std::vector<DWORD> styles;       // of the message boxes
    static inline std::deque<std::wstring> files;  // that the user chooses; then cancel
};

// A workstation with two readers that may have a default, nothing stored.
class WinlogonPage : public SettingsPageTest<CPropPageConfigWLReaders> {
  protected:
    WinlogonPage() {
        System::kind = System::Workstation;
        System::acquired.clear();
        System::styles.clear();
        System::acquire = acquire.Original<decltype(CryptAcquireContextW)>();
        System::tell = box.Original<decltype(MessageBoxIndirectW)>();
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
    static void StoreReader(const wchar_t* name, const std::wstring& provider = kProvider) {
        const std::wstring path = DefaultOf(provider);
        name ? support_registry_put_string(path.c_str(), name) : support_registry_delete_param(path.c_str());
    }
    static std::wstring StoredReader(const std::wstring& provider = kProvider) {
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
    static std::wstring Checks(HWND page) { return Shown(page, {IDC_WINLOGON_KDC, IDC_WINLOGON_DISABLE}); }
    static auto Apply(std::function<void(HWND page)> change) {
        return [=](HWND sheet) { change(Ui::Page(sheet)), Ui::Press(sheet, PSBTN_APPLYNOW); };
    }
    static auto Modified(bool expected) {
        return [=](HWND sheet) { EXPECT_EQ(Ui::ApplyEnabled(sheet), expected); };
    }

    StoredNumber readersEnabled{L"\\config\\Parameters\\EnableDefaultReader", 1},
        disabled{L"\\config\\Parameters\\DisableWL", {}};
    ImportPatch version{nullptr, "GetVersionExW", &System::Version},
        acquire{nullptr, "CryptAcquireContextW", &System::Acquire}, box{nullptr, "MessageBoxIndirectW", &System::Tell};
};

TEST_F(WinlogonPage, SelectsTheDefaultReader) {
    const Texts all = {L"Not set", L"Registry", L"Disk WLTEST"}, none = {L"Not set"};
    const std::wstring longest(64, L'L'), tooLong(65, L'L');
    const struct {
        const wchar_t* stored;
        const char* failing;  // a function of the libraries
        int selected;
        bool told;
    } cases[] = {{nullptr, "", 0, false},
                 {L"REGISTRY", "", 1, false},
                 {L"DISK_WLTEST", "", 2, false},
                 {L"disk_wltest", "", -1, true},
                 {longest.c_str(), "", -1, true},
                 {tooLong.c_str(), "", 0, false},
                 {L"GONE", "supsys_nickname", -1, false},
                 {L"REGISTRY", "supsys_connect_current", -1, false},
                 {L"REGISTRY", "supsys_register_name", -1, true},
                 {nullptr, "rdr_register_start", 0, false},
                 {nullptr, "supsys_register_all", 0, false},
                 {nullptr, "supsys_find_open", 0, false},
                 {nullptr, "supsys_find_next", 0, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        StoreReader(c.stored);
        const LibraryFunction failing(*c.failing ? c.failing : "none", nullptr);
        ForgetSupportFunctions();
        Look([&](HWND page) {
            EXPECT_EQ(Ui::Items(page, IDC_WINLOGON_READER), *c.failing ? none : all);
            EXPECT_EQ(Ui::Selected(page, IDC_WINLOGON_READER), c.selected);
        });
        EXPECT_EQ(boxes, c.told ? Texts{L"Can not find default reader [" + std::wstring(c.stored) + L"]."} : Texts{});
    }
    EXPECT_EQ(System::styles, std::vector<DWORD>(3, MB_ICONEXCLAMATION));
    ForgetSupportFunctions();
}

TEST_F(WinlogonPage, StoresTheReaderThatWasChosen) {
    std::optional<Denied> denied;
    const auto choose = [](int item) { return Apply([=](HWND page) { Ui::Select(page, IDC_WINLOGON_READER, item); }); };
    const auto stored = [](const wchar_t* name) {
        return [=](HWND sheet) {
            EXPECT_EQ(StoredReader(), name);
            Modified(false)(sheet);
        };
    };
    Run({choose(1), stored(L"REGISTRY"), choose(0), stored(L""), choose(2), stored(L"DISK_WLTEST"),
         [&](HWND) { denied.emplace(L"\\cryptography"); }, choose(0), stored(L"DISK_WLTEST"), choose(1),
         Modified(true)});
    EXPECT_EQ(boxes, Texts{kSaveFailed});
    EXPECT_EQ(StoredReader(), L"DISK_WLTEST");
}

// On what isn't known to be a domain controller the directory isn't asked; where it doesn't name the controllers, what
// is of the domain is disabled.
TEST_F(WinlogonPage, ShowsWhatIsStoredAndMayBeChanged) {
    using enum decltype(System::kind);
    const struct {
        decltype(System::kind) system;
        DWORD kdc;
        std::optional<long> disabled;
        const wchar_t* checks;
        bool modified = false;
        const wchar_t* trouble = L"";  // in the directory
    } cases[] = {{Workstation, 0, {}, L"(-)-"},
                 {Unknown, 0, 1, L"(-)x"},
                 {Controller, 0, {}, L"x-"},
                 {Controller, kMissing, 0, L"x-"},
                 {Controller, 1, -1, L"--"},
                 {Controller, 0x80000000, {}, L"x-"},
                 {Controller, kNoKey, {}, L"(-)-"},
                 {Controller, 0, 7, L"(-)x", true},
                 {Controller, 0, {}, L"(x)-", false, L"Open rootDS"},
                 {Controller, 1, {}, L"(-)-", false, L"Open OU=Dom"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        TestDirectory directory;
        directory.trouble = c.trouble;
        System::kind = c.system;
        StoreKdc(c.kdc);
        disabled.Set(c.disabled);
        Run({[&](HWND sheet) {
            const HWND page = Ui::Page(sheet);
            EXPECT_EQ(Checks(page), c.checks);
            for (const UINT id : {IDC_WINLOGON_CONTROLLER, IDC_WINLOGON_IDENTIFIER, IDC_WINLOGON_EXPORT,
                                  IDC_WINLOGON_CONTROLLER_LABEL, IDC_WINLOGON_IDENTIFIER_LABEL})
                EXPECT_EQ(Ui::Enabled(page, id), c.system == Controller && !*c.trouble) << id;
            for (const UINT id : {IDC_WINLOGON_KDC, IDC_WINLOGON_EXPORT, IDC_WINLOGON_FIX_TEMPLATES})
                EXPECT_EQ(Ui::TipBehind(page, id),
                          c.system == Controller ? L"" : L"Available on domain controllers only.")
                    << id;
            EXPECT_EQ(Ui::Enabled(page, IDC_WINLOGON_FIX_TEMPLATES),
                      c.system == Controller && std::wstring_view(c.trouble) != L"Open rootDS");
            EXPECT_TRUE(Ui::Enabled(page, IDC_WINLOGON_CSP) && Ui::Enabled(page, IDC_WINLOGON_READER));
            EXPECT_EQ(Ui::ApplyEnabled(sheet), c.modified);
        }});
        EXPECT_EQ(directory.calls.empty(), c.system != Controller);
    }
    const TestDirectory directory;
    StoreKdc(0);
    disabled.Set({});
    // Each alone disables the readers.
    for (const std::string trouble : {"disabled", "missing", "denied", "no provider"}) {
        readersEnabled.Set(trouble == "missing" ? std::optional<long>() : trouble != "disabled");
        const Denied rights(trouble == "denied" ? L"\\config\\Parameters" : L"\\config\\none");
        std::optional<ImportPatch> none;
        if (trouble == "no provider") none.emplace(nullptr, "CryptEnumProvidersW", &System::NoProvider);
        Run({[&](HWND sheet) {
            const HWND page = Ui::Page(sheet);
            EXPECT_EQ(Checks(page), trouble == "denied" ? L"(x)(-)" : L"x-");
            for (const UINT id :
                 {IDC_WINLOGON_CSP_LABEL, IDC_WINLOGON_CSP, IDC_WINLOGON_READER_LABEL, IDC_WINLOGON_READER}) {
                EXPECT_FALSE(Ui::Enabled(page, id)) << id;
                EXPECT_EQ(Ui::TipBehind(page, id),
                          trouble == "denied" ? L"Only an administrator can change these settings." : L"");
            }
            EXPECT_TRUE(Ui::Items(page, IDC_WINLOGON_READER).size() == 3 && IsWindowEnabled(GetFocus()));
            EXPECT_TRUE(Ui::Text(page, IDC_WINLOGON_READER) == L"Not set" && !Ui::ApplyEnabled(sheet));
        }});
    }
}

TEST_F(WinlogonPage, DisablingTheSupportClearsTheKdcAndWritesBoth) {
    const TestDirectory directory;
    System::kind = System::Controller;
    StoreKdc(0);
    std::optional<ImportPatch> kdcFails;
    std::optional<Denied> denied;
    const auto shown = [&](const wchar_t* checks, DWORD kdc, std::optional<long> stored, bool modified) {
        return [=, this](HWND sheet) {
            EXPECT_EQ(Checks(Ui::Page(sheet)), checks);
            EXPECT_EQ(StoredKdc(), kdc);
            EXPECT_EQ(disabled.Get(), stored);
            Modified(modified)(sheet);
        };
    };
    const auto click = [](UINT id) { return Apply([=](HWND page) { Ui::Click(page, id); }); };
    Run({click(IDC_WINLOGON_DISABLE), shown(L"(-)x", 1, 1, false),
         [&](HWND) { kdcFails.emplace(nullptr, "RegSetValueExW", &System::Write); },
         [](HWND sheet) { Ui::Click(Ui::Page(sheet), IDC_WINLOGON_DISABLE); }, click(IDC_WINLOGON_KDC),
         shown(L"x-", 1, 0, true),  // the other one is written all the same
         [&](HWND sheet) {
             kdcFails.reset();
             denied.emplace(L"\\config\\Parameters");
             Ui::Click(Ui::Page(sheet), IDC_WINLOGON_KDC);
             Ui::Click(Ui::Page(sheet), IDC_WINLOGON_DISABLE);
         },
         Modified(true), click(IDC_WINLOGON_KDC), shown(L"(-)x", 1, 0, true)});
    EXPECT_EQ(boxes, (Texts{kSaveFailed, kSaveFailed}));
}

// The type goes to the item that the count names, which includes providers that are left out.
TEST_F(WinlogonPage, OpensEveryProviderWithTheTypeThatItsItemGot) {
    const DWORD kind = CRYPT_IMPL_SOFTWARE;
    const auto open = [](const std::wstring& name, int type) {
        return name + L"|" + std::to_wstring(type) + L"|4026548224";
    };
    Texts names;
    Look([&](HWND page) { names = Ui::Items(page, IDC_WINLOGON_CSP); });
    ASSERT_EQ(names.size(), 2u);
    const int first = names[0] == kProvider ? 75 : 71;
    const Texts all = {open(names[0], first), open(names[1], 146 - first), open(names[0], first)};
    EXPECT_EQ(System::acquired, all);
    // Another provider has a default reader of its own.
    StoreReader(L"DISK_WLTEST", names[1]);
    Run({[&](HWND sheet) {
             Ui::Select(Ui::Page(sheet), IDC_WINLOGON_CSP, 1);
             EXPECT_EQ(System::acquired.back(), all[1]);
             EXPECT_EQ(Ui::Selected(Ui::Page(sheet), IDC_WINLOGON_READER), 2);
             Modified(false)(sheet);
         },
         Apply([](HWND page) { Ui::Select(page, IDC_WINLOGON_READER, 1); }), Modified(false)});
    EXPECT_EQ(StoredReader(names[0]) + StoredReader(names[1]), L"REGISTRY");
    StoreReader(nullptr, names[1]);
    const std::wstring key = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\" + names[0];
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"ImpType");
    for (const bool domainController : {false, true}) {
        System::kind = domainController ? System::Controller : System::Workstation;
        System::acquired.clear();
        Look([](HWND page) { EXPECT_EQ(Ui::Selected(page, IDC_WINLOGON_CSP), 0); });
        EXPECT_EQ(System::acquired, domainController ? all : (Texts{open(names[1], 0), open(names[1], 0)}));
    }
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"ImpType", REG_DWORD, &kind, sizeof kind);
}

TEST_F(WinlogonPage, ShowsAndExportsTheControllers) {
    const TemporaryDirectory files;
    const std::wstring existing = files.Path() + L"old.txt", fresh = files.Path() + L"new.txt",
                       nowhere = files.Path() + L"none\\file.txt", folder = files.Path() + L".",
                       question = L"The file " + existing + L" exists, to overwrite?";
    const auto fail =
        +[](HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) { return SetLastError(ERROR_DISK_FULL), FALSE; };
    WriteExport(existing, "", false);
    for (const std::wstring& path : {existing, fresh}) {  // nothing is lost, and nothing is left behind
        const ImportPatch write(nullptr, "WriteFile", fail);
        EXPECT_EQ(WriteExport(path, "new", path == existing), DWORD{ERROR_DISK_FULL});
        const std::filesystem::directory_iterator left(files.Path());
        EXPECT_EQ(std::distance(begin(left), end(left)), 1);
    }
    const LibraryFunction save("GetSaveFileNameW", &System::Choose);
    TestDirectory directory;
    System::kind = System::Controller;
    const struct {
        std::deque<std::wstring> files;
        std::deque<int> answers;
        Texts told;
        std::string old, written;  // what the files hold now
    } cases[] = {
        {{}, {}, {}, "", ""},
        {{existing, existing}, {IDNO, IDCANCEL}, {question, question}, "", ""},
        {{nowhere}, {}, {L"Error 0x00000003 (3) "}, "", ""},
        {{existing, fresh}, {IDNO}, {question}, "", kListed},
        {{folder}, {IDYES}, {L"The file " + folder, L"Error 0x00000005 (5) "}, "", kListed},
        {{existing}, {IDYES}, {question}, kListed, kListed},
    };
    for (const auto& c : cases) {
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
        ASSERT_TRUE(System::files.empty() && boxes.size() == c.told.size());
        for (size_t i = 0; i < boxes.size(); ++i) EXPECT_EQ(boxes[i].substr(0, c.told[i].size()), c.told[i]);
        EXPECT_TRUE(Read(existing) == c.old && Read(fresh) == c.written);
    }
    EXPECT_EQ(System::styles, (std::vector<DWORD>{0x23, 0x23, MB_ICONERROR, 0x23, 0x23, MB_ICONERROR, 0x23}));
}

TEST_F(WinlogonPage, RepairsTheTemplates) {
    TestDirectory directory;
    System::kind = System::Controller;
    const auto fixes = [](bool enabled) {
        return [=](HWND sheet) { EXPECT_EQ(Ui::Enabled(Ui::Page(sheet), IDC_WINLOGON_FIX_TEMPLATES), enabled); };
    };
    const auto fix = [&](const wchar_t* trouble) {
        return [=, &directory](HWND sheet) {
            directory.trouble = trouble;
            Ui::Click(Ui::Page(sheet), IDC_WINLOGON_FIX_TEMPLATES);
            directory.trouble = L"";
        };
    };
    Run({fixes(true), fix(L"Put CN=Enr"), fixes(true), fix(L"Get configurationNamingContext"), fix(L""), fixes(false)});
    const std::wstring unbound = L"Error 0x80005009 (-2147463159) E_ADS_OBJECT_UNBOUND";
    EXPECT_EQ(boxes, (Texts{unbound, unbound, L"Certificate Templates in Active Directory updated successfully"}));
    EXPECT_EQ(System::styles, (std::vector<DWORD>{MB_ICONERROR, MB_ICONERROR, MB_ICONINFORMATION}));
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
        Run({Apply([](HWND page) {
                 if (Ui::Enabled(page, IDC_WINLOGON_DISABLE)) Ui::Click(page, IDC_WINLOGON_DISABLE);
                 Ui::Select(page, IDC_WINLOGON_READER, 1);
             }),
             [&](HWND sheet) {
                 modified = Ui::ApplyEnabled(sheet);
                 checked = Checks(Ui::Page(sheet)).ends_with(L"x");
                 provider = Ui::Text(Ui::Page(sheet), IDC_WINLOGON_CSP);
                 reader = Ui::Text(Ui::Page(sheet), IDC_WINLOGON_READER);
             }});
    };
    Look([](HWND) {});  // loads the reader library, for good
    Faults("winlogon page", scenario,
           [&](const Fault& fault) -> std::string {
               const std::wstring stored = StoredReader(provider);
               const bool same = checked == (disabled.Get() == 1) && (reader == L"Registry") == (stored == L"REGISTRY");
               const bool all = checked && stored == L"REGISTRY" && StoredKdc() == 1;
               StoreReader(nullptr, provider);
               disabled.Set({});
               if (boxes != (modified ? Texts{kSaveFailed} : Texts{})) return "told wrongly";
               if (fault.point == Fault::kNone && !all) return "not saved";
               return modified || same ? "" : "shows what isn't stored";
           },
           {"CryptAcquireContextW"});  // all providers are opened, then the one that is selected
}

}  // namespace
