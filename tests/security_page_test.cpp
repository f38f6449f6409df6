// The Security page: its decisions as tables; a real window against the software provider, its store, the registry.
#include "pages/PropPageConfigCSPSecurity.h"

#include <algorithm>
#include <tuple>

#include "applet/services/Strings.h"
#include "settings/SecuritySettings.h"
#include "softcsp/common/Settings.h"
#include "tests/support/Provider.h"
#include "tests/support/SettingsPage.h"

namespace {

using namespace softcsp;

// Notes what is written; refuses what its letters name, 'p' for having no provider.
struct Stores final : SecurityWrites {
    bool Note(char letter, DWORD value) {
        log += letter + std::to_string(value) + " ";
        return refused.find(letter) == refused.npos;
    }
    bool HasProvider() const override { return refused != "p"; }
    bool WriteCache(DWORD size) override { return Note('c', size); }
    bool WriteDiffieHellman(DiffieHellmanControl control) override { return Note('d', control); }
    bool WriteDefault(DWORD type, const std::wstring& name) override {
        return Note(type == 71 ? '1' : '5', DWORD(name.size()));
    }
    Result<> WriteMode(ProviderMode mode) override { return Note('m', DWORD(mode)), TryCode(modeError); }
    std::optional<bool> OfferRestart() override { return log += "? ", restart; }
    bool WriteSavesMedia(bool save) override { return Note('s', save); }
    std::string refused, log;
    DWORD modeError = 0;
    std::optional<bool> restart;
};

std::string Letters(const SecurityChanges& c) {
    return std::string(c.caching, 'c') + std::string(c.diffieHellman, 'd') + std::string(c.type71, '1') +
           std::string(c.type75, '5') + std::string(c.mode, 'm') + std::string(c.saveMedia, 's');
}

TEST(SecurityState, WritesInOrderAndTakesOverWhatWasWritten) {
    const std::string all = "cd15ms", whole = "c0 d1 10 50 m1 ? s0 ";
    // Changed, refused, the mode's result and the restart's; written, the save's result, still changed afterwards.
    const std::tuple<std::string, std::string, DWORD, std::optional<bool>, std::string, bool, std::string> cases[] = {
        {all, "", 0, {}, whole, true, ""},
        {"m", "", 0, {}, "c8 m1 ? ", true, ""},
        {all, "p", 0, {}, "", true, all},
        {"15s", "p", 0, {}, "10 50 s0 ", true, ""},
        {all, "cd", 0, {}, whole, false, "cd"},
        {all, "15", 0, {}, whole, true, "15"},
        {all, "s", 0, true, whole, false, "s"},
        {all, "", ERROR_ACCESS_DENIED, {}, whole, true, "m"},
        {all, "", DWORD(E_UNEXPECTED), {}, "c0 d1 10 50 m1 s0 ", false, "m"},
        {all, "cd", 0, true, whole, true, "cd"},  // the restart decides alone
        {all, "", 0, false, whole, false, ""},
    };
    for (const auto& [changed, refused, modeError, restart, log, good, left] : cases) {
        const auto kept = [&, &now = changed](char letter) { return now.find(letter) == now.npos; };
        const std::wstring installed(1, L'P');
        SecuritySettings state;
        state.cacheMaximum = 64;
        state.default75 = {kept('5') ? installed : L"", installed};
        state.default71 = {kept('1') ? installed : L"", installed};
        state.mode = {kept('m') ? ProviderMode::Service : ProviderMode::Memory, ProviderMode::Service};
        state.caching = {kept('c'), true};
        state.cacheSize.Reset(8);
        state.diffieHellman = {kept('d'), true};
        state.savesMedia = {kept('s'), true};
        Stores stores;
        std::tie(stores.refused, stores.modeError, stores.restart) = std::tie(refused, modeError, restart);
        EXPECT_EQ(Letters(FindChanges(state)), changed);
        EXPECT_EQ(WriteSecurity(state, stores), good) << changed << " without " << refused;
        EXPECT_EQ(stores.log, log);
        EXPECT_EQ(Letters(FindChanges(state)), left);
    }
}

constexpr wchar_t kService[] = L"kvcspr.dll", kMemory[] = L"kvcspi.dll", kModule[] = L"KV Module Name";
const std::wstring kDefaults = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\",
                   kDefaults32 = L"SOFTWARE\\Wow6432Node\\Microsoft\\Cryptography\\Defaults\\";

// The registered texts, as they are installed.
struct Registered {
    std::wstring key;
    const wchar_t *name, *installed;
    void Set(const wchar_t* text) const {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, REG_SZ, text, DWORD(lstrlenW(text) + 1) * 2);
    }
    std::wstring Get() const {
        wchar_t text[100] = L"";
        DWORD type = 0, size = sizeof text;
        UniqueRegistryKey opened;
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_QUERY_VALUE, opened.put());
        RegQueryValueExW(opened.get(), name, nullptr, &type, reinterpret_cast<BYTE*>(text), &size);
        return type == REG_SZ && size == DWORD(lstrlenW(text) + 1) * 2 ? text : L"malformed";
    }
};
const Registered kRegistered[] = {
    {kDefaults + L"Provider Types\\Type 071", L"Name", kProvider71},
    {kDefaults32 + L"Provider Types\\Type 071", L"Name", kProvider71},
    {kDefaults + L"Provider Types\\Type 075", L"Name", kProvider75},
    {kDefaults32 + L"Provider Types\\Type 075", L"Name", kProvider75},
    {kDefaults + L"Provider\\" + kProvider71, kModule, kService},
    {kDefaults + L"Provider\\" + kProvider75, kModule, kService},
    {kDefaults32 + L"Provider\\" + kProvider75, kModule, kService},
    {kDefaults32 + L"Provider\\" + kProvider71, kModule, kService},
};

