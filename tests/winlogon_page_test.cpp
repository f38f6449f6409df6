// The Winlogon page as a real window, against the software provider, its readers and a directory of the test's own.
#include "pages/PropPageConfigWLReaders.h"

#include <commdlg.h>

#include "softcsp/common/Registry.h"
#include "tests/support/Certificates.h"
#include "tests/support/Provider.h"
#include "tests/support/SettingsPage.h"
#include "tests/support/SystemCalls.h"
#include "tests/support/TestDirectory.h"

namespace {

using namespace softcsp;

constexpr DWORD kMissing = 0x7ffffffe, kNoKey = 0x7fffffff;  // of the KDC's value: none, not even the key

// A workstation with two readers that may have a default, nothing stored.
class WinlogonPage : public SettingsPageTest<CPropPageConfigWLReaders> {
  protected:
    WinlogonPage() {
        isController = false;
        RunTool(L"carrier add WLTEST");
        StoreReader(nullptr);
    }
    ~WinlogonPage() override {
        RunTool(L"carrier remove WLTEST");
        StoreReader(nullptr);
        StoreKdc(kNoKey);
    }
    static BOOL WINAPI Version(OSVERSIONINFOW* info) {
        reinterpret_cast<OSVERSIONINFOEXW*>(info)->wProductType =
            isController ? VER_NT_DOMAIN_CONTROLLER : VER_NT_WORKSTATION;
        return TRUE;
    }
    static void StoreReader(const wchar_t* name, const std::wstring& provider = kProvider75) {
        const std::wstring path = DefaultReaderPath(provider);
        name ? support_registry_put_string(path.c_str(), name) : support_registry_delete_param(path.c_str());
    }
    static std::wstring StoredReader(const std::wstring& provider = kProvider75) {
        std::wstring text;
        Store().ReadText(DefaultReaderPath(provider), text);
        return text;
    }
    static void StoreKdc(DWORD value) {
        RemoveKey(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Services\\kdc");
        if (value != kNoKey) WriteValue(HKEY_LOCAL_MACHINE, kKdcKey, value == kMissing ? L"other" : kKdcValue, value);
    }
    static DWORD StoredKdc() { return ReadNumber(HKEY_LOCAL_MACHINE, kKdcKey, kKdcValue, kMissing); }

    static inline bool isController;
    StoredNumber readersEnabled{L"\\config\\Parameters\\EnableDefaultReader", 1},
        disabled{L"\\config\\Parameters\\DisableWL", {}};
    const ImportPatch version{"GetVersionExW", &Version};
};

TEST_F(WinlogonPage, SelectsTheDefaultReader) {
    const struct {
        const wchar_t* stored;
        int selected;
        bool reported = false;
        const char* missing = "none";  // function of the libraries
    } cases[] = {{nullptr, 0},
                 {L"DISK_WLTEST", 2},
                 {L"disk_wltest", -1, true},
                 {L"GONE", -1, false, "supsys_nickname"},
                 {L"REGISTRY", -1, true, "supsys_register_name"},
                 {nullptr, 0, false, "supsys_find_open"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        StoreReader(c.stored);
        const LibraryFunction missing(c.missing, nullptr);
        Look([&](HWND page) {
            EXPECT_EQ(Ui::Items(page, IDC_WINLOGON_READER).size(), c.missing == std::string("none") ? 3u : 1u);
            EXPECT_EQ(Ui::Selected(page, IDC_WINLOGON_READER), c.selected);
        });
        const std::wstring text = c.reported ? L"Can not find default reader [" + std::wstring(c.stored) + L"]." : L"";
        EXPECT_EQ(boxes, c.reported ? Texts{text} : Texts{});
    }
    RunTool(L"carrier eject WLTEST");
    Look([](HWND page) { EXPECT_EQ(Ui::Items(page, IDC_WINLOGON_READER).size(), 2u); });
    const LibraryFunction registration(
        "supsys_register_all", +[](ReaderRegistration*) { return DWORD{0}; });
    Look([](HWND page) { EXPECT_EQ(Ui::Items(page, IDC_WINLOGON_READER).size(), 1u) << "without registration"; });
    readersEnabled.Set(0);
    Look([](HWND page) { EXPECT_EQ(Shown(page, IDC_WINLOGON_READER), L"Not set disabled"); });
}

// On what isn't a domain controller the directory isn't asked.
TEST_F(WinlogonPage, ShowsWhatADomainControllerMayChange) {
    const struct {
        const char* name;
        DWORD kdc;
        const wchar_t* shown;  // of the KDC
        Stored disabled = {};
        bool noDirectory = false, isController = true;
    } cases[] = {{"a workstation", 0, L"off disabled", {}, false, false},
                 {"missing", kMissing, L"on"},
                 {"off", 1, L"off"},
                 {"negative", 0x80000000, L"on"},
                 {"no key", kNoKey, L"off disabled"},
                 {"on without support", 0, L"off disabled", 7},
                 {"no directory", 0, L"on disabled", {}, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TestDirectory directory;
        directory.trouble = c.noDirectory ? L"Open rootDS" : L"";
        isController = c.isController;
        StoreKdc(c.kdc);
        disabled.Set(c.disabled);
        Look([&](HWND page) {
            EXPECT_EQ(Shown(page, IDC_WINLOGON_KDC), c.shown);
            for (const UINT id : {IDC_WINLOGON_EXPORT, IDC_WINLOGON_FIX_TEMPLATES}) {
                EXPECT_EQ(Ui::Enabled(page, id), isController && !c.noDirectory) << id;
                EXPECT_EQ(Ui::TipBehind(page, id), isController ? L"" : L"Available on domain controllers only.") << id;
            }
            EXPECT_EQ(Ui::ApplyEnabled(GetParent(page)), c.disabled == 7);
            Ui::Select(page, IDC_WINLOGON_CONTROLLER, 1);
            const bool listed = Ui::Enabled(page, IDC_WINLOGON_EXPORT);
            EXPECT_EQ(Ui::Text(page, IDC_WINLOGON_IDENTIFIER),
                      listed ? L"{03020100-0504-0706-0809-0a0b0c0d0e02}" : L"");
        });
        EXPECT_EQ(directory.calls.empty(), !isController);
    }
}

// The support is written although the KDC's value can't be.
TEST_F(WinlogonPage, DisablingTheSupportClearsTheKdcAndWritesBoth) {
    const TestDirectory directory;
    isController = true;
    StoreKdc(0);
    const auto refuse = +[](HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) -> LSTATUS { return ERROR_ACCESS_DENIED; };
    std::optional<ImportPatch> refusal(std::in_place, "RegSetValueExW", refuse);
    Run({[](HWND sheet) {
             Ui::Click(Ui::Page(sheet), IDC_WINLOGON_DISABLE);
             Apply(sheet);
         },
         [&](HWND sheet) {
             EXPECT_EQ(Shown(Ui::Page(sheet), {IDC_WINLOGON_KDC, IDC_WINLOGON_DISABLE}), L"off disabled, on");
             EXPECT_TRUE(Ui::ApplyEnabled(sheet));
             EXPECT_EQ(disabled.Get(), 1);
             refusal.reset();
             Apply(sheet);
         },
         Modified(false)});
    EXPECT_EQ(boxes, Texts{kSaveFailed});
    EXPECT_EQ(StoredKdc(), 1u);
}

// The type goes to the item that the count names, which includes providers that are left out.
TEST_F(WinlogonPage, OpensEveryProviderWithTheTypeThatItsItemGot) {
    StoreReader(L"DISK_WLTEST", kProvider71);
    std::vector<std::pair<std::wstring, DWORD>> opened;
    const SystemCalls calls([&](const SystemCalls::Call& call) {
        if (call.name == "CryptAcquireContextW") opened.emplace_back(call.At<const wchar_t*>(2), call.a[3]);
        return call();
    });
    Run({[&](HWND sheet) {
             const HWND page = Ui::Page(sheet);
             Ui::Select(page, IDC_WINLOGON_CSP, 1);
             EXPECT_EQ(Ui::Selected(page, IDC_WINLOGON_READER), 2) << "a default reader of its own";
             Ui::Select(page, IDC_WINLOGON_READER, 1);
             Apply(sheet);
         },
         [](HWND sheet) {
             EXPECT_EQ(StoredReader(kProvider71), L"REGISTRY");
             Ui::Select(Ui::Page(sheet), IDC_WINLOGON_READER, 0);
             Apply(sheet);
         },
         Modified(false)});
    EXPECT_EQ(opened, (decltype(opened){{kProvider75, 75}, {kProvider71, 71}, {kProvider75, 75}, {kProvider71, 71}}));
    EXPECT_EQ(StoredReader(kProvider71), L"");
    const std::wstring key = std::wstring(L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\") + kProvider75;
    RemoveValue(HKEY_LOCAL_MACHINE, key, L"ImpType");
    opened.clear();
    Look([](HWND) {});
    EXPECT_EQ(opened, decltype(opened)(2, {kProvider71, 0}));
    WriteValue(HKEY_LOCAL_MACHINE, key, L"ImpType", DWORD{CRYPT_IMPL_SOFTWARE});
}

TEST_F(WinlogonPage, ExportsTheControllersToAFileThatIsWholeOrAsItWas) {
    const TemporaryDirectory folder;
    const std::wstring existing = folder.Path() + L"old.txt", fresh = folder.Path() + L"new.txt",
                       question = L"The file " + existing + L" exists, to overwrite?",
                       full = L"Error 0x00000070 (112) ";
    const auto fail =
        +[](HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) { return SetLastError(ERROR_DISK_FULL), FALSE; };
    ASSERT_TRUE(WriteExport(existing, "old", false));
    static std::deque<std::wstring> files;  // that the user chooses; then cancel
    const auto choose = +[](OPENFILENAMEW* request) -> BOOL {
        EXPECT_EQ(request->Flags & OFN_OVERWRITEPROMPT, 0u) << "the page asks by itself";
        if (files.empty()) return FALSE;
        lstrcpynW(request->lpstrFile, files.front().c_str(), static_cast<int>(request->nMaxFile));
        return files.pop_front(), TRUE;
    };
    const LibraryFunction save("GetSaveFileNameW", choose);
    TestDirectory directory;
    isController = true;
    const struct {
        std::deque<std::wstring> chosen;
        std::deque<int> answers;
        std::wstring boxes;
        std::string old, now;  // what the files hold
    } cases[] = {{{existing, existing}, {IDNO, IDCANCEL}, question + question, "old", ""},
                 {{existing}, {IDYES}, question + full, "old", ""},
                 {{fresh}, {}, full, "old", ""},
                 {{existing, fresh}, {IDNO}, question, "old", kListed},
                 {{existing}, {IDYES}, question, kListed, kListed}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        files = c.chosen;
        std::optional<ImportPatch> write;
        if (c.boxes.ends_with(full)) write.emplace("WriteFile", fail);
        Run({[&](HWND sheet) { Ui::Click(Ui::Page(sheet), IDC_WINLOGON_EXPORT); }}, c.answers);
        std::wstring shown;
        for (const std::wstring& text : boxes) shown += text;
        EXPECT_EQ(shown.substr(0, c.boxes.size()), c.boxes);
        EXPECT_TRUE(files.empty()) << "another file is asked for";
        const std::filesystem::directory_iterator left(folder.Path());
        EXPECT_EQ(std::distance(begin(left), end(left)), c.now.empty() ? 1 : 2) << "nothing else is left behind";
        EXPECT_EQ(Read(existing), c.old);
        EXPECT_EQ(Read(fresh), c.now);
    }
}

TEST_F(WinlogonPage, RepairsTheTemplates) {
    TestDirectory directory;
    isController = true;
    Look([&](HWND page) {
        for (const wchar_t* trouble : {L"Put CN=Enr", L""}) {
            directory.trouble = trouble;
            Ui::Click(page, IDC_WINLOGON_FIX_TEMPLATES);
            EXPECT_EQ(Ui::Enabled(page, IDC_WINLOGON_FIX_TEMPLATES), *trouble != 0);
        }
    });
    EXPECT_EQ(boxes, (Texts{L"Error 0x80005009 (-2147463159) E_ADS_OBJECT_UNBOUND",
                            L"Certificate Templates in Active Directory updated successfully"}));
}

TEST_F(WinlogonPage, SurvivesTheFailureOfEachCall) {
    const TestDirectory directory;
    isController = true;
    const auto reset = [&] {
        StoreKdc(0);
        StoreReader(nullptr);
        disabled.Set({});
    };
    const auto change = [](HWND page) {
        Ui::Select(page, IDC_WINLOGON_READER, 1);
        return ClickAll(page, {IDC_WINLOGON_KDC, IDC_WINLOGON_DISABLE}) &&
               Shown(page, {IDC_WINLOGON_CSP, IDC_WINLOGON_READER}) == kProvider75 + std::wstring(L", Registry");
    };
    const auto stored = [&] { return StoredReader() == L"REGISTRY" && StoredKdc() == 1 && disabled.Get() == 1; };
    reset();
    Look([](HWND) {});  // loads the reader library, for good
    SaveUnderFaults("winlogon page", change, stored, reset, {"CryptAcquireContextW"});  // the selected one again
}

}  // namespace
