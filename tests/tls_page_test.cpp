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

// Each control has its own parameter and changes nothing else.
TEST_F(TlsPage, EverySettingGoesThroughTheStore) {
    for (const auto& [control, name] : kNames) {
        SCOPED_TRACE(testing::PrintToString(name));
        Values shown{{kSessions, 64}, {kCas, 100}};
        for (const auto& [other, parameter] : kNames) shown[other];
        shown[control] = control < kSessions ? 1 : 999;
        numbers[control]->Set(999);
        Run({[&, id = control](HWND sheet) {
            EXPECT_EQ(Shown(Ui::Page(sheet)), shown);
            for (const bool modified : {true, false, true}) {
                Change(Ui::Page(sheet), {{id, modified ? 0 : 999}});
                EXPECT_EQ(Ui::ApplyEnabled(sheet), modified);
            }
            Ui::Press(sheet, PSBTN_OK);
        }});
        EXPECT_EQ(TakeStored(), (Values{{control, 0}}));
    }
}

// What is stored out of the range is shown as if it were missing, and replaced when the page is saved.
TEST_F(TlsPage, AStoredLimitOutOfTheRangeIsReplaced) {
    const struct {
        UINT edit;
        long stored, shown;
    } cases[] = {{kSessions, -1, 64}, {kSessions, 65536, 65536}, {kSessions, 65537, 64},
                 {kCas, -1, 100},     {kCas, 999, 999},          {kCas, 1000, 100}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.stored);
        numbers[c.edit]->Set(c.stored);
        Run({[&](HWND sheet) {
            EXPECT_EQ(Ui::Text(Ui::Page(sheet), c.edit), std::to_wstring(c.shown));
            EXPECT_FALSE(Ui::ApplyEnabled(sheet));
            Ui::Click(Ui::Page(sheet), kRevocation);
            Ui::Press(sheet, PSBTN_OK);
        }});
        EXPECT_EQ(TakeStored()[c.edit], c.shown);
    }
}

TEST_F(TlsPage, AnInvalidNumberIsReportedAndReplaced) {
    const struct {
        UINT edit;
        const wchar_t *good, *bad, *message, *up;  // `up`: after a click on the upper arrow
    } cases[] = {{kSessions, L"70", L"70000", L"Enter a whole number between 0 and 65536.", L"74"},
                 {kSessions, L"65536", L"", L"Enter a whole number.", L"65536"},
                 {kCas, L"100", L"1000", L"Enter a whole number between 0 and 999.", L"110"},
                 {kCas, L"998", L"-1", L"Enter a whole number between 0 and 999.", L"999"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.bad)));
        Look([&](HWND page) {
            const HWND edit = GetDlgItem(page, int(c.edit));
            for (const wchar_t* text : {c.good, c.bad}) SetWindowTextW(edit, text);
            EXPECT_EQ(Ui::Text(edit), c.good);
            EXPECT_EQ(GetFocus(), edit);
            EXPECT_EQ(SendMessageW(edit, EM_GETSEL, 0, 0), MAKELRESULT(0, wcslen(c.good)));
            SendDlgItemMessageW(page, int(c.edit) + 1, WM_KEYDOWN, VK_UP, 0);
            EXPECT_EQ(Ui::Text(edit), c.up);
        });
        EXPECT_EQ(boxes, Texts{c.message});
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

// What is written, the module's registration and the restart, with a hindrance; saved again without it, all is stored.
TEST_F(TlsPage, Saves) {
    const std::wstring question = kRestartQuestion, failure = kSaveFailed;
    constexpr DWORD kWindows10 = 0x4A64000A, kWindows5 = 0xFF05, kWindows6 = 6;
    const struct {
        std::vector<UINT> changed;  // switches on, limits to 42
        UINT denied;                // cannot be written
        DWORD version;              // of Windows
        std::wstring trouble;       // a missing library or function, a setting of the module's, a refused call
        DWORD registered;           // the module, afterwards; 0: not at all
        Texts told;                 // questions are answered with yes
    } cases[] = {
        {{kLegacy}, 0, kWindows10, L"", 1, {question}},
        {{kLegacy}, 0, kWindows5, L"", kOld, {question}},
        {{kServerLegacy}, 0, kWindows6, L"", kOld, {question}},
        {{kLegacy}, 0, kWindows6, L"DllRegisterServer", kOld, {question}},
        {{kLegacy}, 0, kWindows6, L"DllUnregisterServer", kOld, {question}},
        {{kLegacy}, 0, kWindows6, L"CngUnregister=0x80004005", kOld, {question}},
        {{kLegacy}, 0, kWindows6, L"CngRegister=1", 0, {failure}},
        // The registration's result replaces earlier failures, but not later ones.
        {{kRevocation, kLegacy}, kRevocation, kWindows6, L"", 1, {question, question}},
        {{kLegacy, kCredential}, kCredential, kWindows6, L"", 1, {failure, question}},
        {{kRevocation, kLegacy}, kRevocation, kWindows6, L"kvcng.dll", kOld, {failure, question}},
        // The question is for switches only, when all is written; a refused restart is reported as a failure.
        {{kSessions, kCas}, 0, kWindows6, L"", kOld, {}},
        {{kCredential, kSessions, kCas}, kSessions, kWindows6, L"", kOld, {failure}},
        {{kCredential}, 0, kWindows6, L"privilege", kOld, {question, failure}},
        {{kCredential}, 0, kWindows6, L"exit", kOld, {question, failure}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "case " << &c - cases << " " << testing::PrintToString(c.trouble));
        System::version = c.version;
        System::trouble = Restart::refused = c.trouble;
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, kProviderKey, kRegistered, REG_DWORD, &kOld, sizeof kOld);
        std::optional<LibraryFunction> entry;
        if (c.trouble.starts_with(L"Dll"))
            entry.emplace(std::string(c.trouble.begin(), c.trouble.end()).c_str(), nullptr);
        std::optional<Denied> denied;
        if (c.denied) denied.emplace(kSection + kNames.at(c.denied));
        const size_t setting = c.trouble.find(L'=') + 1;
        if (setting) RunTool(L"set " + c.trouble);
        Values values;
        for (const UINT control : c.changed) values[control] = control < kSessions ? 1 : 42;
        Run({[&](HWND sheet) { Change(Ui::Page(sheet), values), Ui::Press(sheet, PSBTN_APPLYNOW); },
             [&](HWND sheet) {
                 EXPECT_EQ(Ui::ApplyEnabled(sheet), c.denied || (!c.told.empty() && c.told.back() == failure));
                 for (const auto& [control, value] : values)
                     EXPECT_EQ(numbers[control]->Get().has_value(), control != c.denied) << control;
                 denied.reset();
                 Ui::Press(sheet, PSBTN_APPLYNOW);
             },
             [](HWND sheet) { EXPECT_FALSE(Ui::ApplyEnabled(sheet)); }},
            {IDYES, IDYES});
        if (setting) RunTool(L"set " + c.trouble.substr(0, setting));
        EXPECT_EQ(boxes, c.told);
        EXPECT_EQ(std::exchange(Restart::calls, 0) != 0, std::ranges::count(c.told, question) != 0);
        DWORD registered = 0, size = sizeof registered;
        RegGetValueW(HKEY_LOCAL_MACHINE, kProviderKey, kRegistered, RRF_RT_REG_DWORD, nullptr, &registered, &size);
        EXPECT_EQ(registered, c.registered);
        EXPECT_EQ(TakeStored(), values);
    }
}

// All is written and the question asked; or not, and that is told; or there was nothing that could be changed.
TEST_F(TlsPage, EveryFailureIsTold) {
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