// Begins and ends with the provider as it is installed.
class SecurityPage : public SettingsPageTest<CPropPageConfigCSPSecurity> {
  protected:
    SecurityPage() { Reset(); }
    ~SecurityPage() override { Reset(); }
    void Reset() const {
        for (const auto* setting : kSettings) ClearSetting(*setting);
        for (const Registered& text : kRegistered) text.Set(text.installed);
        shortcuts.Set({});
        listed = 3;
    }
    Texts Stored() const {
        Texts all;
        for (const Registered& text : kRegistered) all.push_back(text.Get());
        const long cacheAndControl =
            static_cast<long>(ReadSetting(kCacheSetting) * 10 + ReadSetting(kDhControlSetting));
        all.push_back(std::to_wstring(cacheAndControl * 10 + shortcuts.Get().value_or(-1)));
        return all;
    }
    // Controls that are enabled, that are checked, the cache size and its maximum, controls that are hidden.
    static std::string Shown(HWND page) {
        constexpr UINT controls[] = {1109, 1107, 1141, 1055, 1121, 1122, 1071, 1070, 1068, 1139};
        std::string enabled, checked = " ", hidden = " ";
        for (size_t i = 0; i < std::size(controls); ++i) {
            const char letter = "51rpsmczzd"[i];
            if (Ui::Enabled(page, controls[i])) enabled += letter;
            if (IsDlgButtonChecked(page, static_cast<int>(controls[i])) == BST_CHECKED) checked += letter;
            if (!Ui::Visible(page, controls[i])) hidden += letter;
        }
        int most = 0;
        SendDlgItemMessageW(page, 1068, UDM_GETRANGE32, 0, reinterpret_cast<LPARAM>(&most));
        const UINT size = GetDlgItemInt(page, 1070, nullptr, FALSE);
        return enabled + checked + " " + std::to_string(size) + "/" + std::to_string(most) + hidden;
    }
    template <int type, UINT... buttons>
    static void Change(HWND sheet) {
        for (const UINT box : {IDC_SECURITY_TYPE71, IDC_SECURITY_TYPE75}) Ui::Select(Ui::Page(sheet), box, type);
        for (const UINT button : {buttons..., UINT{IDC_SECURITY_DIFFIE_HELLMAN}, UINT{IDC_SECURITY_SAVE_MEDIA}})
            if (Ui::Enabled(Ui::Page(sheet), button)) Ui::Click(Ui::Page(sheet), button);
    }
    static constexpr auto ChangeAll = Change<0, IDC_SECURITY_MODE_MEMORY>;
    static void Apply(HWND sheet) { Ui::Press(sheet, PSBTN_APPLYNOW); }
    const Texts kChanged{L"", L"", L"", L"", kService, kMemory, kMemory, kService, L"11"},
        kBack{kProvider71, kProvider71, kProvider75, kProvider75, kService, kService, kService, kService, L"2420"};
    static LSTATUS WINAPI Write(HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) { return ERROR_ACCESS_DENIED; }
    static BOOL WINAPI List(DWORD index, DWORD* none, DWORD flags, DWORD* type, LPWSTR name, DWORD* size) {
        return index < listed && list->Original<decltype(List)>()(index, none, flags, type, name, size);
    }
    static inline DWORD listed;  // providers that are installed; the product's come first
    static inline const ImportPatch* list;
    StoredNumber shortcuts{L"\\config\\Parameters\\DisableShortcuts", {}};
    const ImportPatch lister{(list = &lister, nullptr), "CryptEnumProvidersW", &List};
};

