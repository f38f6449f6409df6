// What the TLS page does besides showing and writing its settings: numbers that are typed, modules that are missing,
// the registration of the cipher suites and the restart.
#include "pages/PropPageConfigTLS.h"

#include "tests/support/SettingsPage.h"

namespace {

constexpr wchar_t kProviderKey[] = L"SOFTWARE\\Kelvane\\SoftCSP", kRegistered[] = L"CngRegistered";
constexpr wchar_t kRevocation[] = L"tls_client_disable_revocation_check",
                  kCredential[] = L"tls_server_use_default_machine_credential";
constexpr DWORD kOld = 7;  // a registration that the module wouldn't write itself

// The version of Windows, and a library that is missing.
struct System {
    static DWORD WINAPI Version() { return version; }
    static HMODULE WINAPI Load(LPCWSTR file, HANDLE none, DWORD flags) {
        const bool missing = !missingLibrary.empty() && std::wstring(file).ends_with(missingLibrary);
        return missing ? nullptr : load(file, none, flags);
    }
    static inline DWORD version;
    static inline std::wstring missingLibrary;
    static inline decltype(&LoadLibraryExW) load;
};

// Every test begins with nothing stored, under a Windows too old for the module.
class TlsPage : public SettingsPageTest<CPropPageConfigTLS> {
  protected:
    TlsPage() {
        System::load = load.Original<decltype(LoadLibraryExW)>();
        System::missingLibrary = L"";
        System::version = 5;
    }
    static std::wstring PathOf(const wchar_t* name) { return std::wstring(L"\\config\\Parameters\\") + name; }

    static void Register(DWORD value) {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, kProviderKey, kRegistered, REG_DWORD, &value, sizeof value);
    }
    static DWORD Registered() {
        DWORD value = 0, size = sizeof value;
        RegGetValueW(HKEY_LOCAL_MACHINE, kProviderKey, kRegistered, RRF_RT_REG_DWORD, nullptr, &value, &size);
        return value;
    }

    StoredNumber revocation{PathOf(kRevocation), {}}, legacy{PathOf(L"tls_client_disable_legacy_cipher_suites"), {}},
        credential{PathOf(kCredential), {}}, sessions{PathOf(L"tls_server_max_sessions"), {}},
        authorities{PathOf(L"tls_server_max_certificate_request_cas"), {}};
    ImportPatch load{nullptr, "LoadLibraryExW", &System::Load}, version{nullptr, "GetVersion", &System::Version};
};

TEST_F(TlsPage, StoredLimitsOutOfTheRangeAreReplacedWhenThePageIsSaved) {
    sessions.Set(65537);
    authorities.Set(-1);
    Run({[](HWND sheet) {
            Ui::Click(Ui::Page(sheet), IDC_TLS_CLIENT_NO_REVOCATION);
            Ui::Press(sheet, PSBTN_OK);
        }},
        {IDNO});
    EXPECT_EQ(sessions.Get(), Stored(64));
    EXPECT_EQ(authorities.Get(), Stored(100));
}

TEST_F(TlsPage, AnInvalidNumberIsReportedAndReplaced) {
    const struct {
        UINT edit;
        const wchar_t *good, *bad, *message, *up;  // `up`: after a click on the upper arrow
    } cases[] = {{IDC_TLS_SESSIONS, L"70", L"70000", L"Enter a whole number between 0 and 65536.", L"74"},
                 {IDC_TLS_SESSIONS, L"65536", L"", L"Enter a whole number.", L"65536"},
                 {IDC_TLS_CAS, L"100", L"1000", L"Enter a whole number between 0 and 999.", L"110"},
                 {IDC_TLS_CAS, L"998", L"-1", L"Enter a whole number between 0 and 999.", L"999"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.bad)));
        Look([&](HWND page) {
            const HWND edit = GetDlgItem(page, static_cast<int>(c.edit));
            for (const wchar_t* text : {c.good, c.bad}) SetWindowTextW(edit, text);
            EXPECT_EQ(Ui::Text(edit), c.good);
            EXPECT_EQ(GetFocus(), edit);
            EXPECT_EQ(SendMessageW(edit, EM_GETSEL, 0, 0), MAKELRESULT(0, wcslen(c.good)));
            SendDlgItemMessageW(page, static_cast<int>(c.edit) + 1, WM_KEYDOWN, VK_UP, 0);
            EXPECT_EQ(Ui::Text(edit), c.up);
        });
        EXPECT_EQ(boxes, Texts{c.message});
    }
}

TEST_F(TlsPage, SaysWhatTheOcspModuleIsMissingFor) {
    System::missingLibrary = L"kvocsp.dll";
    Look([](HWND page) {
        for (UINT id = IDC_TLS_FIRST_SWITCH; id <= IDC_TLS_CAS_SPIN; ++id) {
            const bool needsModule = id == IDC_TLS_CLIENT_OCSP || id == IDC_TLS_SERVER_OCSP;
            EXPECT_EQ(Ui::Enabled(page, id), !needsModule) << id;
            EXPECT_EQ(Ui::TipBehind(page, id), needsModule ? L"The OCSP module is not installed." : L"") << id;
        }
    });
    const Denied denied(L"\\config\\Parameters");
    Look([](HWND page) {
        EXPECT_EQ(Ui::TipBehind(page, IDC_TLS_CLIENT_OCSP), kOnlyAdministrators);
        for (const UINT spin : {IDC_TLS_SESSIONS_SPIN, IDC_TLS_CAS_SPIN}) EXPECT_FALSE(Ui::Enabled(page, spin));
    });
}

