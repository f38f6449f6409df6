// What the TLS page does besides showing and writing its settings: numbers that are typed, modules that are missing,
// the registration of the cipher suites and the restart.
#include "pages/PropPageConfigTLS.h"

#include "tests/support/SettingsPage.h"

namespace {

constexpr wchar_t kRevocation[] = L"client_disable_revocation_check",
                  kCredential[] = L"server_use_default_machine_credential";
constexpr DWORD kOld = 7;  // a registration that the module wouldn't write itself

// Every test begins with nothing stored, under a Windows too old for the module.
class TlsPage : public SettingsPageTest<CPropPageConfigTLS> {
  protected:
    TlsPage() {
        load = loader.Original<decltype(LoadLibraryExW)>();
        missing = L"";
        windows = 5;
    }
    static DWORD WINAPI Version() { return windows; }
    static HMODULE WINAPI Load(LPCWSTR file, HANDLE none, DWORD flags) {
        return !missing.empty() && std::wstring(file).ends_with(missing) ? nullptr : load(file, none, flags);
    }
    static std::wstring PathOf(const wchar_t* name) { return std::wstring(L"\\config\\Parameters\\tls_") + name; }
    void Reset() const {
        for (const StoredNumber* number : {&revocation, &legacy, &credential, &authorities}) number->Set({});
    }

    static inline DWORD windows;
    static inline std::wstring missing;  // library
    static inline decltype(&LoadLibraryExW) load;
    StoredNumber revocation{PathOf(kRevocation), {}}, legacy{PathOf(L"client_disable_legacy_cipher_suites"), {}},
        credential{PathOf(kCredential), {}}, authorities{PathOf(L"server_max_certificate_request_cas"), {}};
    ImportPatch loader{nullptr, "LoadLibraryExW", &Load}, version{nullptr, "GetVersion", &Version};
};

TEST_F(TlsPage, AnInvalidNumberIsReportedAndReplaced) {
    const struct {
        UINT edit;
        const wchar_t *good, *bad, *message, *up;  // `up`: after a click on the upper arrow
    } cases[] = {{IDC_TLS_SESSIONS, L"70", L"70000", L"Enter a whole number between 0 and 65536.", L"74"},
                 {IDC_TLS_SESSIONS, L"65536", L"", L"Enter a whole number.", L"65536"},
                 {IDC_TLS_CAS, L"998", L"-1", L"Enter a whole number between 0 and 999.", L"999"}};
    for (const auto& c : cases) {
        Look([&](HWND page) {
            const HWND edit = GetDlgItem(page, static_cast<int>(c.edit));
            for (const wchar_t* text : {c.good, c.bad}) SetWindowTextW(edit, text);
            EXPECT_EQ(Ui::Text(edit), c.good);
            EXPECT_EQ(SendMessageW(edit, EM_GETSEL, 0, 0), MAKELRESULT(0, wcslen(c.good)));
            SendDlgItemMessageW(page, static_cast<int>(c.edit) + 1, WM_KEYDOWN, VK_UP, 0);
            EXPECT_EQ(Ui::Text(edit), c.up);
        });
        EXPECT_EQ(boxes, Texts{c.message});
    }
}

TEST_F(TlsPage, SaysWhatTheOcspModuleIsMissingFor) {
    missing = L"kvocsp.dll";
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
        EXPECT_FALSE(Ui::Enabled(page, IDC_TLS_SESSIONS_SPIN));
    });
}

// The module is registered anew when the client's cipher suites change. The result of the registration replaces
// failures before it, but not later ones. A stored limit out of the range is replaced.
TEST_F(TlsPage, RegistersTheCipherSuitesAnew) {
    constexpr wchar_t kKey[] = L"SOFTWARE\\Kelvane\\SoftCSP", kRegistered[] = L"CngRegistered";
    using softcsp::kCngRegisterSetting, softcsp::kCngUnregisterSetting;
    const struct {
        const char* name;
        DWORD windows;
        DWORD registered;              // afterwards; 0: not at all
        UINT failing = 0;              // switch
        const wchar_t* library = L"";  // that is missing
        bool saved = true;
        std::pair<softcsp::Setting, DWORD> result = {kCngRegisterSetting, S_OK};
    } cases[] = {
        {"Windows 5", 0xFF05, kOld},
        {"Windows 10", 0x4A64000A, 1},
        {"no module", 6, kOld, 0, L"kvcng.dll"},
        {"cannot be unregistered", 6, kOld, 0, L"", true, {kCngUnregisterSetting, E_FAIL}},
        {"cannot be registered", 6, 0, 0, L"", false, {kCngRegisterSetting, 1}},
        {"an earlier failure", 6, 1, IDC_TLS_CLIENT_NO_REVOCATION},
        {"a later failure", 6, 1, IDC_TLS_SERVER_MACHINE_CREDENTIAL, L"", false},
        {"an earlier failure, no module", 6, kOld, IDC_TLS_CLIENT_NO_REVOCATION, L"kvcng.dll", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Reset();
        authorities.Set(-1);
        DWORD registered = kOld, size = sizeof registered;
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, kRegistered, REG_DWORD, &registered, sizeof registered);
        windows = c.windows;
        missing = c.library;
        const ProviderSetting result(c.result.first, c.result.second);
        const bool earlier = c.failing == IDC_TLS_CLIENT_NO_REVOCATION;
        const Denied denied(PathOf(!c.failing ? L"none" : earlier ? kRevocation : kCredential));
        Run({[&](HWND sheet) {
                 ClickAll(Ui::Page(sheet), {IDC_TLS_CLIENT_NO_LEGACY, c.failing});
                 Apply(sheet);
             },
             Modified(!c.saved || c.failing != 0)},
            {IDNO});
        EXPECT_EQ(boxes, Texts{c.saved ? kRestartQuestion : kSaveFailed});
        registered = 0;
        RegGetValueW(HKEY_LOCAL_MACHINE, kKey, kRegistered, RRF_RT_REG_DWORD, nullptr, &registered, &size);
        EXPECT_EQ(registered, c.registered);
        EXPECT_EQ(legacy.Get(), Stored(1));
        EXPECT_EQ(authorities.Get(), Stored(100));
    }
}

TEST_F(TlsPage, ARefusedRestartIsReportedAsAFailure) {
    Restart::refused = L"exit";
    Run({[](HWND sheet) {
             Ui::Click(Ui::Page(sheet), IDC_TLS_SERVER_MACHINE_CREDENTIAL);
             Apply(sheet);
         },
         Modified(true)},
        {IDYES});
    EXPECT_EQ(boxes, (Texts{kRestartQuestion, kSaveFailed}));
    EXPECT_EQ(credential.Get(), Stored(1)) << "although it is written";
}

// Not with a later Windows, where the registration's success hides failures before it.
TEST_F(TlsPage, EveryFailureIsReported) {
    const auto change = [](HWND page) {
        const bool changed = ClickAll(page, {IDC_TLS_CLIENT_NO_LEGACY, IDC_TLS_SERVER_MACHINE_CREDENTIAL});
        if (changed) Ui::Type(page, IDC_TLS_CAS, L"7");
        return changed;
    };
    const auto stored = [&] { return legacy.Get() == 1 && credential.Get() == 1 && authorities.Get() == 7; };
    // What is shown is compared with the store as it is at that moment.
    SaveUnderFaults("TLS page", change, stored, [&] { Reset(); }, {"support_registry_find"});
}

}  // namespace