TEST_F(SecurityPage, ShowsWhatIsStoredAndWhatMayBeChanged) {
    constexpr const wchar_t* kRights = L"Only an administrator can change these settings.";
    const UniqueService manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE));
    const struct {
        const wchar_t *module, *special;  // an installed service, or a path that may not be written
        std::string shown;                // and "*" when it differs
        std::vector<std::pair<softcsp::Setting, DWORD>> settings = {};
        std::map<UINT, const wchar_t*> reasons = {};  // why controls are disabled
    } cases[] = {
        {kService,
         L"",
         "51rpmcd rsd 8/64 ",
         {},
         {{IDC_SECURITY_MODE_SERVICE, L"The keys storage service is not installed."}, {IDC_SECURITY_CACHE_SIZE, L""}}},
        {kService, L"kvcsp1", "51rpsmcd rsd 8/64 "},
        {kMemory, L"", "51rpmd rmd 8/64 "},
        {L"", L"kvcsp1", "51rpd rd 8/64 "},
        {L"KVCSPI.DLL", L"kvcsp1", "51rpd rd 16/64 *", {{kCacheSetting, 16}}},  // no mode: the cache is to go
        {kService, L"", "51rpscd rsd 8/64 ", {{kClassSetting, 2}}},
        {kService, L"", "51rpmczzd rscd 16/2457 ", {{kCacheSetting, 16}, {kCacheMaximumSetting, 5000}}},
        {kService, L"", "51rpmd rsd 1/0 ", {{kCacheMaximumSetting, 0}}},
        {kService, L"", "51rpmd rscd 16/64 ", {{kCacheSetting, 16}, {kCacheAvailableSetting, 0}}},
        {kService, L"", "51rpmd rsd 1/0 ", {{kCacheAvailableSetting, 2}}},
        {kService, L"", "51rpmc rs 8/64 ", {{kDhControlSetting, 1}, {kDhMayChangeSetting, 0}}},
        {kService, L"", "51rpmc rsd 8/64 d", {{kDhControlSetting, 1}, {kDhMayChangeSetting, 2}}},
        {kService,
         L"\\config\\Provider",
         "51rcd rsd 8/64 ",
         {},
         {{IDC_SECURITY_CSP, kRights}, {IDC_SECURITY_MODE_SERVICE, kRights}, {IDC_SECURITY_MODE_MEMORY, kRights}}},
        {kService, L"\\config\\Parameters", "51pmcd rsd 8/64 ", {}, {{IDC_SECURITY_SAVE_MEDIA, kRights}}},
    };
    for (const auto& c : cases) {
        Reset();
        kRegistered[5].Set(c.module);
        kRegistered[6].Set(kMemory);  // never read
        for (const auto& [setting, value] : c.settings) WriteSetting(setting, value);
        UniqueService service;
        if (c.special == std::wstring(L"kvcsp1"))
            service.reset(CreateServiceW(manager.get(), c.special, L"", DELETE, SERVICE_WIN32_OWN_PROCESS, 3, 0,
                                         L"C:\\none.exe", nullptr, nullptr, nullptr, nullptr, nullptr));
        const Denied denied(*c.special == L'\\' ? c.special : L"\\config\\none");
        Look([&](HWND page) {
            EXPECT_EQ(Shown(page) + (Ui::ApplyEnabled(GetParent(page)) ? "*" : ""), c.shown);
            for (const auto& [id, reason] : c.reasons) EXPECT_EQ(Ui::TipBehind(page, id), reason) << id;
        });
        if (service) DeleteService(service.get());
    }
}

