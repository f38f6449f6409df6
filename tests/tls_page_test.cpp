// The TLS page as a real window, against the software provider's configuration store and modules.
#include "pages/PropPageConfigTLS.h"

#include "tests/support/Directory.h"
#include "tests/support/SettingsPage.h"

namespace {

constexpr UINT kOcsp = 1145, kRevocation = 1146, kLegacy = 1148, kServerOcsp = 1149, kServerLegacy = 1151,
               kCredential = 1155, kSessions = 1156, kCas = 1158;
const std::map<UINT, std::wstring> kNames = {{kOcsp, L"tls_client_use_ocsp_extensions"},
                                             {kRevocation, L"tls_client_disable_revocation_check"},
                                             {1147, L"tls_client_disable_self_certificate_usage_validation"},
                                             {kLegacy, L"tls_client_disable_legacy_cipher_suites"},
                                             {kServerOcsp, L"tls_server_use_ocsp_extensions"},
                                             {1152, L"tls_server_disable_revocation_check"},
                                             {1150, L"tls_server_disable_self_certificate_usage_validation"},
                                             {kServerLegacy, L"tls_server_disable_legacy_cipher_suites"},
                                             {1153, L"tls_server_use_renegotiation_info_extension"},
                                             {1154, L"tls_server_require_renegotiation_info_extension"},
                                             {kCredential, L"tls_server_use_default_machine_credential"},
                                             {kSessions, L"tls_server_max_sessions"},
                                             {kCas, L"tls_server_max_certificate_request_cas"}};
const std::wstring kSection = L"\\config\\Parameters\\";
constexpr wchar_t kProviderKey[] = L"SOFTWARE\\Kelvane\\SoftCSP", kRegistered[] = L"CngRegistered";
constexpr DWORD kOld = 7;  // a registration that the module wouldn't write itself

// Windows of a version, with a missing library.
struct System {
    static DWORD WINAPI Version() { return version; }
    static HMODULE WINAPI Load(LPCWSTR file, HANDLE none, DWORD flags) {
        return trouble.ends_with(L".dll") && std::wstring(file).ends_with(trouble) ? nullptr : load(file, none, flags);
    }
    static inline DWORD version;
    static inline std::wstring trouble;
    static inline decltype(&LoadLibraryExW) load;
};

// Every test begins with nothing stored, under a Windows too old for the module.
class TlsPage : public SettingsPageTest<CPropPageConfigTLS> {
  protected:
    using Values = std::map<UINT, long>;

    TlsPage() {
        for (const auto& [control, name] : kNames) numbers[control].emplace(kSection + name, std::nullopt);
        System::load = load.Original<decltype(LoadLibraryExW)>();
        System::trouble = L"";
        System::version = 5;
    }
    // What is stored; then nothing is.
    Values TakeStored() {
        Values values;
        for (const auto& [control, number] : numbers) {
            if (const auto value = number->Get()) values[control] = *value;
            number->Set({});
        }
        return values;
    }
    static Values Shown(HWND page) {
        Values values;
        for (const auto& [control, name] : kNames)
            values[control] = control < kSessions ? IsDlgButtonChecked(page, static_cast<int>(control))
                                                  : std::stoul(Ui::Text(page, control));
        return values;
    }
    // As a user does; only what is enabled.
    static void Change(HWND page, const Values& values) {
        for (const auto& [control, value] : values) {
            if (!Ui::Enabled(page, control)) continue;
            control < kSessions ? Ui::Click(page, control) : Ui::Type(page, control, std::to_wstring(value).c_str());
        }
    }

