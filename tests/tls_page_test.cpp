// What the TLS page does besides showing and writing its settings.
#include "pages/PropPageConfigTLS.h"

#include "softcsp/common/Registry.h"
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
    ImportPatch loader{"LoadLibraryExW", &Load}, version{"GetVersion", &Version};
};

TEST_F(TlsPage, AnInvalidNumberIsReportedAndReplaced) {
    Look([&](HWND page) {
        // What follows a click on the upper arrow comes last.
        for (const auto& [id, good, bad, up] : {std::tuple{IDC_TLS_SESSIONS, L"70", L"70000", L"74"},
                                                {IDC_TLS_SESSIONS, L"65536", L"", L"65536"},
                                                {IDC_TLS_CAS, L"998", L"-1", L"999"}}) {
            const HWND edit = GetDlgItem(page, id);
            for (const wchar_t* text : {good, bad}) SetWindowTextW(edit, text);
            EXPECT_EQ(Ui::Text(edit), good);
            EXPECT_EQ(SendMessageW(edit, EM_GETSEL, 0, 0), MAKELRESULT(0, wcslen(good)));
            SendDlgItemMessageW(page, id + 1, WM_KEYDOWN, VK_UP, 0);
            EXPECT_EQ(Ui::Text(edit), up);
        }
    });
    EXPECT_EQ(boxes, (Texts{L"Enter a whole number between 0 and 65536.", L"Enter a whole number.",
                            L"Enter a whole number between 0 and 999."}));
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
}

// The module is registered anew when the client's cipher suites change. The result of the registration replaces
// failures before it, but not later ones. A stored limit out of the range is replaced.
TEST_F(TlsPage, RegistersTheCipherSuitesAnew) {
    constexpr wchar_t kKey[] = L"SOFTWARE\\Kelvane\\SoftCSP", kRegistered[] = L"CngRegistered";
    using softcsp::kCngRegisterSetting, softcsp::kCngUnregisterSetting;
    const struct {
        DWORD windows;
        DWORD registered;  // afterwards; 0: not at all
        bool saved = true;
        const wchar_t* refused = L"none";  // value
        const wchar_t* missing = L"";      // library
        std::pair<softcsp::Setting, DWORD> result = {kCngRegisterSetting, S_OK};
    } cases[] = {
        {0xFF05, kOld},
        {0x4A64000A, 1},
        {6, kOld, true, L"none", L"kvcng.dll"},
        {6, kOld, true, L"none", L"", {kCngUnregisterSetting, E_FAIL}},
        {6, 0, false, L"none", L"", {kCngRegisterSetting, 1}},
        {6, 1, true, kRevocation},
        {6, 1, false, kCredential},
        {6, kOld, false, kRevocation, L"kvcng.dll"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        Reset();
        authorities.Set(-1);
        softcsp::WriteValue(HKEY_LOCAL_MACHINE, kKey, kRegistered, kOld);
        windows = c.windows;
        missing = c.missing;
        const ProviderSetting result(c.result.first, c.result.second);
        TlsSettings settings;
        settings.Read();
        settings.clientSkipsRevocation.shown = settings.clientRefusesLegacySuites.shown = true;
        settings.serverUsesMachineCredential.shown = true;
        const Denied denied(PathOf(c.refused));
        EXPECT_EQ(!!settings.Write().result, c.saved);
        EXPECT_EQ(softcsp::ReadNumber(HKEY_LOCAL_MACHINE, kKey, kRegistered, 0), c.registered);
        EXPECT_EQ(legacy.Get(), Stored(1));
        EXPECT_EQ(authorities.Get(), Stored(100));
    }
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
    SaveUnderFaults(
        "TLS page", change, stored, [&] { Reset(); }, {"support_registry_find"}, IDYES);
}

}  // namespace