// The question is asked once; the restart's result is the save's. What the registry refuses stays changed, untold.
TEST_F(SecurityPage, ChangedAppliedReopenedInBothLanguages) {
    for (const auto& [spoken, answer, refused, told, restart] : {std::tuple(kEnglish, IDNO, L"", "?", 0),
                                                                 {kEnglish, IDNO, L"registry", "??", 0},
                                                                 {kRussian, IDYES, L"", "x", 11},
                                                                 {kEnglish, IDYES, L"exit", "?!", 11}}) {
        language.Set(spoken);
        Reset();
        WriteSetting(kCacheSetting, 16);
        Restart::refused = refused;
        std::optional<ImportPatch> registry;
        if (*refused == L'r') registry.emplace(nullptr, "RegSetValueExW", &Write);
        Run({ChangeAll, &Apply,
             [&, refuses = *refused != 0](HWND sheet) {
                 EXPECT_EQ(Ui::ApplyEnabled(sheet), refuses);
                 registry.reset();
             },
             &Apply, [](HWND sheet) { EXPECT_FALSE(Ui::ApplyEnabled(sheet)); }},
            {answer, answer});
        EXPECT_TRUE(Told() == told && boxes[0] == LoadStringLang(IDS_REBOOT_QUESTION));
        EXPECT_EQ(std::exchange(Restart::calls, 0), restart);
        EXPECT_EQ(Stored(), kChanged);
        WriteSetting(kClassSetting, 2);  // allows the way back
        Run({[](HWND sheet) {
                 const HWND page = Ui::Page(sheet);
                 EXPECT_EQ(Shown(page), "51rpsd m 8/64 1");  // without a default the older type is hidden
                 EXPECT_EQ(Ui::Text(page, 1106), L"GOST R 34.10-2001 signature and key agreement:");
                 EXPECT_EQ(Ui::Items(page, 1109), (Texts{LoadStringLang(IDS_PROVIDER_ABSENT), kProvider75}));
                 EXPECT_EQ(Ui::Selected(page, 1109), 0);
                 Change<1, IDC_SECURITY_MODE_SERVICE, IDC_SECURITY_CACHING>(sheet);
             },
             &Apply, [](HWND sheet) { Ui::Type(Ui::Page(sheet), IDC_SECURITY_CACHE_SIZE, L"24"); }, &Apply},
            {IDNO});
        EXPECT_EQ(Stored(), kBack);
        Look([](HWND page) { EXPECT_EQ(Shown(page), "51rpsczzd rscd 24/64 "); });
    }
}

TEST_F(SecurityPage, CorrectsTheCacheSizeWithoutAWord) {
    WriteSetting(kCacheSetting, 16);
    WriteSetting(kCacheMaximumSetting, 5000);
    const std::wstring typed[] = {L"0", L"", L"1a", L"-5", L"4294967298", L"16", L"1000000000", L"4294967295"};
    Look([&](HWND page) {
        for (const std::wstring& text : typed) {
            const std::wstring then = &text - typed < 5 ? L"1" : text;  // what is no size is corrected at once
            Ui::Type(page, IDC_SECURITY_CACHE_SIZE, text.c_str());
            EXPECT_EQ(Ui::Text(page, IDC_SECURITY_CACHE_SIZE), then);
            SendMessageW(page, WM_COMMAND, MAKEWPARAM(IDC_SECURITY_CACHE_SIZE, EN_KILLFOCUS), 0);
            EXPECT_EQ(Ui::Text(page, IDC_SECURITY_CACHE_SIZE), then.size() > 2 ? L"2457" : then);
            EXPECT_EQ(Ui::ApplyEnabled(GetParent(page)), text != L"16");
        }
    });
    Run({[](HWND sheet) { Ui::Type(Ui::Page(sheet), IDC_SECURITY_CACHE_SIZE, L"3000"), Apply(sheet); },
         [](HWND sheet) { EXPECT_EQ(Ui::Text(Ui::Page(sheet), IDC_SECURITY_CACHE_SIZE), L"2457"); }});
    EXPECT_EQ(ReadSetting(kCacheSetting), 2457u) << "saved while the field has the focus";
    EXPECT_TRUE(boxes.empty());
}