// The module is registered anew when the client's cipher suites change. The result of the registration replaces
// failures before it, but not later ones.
TEST_F(TlsPage, RegistersTheCipherSuitesAnew) {
    constexpr DWORD kWindows10 = 0x4A64000A, kWindows5 = 0xFF05;
    enum { None, Earlier, Later };  // switches
    const struct {
        const char* name;
        DWORD version;
        DWORD registered;  // afterwards; 0: not at all
        const wchar_t* box = kRestartQuestion;
        int failing = None;
        const wchar_t* missingLibrary = L"";
        const char* missingFunction = "none";
        std::pair<softcsp::Setting, DWORD> result = {softcsp::kCngRegisterSetting, S_OK};
    } cases[] = {
        {"Windows 10", kWindows10, 1},
        {"Windows 5", kWindows5, kOld},
        {"no function to register", 6, kOld, kRestartQuestion, None, L"", "DllRegisterServer"},
        {"no function to unregister", 6, kOld, kRestartQuestion, None, L"", "DllUnregisterServer"},
        {"cannot be unregistered", 6, kOld, kRestartQuestion, None, L"", "", {softcsp::kCngUnregisterSetting, E_FAIL}},
        {"cannot be registered", 6, 0, kSaveFailed, None, L"", "", {softcsp::kCngRegisterSetting, 1}},
        {"an earlier failure", 6, 1, kRestartQuestion, Earlier},
        {"a later failure", 6, 1, kSaveFailed, Later},
        {"an earlier failure, no module", 6, kOld, kSaveFailed, Earlier, L"kvcng.dll"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        for (const StoredNumber* number : {&revocation, &legacy, &credential}) number->Set({});
        Register(kOld);
        System::version = c.version;
        System::missingLibrary = c.missingLibrary;
        const LibraryFunction missing(c.missingFunction, nullptr);
        const ProviderSetting result(c.result.first, c.result.second);
        std::optional<Denied> denied;
        if (c.failing != None) denied.emplace(PathOf(c.failing == Earlier ? kRevocation : kCredential));
        Run({[&](HWND sheet) {
                 const HWND page = Ui::Page(sheet);
                 Ui::Click(page, IDC_TLS_CLIENT_NO_LEGACY);
                 if (c.failing == Earlier) Ui::Click(page, IDC_TLS_CLIENT_NO_REVOCATION);
                 if (c.failing == Later) Ui::Click(page, IDC_TLS_SERVER_MACHINE_CREDENTIAL);
                 Ui::Press(sheet, PSBTN_APPLYNOW);
             },
             [&](HWND sheet) { EXPECT_EQ(Ui::ApplyEnabled(sheet), denied || c.box == kSaveFailed); }},
            {IDNO});
        EXPECT_EQ(boxes, Texts{c.box});
        EXPECT_EQ(Registered(), c.registered);
        EXPECT_EQ(legacy.Get(), Stored(1));
    }
}

TEST_F(TlsPage, ARefusedRestartIsReportedAsAFailure) {
    System::version = 6;
    Register(kOld);
    Restart::refused = L"exit";
    const StoredNumber serverLegacy(PathOf(L"tls_server_disable_legacy_cipher_suites"), {});
    Run({[](HWND sheet) {
             Ui::Click(Ui::Page(sheet), IDC_TLS_SERVER_NO_LEGACY);
             Ui::Press(sheet, PSBTN_APPLYNOW);
         },
         [](HWND sheet) { EXPECT_TRUE(Ui::ApplyEnabled(sheet)); }},
        {IDYES});
    EXPECT_EQ(boxes, (Texts{kRestartQuestion, kSaveFailed}));
    EXPECT_EQ(Restart::calls, 11) << "the privilege, and a restart";
    EXPECT_EQ(serverLegacy.Get(), Stored(1)) << "although it is written";
    EXPECT_EQ(Registered(), kOld) << "only the client's cipher suites are registered";
}

// All is written and the question asked; or a failure is reported; or there was nothing that could be changed. Not with
// a later Windows, where the registration's success hides failures before it.
TEST_F(TlsPage, EveryFailureIsReported) {
    const std::vector<Stored> all = {1, 1, 7}, nothing(3);
    const auto save = [&] {
        Run({[&](HWND sheet) {
                const HWND page = Ui::Page(sheet);
                for (const UINT box : {IDC_TLS_CLIENT_NO_LEGACY, IDC_TLS_SERVER_MACHINE_CREDENTIAL})
                    if (Ui::Enabled(page, box)) Ui::Click(page, box);
                if (Ui::Enabled(page, IDC_TLS_CAS)) Ui::Type(page, IDC_TLS_CAS, L"7");
                Ui::Press(sheet, PSBTN_OK);
            }},
            {IDNO});
    };
    const auto inspect = [&](const Fault& fault) {
        const std::vector<Stored> found = {legacy.Get(), credential.Get(), authorities.Get()};
        for (const StoredNumber* number : {&legacy, &credential, &authorities}) number->Set({});
        if (boxes == Texts{kRestartQuestion}) return found == all ? "" : "reads as saved";
        const bool failed = *fault.function != 0, reported = boxes == Texts{kSaveFailed};
        return failed && (reported || (boxes.empty() && found == nothing)) ? "" : "isn't reported";
    };
    // What is shown is compared with the store as it is at that moment.
    Faults("TLS page, change and save", save, inspect, {"support_registry_find"});
}

}  // namespace