    std::map<UINT, std::optional<StoredNumber>> numbers;
    ImportPatch load{nullptr, "LoadLibraryExW", &System::Load}, version{nullptr, "GetVersion", &System::Version};
};

// Each control has its own parameter and changes nothing else. Limits that can't be used are as good as missing, and
// are replaced by what is shown for them.
TEST_F(TlsPage, EverySettingGoesThroughTheStore) {
    for (const auto& [spoken, title] : {std::pair{kEnglish, L"TLS Settings"}, {kRussian, L"TLS"}}) {
        language.Set(spoken);
        for (const auto& [control, name] : kNames) {
            Values stored{{kRevocation, 5}, {kSessions, 65537}, {kCas, -1}}, shown{{kSessions, 64}, {kCas, 100}};
            stored[control] = 999;
            for (const auto& [other, value] : stored) numbers[other]->Set(value);
            for (const auto& [other, parameter] : kNames) shown[other];
            shown[control] = control < kSessions ? 1 : 999;
            shown[kRevocation] = 1;
            Run({[&, id = control, text = title](HWND sheet) {
                const HWND page = Ui::Page(sheet);
                EXPECT_TRUE(Ui::Text(page) == text && Shown(page) == shown) << id;
                for (const bool modified : {true, false, true}) {
                    Change(page, {{id, modified ? 0 : 999}});
                    EXPECT_EQ(Ui::ApplyEnabled(sheet), modified);
                }
                Ui::Press(sheet, PSBTN_OK);
            }});
            for (const auto& [limit, missing] : {std::pair{kSessions, 64}, {kCas, 100}})
                if (stored.at(limit) != 999) stored[limit] = missing;
            stored[control] = 0;
            EXPECT_EQ(TakeStored(), stored) << control;
        }
    }
}

TEST_F(TlsPage, ATextThatIsNoNumberInTheRangeIsToldAndReplaced) {
    const std::wstring between = L"Enter a whole number between 0 and ";
    const struct {
        UINT edit;
        const wchar_t *good, *bad;
        std::wstring told;
        const wchar_t* up;  // a click goes there, and on by so many after two seconds
        UINT later;
    } cases[] = {{kSessions, L"70", L"70000", between + L"65536.", L"74", 64},
                 {kSessions, L"65536", L"", L"Enter a whole number.", L"65536", 64},
                 {kCas, L"100", L"1000", between + L"999.", L"110", 100},
                 {kCas, L"998", L"-1", between + L"999.", L"999", 100}};
    for (const auto& c : cases) {
        Look([&](HWND page) {
            const HWND edit = GetDlgItem(page, int(c.edit)), spin = GetDlgItem(page, int(c.edit) + 1);
            for (const wchar_t* text : {c.good, c.bad}) SetWindowTextW(edit, text);
            EXPECT_EQ(Ui::Text(edit), c.good);
            EXPECT_TRUE(GetFocus() == edit && SendMessageW(edit, EM_GETLIMITTEXT, 0, 0) == 5);
            EXPECT_EQ(SendMessageW(edit, EM_GETSEL, 0, 0), MAKELRESULT(0, wcslen(c.good)));
            SendMessageW(spin, WM_KEYDOWN, VK_UP, 0);
            EXPECT_EQ(Ui::Text(edit), c.up);
            UDACCEL steps[2]{};
            SendMessageW(spin, UDM_GETACCEL, 2, reinterpret_cast<LPARAM>(steps));
            EXPECT_TRUE(steps[1].nSec == 2 && steps[1].nInc == c.later);
        });
        EXPECT_EQ(boxes, Texts{c.told});
    }
}

TEST_F(TlsPage, WhatMayNotBeChangedIsDisabled) {
    for (const std::wstring trouble : {L"", L"kvocsp.dll", L"rights"}) {
        const Denied denied(trouble == L"rights" ? L"\\config\\Parameters" : L"\\config\\none");
        System::trouble = trouble;
        Look([&](HWND page) {
            for (UINT control = kOcsp; control <= kCas + 1; ++control) {
                const bool lacksOcsp = trouble == L"kvocsp.dll" && (control == kOcsp || control == kServerOcsp);
                EXPECT_EQ(Ui::Enabled(page, control), trouble != L"rights" && !lacksOcsp) << control;
                EXPECT_EQ(Ui::TipBehind(page, control), lacksOcsp ? L"The OCSP module is not installed."
                                                        : trouble == L"rights"
                                                            ? L"Only an administrator can change these settings."
                                                            : L"")
                    << control;
            }
        });
    }
}

// Saving, the module's registration and the restart. Applied again without the hindrance, all is stored.
TEST_F(TlsPage, Saves) {
    const struct {
        std::vector<UINT> changed;  // switches on, limits to 42
        UINT denied;                // what can't be written
        DWORD version;              // of Windows
        std::wstring trouble;       // a missing library or function, a setting of the module's, a refusing call
        DWORD registered;           // the module, afterwards; 0: not at all
        std::string told;           // questions are answered with yes
    } cases[] = {
        {{kLegacy}, 0, 0x4A64000A, L"", 1, "?"},
        {{kLegacy}, 0, 0xFF05, L"", kOld, "?"},
        {{kServerLegacy}, 0, 6, L"", kOld, "?"},
        {{kLegacy}, 0, 6, L"DllRegisterServer", kOld, "?"},
        {{kLegacy}, 0, 6, L"DllUnregisterServer", kOld, "?"},
        {{kLegacy}, 0, 6, L"CngUnregister=0x80004005", kOld, "?"},
        {{kLegacy}, 0, 6, L"CngRegister=1", 0, "!"},
        // What comes of the registration counts instead of earlier failures, but not of later ones.
        {{kRevocation, kLegacy}, kRevocation, 6, L"", 1, "??"},
        {{kLegacy, kCredential}, kCredential, 6, L"", 1, "!?"},
        {{kRevocation, kLegacy}, kRevocation, 6, L"kvcng.dll", kOld, "!?"},
        // The question comes once, for switches only, when all is written; a refused restart is told as a failure.
        {{kSessions, kCas}, 0, 6, L"", kOld, ""},
        {{kCredential, kSessions, kCas}, kSessions, 6, L"", kOld, "!"},
        {{kCredential}, 0, 6, L"privilege", kOld, "?!"},
        {{kCredential}, 0, 6, L"exit", kOld, "?!"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        System::version = c.version;
        System::trouble = Restart::refused = c.trouble;
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, kProviderKey, kRegistered, REG_DWORD, &kOld, sizeof kOld);
        std::optional<LibraryFunction> entry;
        if (c.trouble[0] == L'D') entry.emplace(std::string(c.trouble.begin(), c.trouble.end()).c_str(), nullptr);
        std::optional<Denied> denied;
        if (c.denied) denied.emplace(kSection + kNames.at(c.denied));
        const size_t setting = c.trouble.find(L'=') + 1;
        if (setting) RunTool(L"set " + c.trouble);
        Values values;
        for (const UINT control : c.changed) values[control] = control < kSessions ? 1 : 42;
        Run({[&](HWND sheet) { Change(Ui::Page(sheet), values), Ui::Press(sheet, PSBTN_APPLYNOW); },
             [&](HWND sheet) {
                 EXPECT_EQ(Ui::ApplyEnabled(sheet), c.told.ends_with('!') || c.denied);
                 for (const auto& [control, value] : values)
                     EXPECT_EQ(numbers[control]->Get().has_value(), control != c.denied);
                 denied.reset();
                 Ui::Press(sheet, PSBTN_APPLYNOW);
             },
             [](HWND sheet) { EXPECT_FALSE(Ui::ApplyEnabled(sheet)); }},
            {IDYES, IDYES});
        if (setting) RunTool(L"set " + c.trouble.substr(0, setting));
        EXPECT_EQ(Told(), c.told);
        const auto restarts = std::ranges::count(c.told, '?') * (c.trouble == L"privilege" ? 10 : 11);
        EXPECT_EQ(std::exchange(Restart::calls, 0), restarts);
        DWORD registered = 0, size = sizeof registered;
        RegGetValueW(HKEY_LOCAL_MACHINE, kProviderKey, kRegistered, RRF_RT_REG_DWORD, nullptr, &registered, &size);
        EXPECT_EQ(registered, c.registered);
        EXPECT_EQ(TakeStored(), values);
    }
}

// All is written and the question asked; or not, and that is told; or there was nothing that could be changed.
TEST_F(TlsPage, EveryFailureIsTold) {
    const auto start = [&] { Look([](HWND) {}); };
    // The rights, the OCSP module, and each value twice: when it is shown, and when it is compared.
    EXPECT_EQ(Faults("TLS page, start", start, [](const Fault&) { return ""; }), 1u + 1 + 13 * 2);

    // Not with a later Windows: the registration's success hides failures before it.
    const Values all{{kLegacy, 1}, {kCredential, 1}, {kCas, 7}};
    const auto save = [&] {
        Run({[&](HWND sheet) { Change(Ui::Page(sheet), all), Ui::Press(sheet, PSBTN_OK); }}, {IDNO});
    };
    Faults("TLS page, change and save", save, [&](const Fault& fault) {
        const Values found = TakeStored();
        if (Told() == "?") return found == all && Restart::calls == 0 ? "" : "reads as saved, or restarts";
        return *fault.function && (Told() == "!" || (boxes.empty() && found.empty())) ? "" : "isn't told";
    });
}

}  // namespace