// The checked mode may be the one that is disabled.
TEST_F(SecurityPage, TheModeThatMayBeChosenIsReachedByTheKeyboard) {
    const HWND none = nullptr;
    for (const int protection : {1, 2}) {  // the service isn't installed; nothing may keep its keys in memory
        Reset();
        kRegistered[5].Set(protection == 1 ? kService : kMemory);
        WriteSetting(kClassSetting, static_cast<DWORD>(protection));
        Run({[&](HWND sheet) {
            const HWND page = Ui::Page(sheet), service = GetDlgItem(page, IDC_SECURITY_MODE_SERVICE),
                       memory = GetDlgItem(page, IDC_SECURITY_MODE_MEMORY),
                       enabled = protection == 1 ? memory : service;
            PropSheet_SetCurSel(sheet, none, 0);  // the page is shown again
            EXPECT_EQ(GetNextDlgTabItem(page, GetDlgItem(page, IDC_SECURITY_CSP), FALSE), enabled);
            SendMessageW(page, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(enabled), TRUE);
            EXPECT_EQ(GetFocus(), enabled);
            EXPECT_EQ(SendMessageW(enabled, BM_GETCHECK, 0, 0), BST_UNCHECKED) << "the focus alone chooses nothing";
            EXPECT_FALSE(Ui::ApplyEnabled(sheet));
            SendMessageW(enabled, WM_KEYDOWN, VK_SPACE, 0), SendMessageW(enabled, WM_KEYUP, VK_SPACE, 0);
            EXPECT_EQ(SendMessageW(enabled, BM_GETCHECK, 0, 0), BST_CHECKED);
            EXPECT_EQ(SendMessageW(enabled == memory ? service : memory, BM_GETCHECK, 0, 0), BST_UNCHECKED);
            EXPECT_TRUE(Ui::ApplyEnabled(sheet));
        }});
    }
}

TEST_F(SecurityPage, ATypeWhoseKeyMayNotBeWrittenCanNotBeChosen) {
    for (const std::wstring type : {L"Type 075", L"Type 071"}) {
        static std::wstring locked;
        static const ImportPatch* patch;
        locked = type;
        const auto open = +[](HKEY root, LPCWSTR name, DWORD options, REGSAM access, HKEY* key) -> LSTATUS {
            if ((access & KEY_SET_VALUE) && std::wstring(name).ends_with(locked)) return ERROR_ACCESS_DENIED;
            return patch->Original<decltype(RegOpenKeyExW)>()(root, name, options, access, key);
        };
        const ImportPatch opener((patch = &opener, nullptr), "RegOpenKeyExW", open);
        Look([&](HWND page) {
            for (const UINT control : {IDC_SECURITY_TYPE75, IDC_SECURITY_TYPE75_LABEL})
                EXPECT_EQ(Ui::Enabled(page, control), type != L"Type 075") << control;
            for (const UINT control : {IDC_SECURITY_TYPE71, IDC_SECURITY_TYPE71_LABEL})
                EXPECT_EQ(Ui::Enabled(page, control), type != L"Type 071") << control;
        });
    }
}

TEST_F(SecurityPage, ConfiguresTheProviderThatIsSelected) {
    const DWORD before = ReadSetting(kDhControlSetting);
    const auto refuse = +[](HCRYPTPROV*, LPCWSTR, LPCWSTR, DWORD, DWORD) -> BOOL { return FALSE; };
    std::optional<ImportPatch> acquire;
    Run({[&](HWND sheet) {
             const HWND page = Ui::Page(sheet);
             Ui::Click(page, IDC_SECURITY_DIFFIE_HELLMAN);
             EXPECT_TRUE(Ui::ApplyEnabled(sheet));
             acquire.emplace(nullptr, "CryptAcquireContextW", refuse);
             Ui::Select(page, IDC_SECURITY_CSP, 1);
             EXPECT_FALSE(Ui::ApplyEnabled(sheet)) << "the mark set for the former provider";
             Ui::Select(page, IDC_SECURITY_TYPE75, 0);
             Apply(sheet);
         },
         [](HWND) { EXPECT_EQ(kRegistered[2].Get(), L"") << "the default provider is written all the same"; }});
    acquire.reset();
    EXPECT_EQ(ReadSetting(kDhControlSetting), before);
    Reset();
    kRegistered[4].Set(kMemory);
    Look([](HWND page) {
        Ui::Select(page, IDC_SECURITY_CSP, 1);
        EXPECT_EQ(Shown(page), "51rpmd rmd 8/64 ");
        for (const UINT button : {IDC_SECURITY_DIFFIE_HELLMAN, IDC_SECURITY_MODE_MEMORY}) Ui::Click(page, button);
        EXPECT_EQ(Shown(page), "51rpmd rm 8/64 ");  // the mode's click reads the provider anew, not the marks
        EXPECT_TRUE(Ui::ApplyEnabled(GetParent(page)));
    });
    listed = 0;
    Look([](HWND page) { EXPECT_EQ(Shown(page), "rp rd 1/0 1d"); });
}

TEST_F(SecurityPage, WritesBothViewsInOrderAndStopsAtTheFirstFailure) {
    for (const auto& [native, other, written] : {std::tuple(2, 3, L""), {2, 3, L"x"}, {5, 6, kMemory}}) {
        Result<> result;
        const auto write = [&, name = written] {
            result =
                name == kMemory ? WriteProviderMode(kProvider75, ProviderMode::Memory) : WriteDefaultProvider(75, name);
        };
        const auto inspect = [&, text = written, one = native, two = other](const Fault& fault) -> std::string {
            const bool first = kRegistered[one].Get() == text, second = kRegistered[two].Get() == text;
            Reset();
            const bool rightly = first == (fault.point > 1) && second == (fault.point > 3);  // an open and a write each
            return rightly && (result ? 0 : result.Failed().code) == fault.error ? "" : "wrong";
        };
        EXPECT_EQ(Faults("security registry", write, inspect), 4u);
    }
    EXPECT_EQ(WriteProviderMode(kProvider75, ProviderMode::Unknown).Failed().code, DWORD(E_UNEXPECTED));
    EXPECT_EQ(WriteProviderMode(L"", ProviderMode::Memory).Failed().code, DWORD(E_UNEXPECTED));
}

TEST_F(SecurityPage, AsksForNothingTwiceAndSurvivesEveryFailingCall) {
    std::string shown;
    bool modified = false;
    const auto note = [&](HWND sheet) { shown = Shown(Ui::Page(sheet)), modified = Ui::ApplyEnabled(sheet); };
    Run({note});  // the libraries are loaded
    const auto inspect = [&](const Fault&) { return !modified && boxes.empty() ? "" : "shown: " + shown; };
    // The product's providers and all are listed one after the other, and each value of a key is read by itself.
    const std::set<std::string_view> again = {"CryptEnumProvidersW", "RegOpenKeyExW"};
    const size_t start = Faults(
        "security page, start", [&] { Run({note}); }, inspect, again);

    // Applied twice: the second time makes a single failure good, when all could be changed.
    const auto save = [&] { Run({ChangeAll, &Apply, &Apply, note}, {IDNO, IDNO, IDNO, IDNO}); };
    Faults(
        "security page, start, change, save", save,
        [&](const Fault& fault) -> std::string {
            const bool all = Stored() == kChanged, told = std::ranges::count(boxes, kSaveFailed) != 0;
            Reset();
            if (fault.point < start || !shown.ends_with(" m 8/64 ")) return fault.point == Fault::kNone ? shown : "";
            if (modified == all) return all ? "is saved and stays modified" : "a failure reads as success";
            const std::string_view function = fault.function;
            const bool tells = function == "CryptSetProvParam" || function == "support_registry_put_bool";
            return fault.onwards || (all && told == tells) ? "" : "not made good, or not told";
        },
        again);
}

}  // namespace
