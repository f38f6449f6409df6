// The Security page: what is written in which order; a real window against the software provider, its store and the
// registry.
#include "pages/PropPageConfigCSPSecurity.h"

#include "settings/SecuritySettings.h"
#include "tests/support/Provider.h"
#include "tests/support/SettingsPage.h"

namespace {

using namespace softcsp;
using Names = std::vector<std::string>;

bool Contains(const Names& names, const std::string& name) {
    return std::ranges::find(names, name) != names.end();
}

// Notes what is written, and refuses some of it.
struct Writes final : SecurityWrites {
    bool Note(const char* name, const std::string& value) {
        log.push_back(name + (" " + value));
        return !Contains(refused, name);
    }
    bool HasProvider() const override { return !Contains(refused, "provider"); }
    bool WriteCache(DWORD size) override { return Note("cache", std::to_string(size)); }
    bool WriteDiffieHellman(DiffieHellmanControl control) override {
        return Note("Diffie-Hellman", control == kDiffieHellmanOn ? "on" : "off");
    }
    bool WriteDefault(DWORD type, const std::wstring& name) override {
        return Note(type == 71 ? "type 71" : "type 75", name.empty() ? "none" : "a name");
    }
    Result<> WriteMode(ProviderMode mode) override {
        Note("mode", mode == ProviderMode::Memory ? "memory" : "another");
        return TryCode(modeError);
    }
    std::optional<bool> OfferRestart() override { return log.emplace_back("question"), restart; }
    bool WriteSavesMedia(bool save) override { return Note("media", save ? "on" : "off"); }

    Names refused, log;
    DWORD modeError = 0;
    std::optional<bool> restart;
};

Names ChangedNames(const SecuritySettings& settings) {
    const SecurityChanges changed = FindChanges(settings);
    Names names;
    for (const auto& [is, name] : {std::pair{changed.caching, "cache"},
                                   {changed.diffieHellman, "Diffie-Hellman"},
                                   {changed.type71, "type 71"},
                                   {changed.type75, "type 75"},
                                   {changed.mode, "mode"},
                                   {changed.saveMedia, "media"}})
        if (is) names.emplace_back(name);
    return names;
}

TEST(SecuritySettings, AreWrittenInOrderAndTakeOverWhatWasWritten) {
    const Names all = {"cache", "Diffie-Hellman", "type 71", "type 75", "mode", "media"};
    const Names whole = {"cache 0",     "Diffie-Hellman off", "type 71 none", "type 75 none",
                         "mode memory", "question",           "media off"};
    Names withoutQuestion = whole;
    std::erase(withoutQuestion, "question");
    const struct {
        const char* name;
        Names changed, refused, log;
        bool succeeds;
        Names left;  // still changed
        DWORD modeError = 0;
        std::optional<bool> restart = {};
    } cases[] = {
        {"everything", all, {}, whole, true, {}},
        {"the mode", {"mode"}, {}, {"cache 8", "mode memory", "question"}, true, {}},
        {"no provider", all, {"provider"}, {}, true, all},
        {"what needs no provider",
         {"type 71", "type 75", "media"},
         {"provider"},
         {"type 71 none", "type 75 none", "media off"},
         true,
         {}},
        {"the provider refuses", all, {"cache", "Diffie-Hellman"}, whole, false, {"cache", "Diffie-Hellman"}},
        {"the registry refuses the defaults", all, {"type 71", "type 75"}, whole, true, {"type 71", "type 75"}},
        {"the store refuses, after a restart", all, {"media"}, whole, false, {"media"}, 0, true},
        {"the registry refuses the mode", all, {}, whole, true, {"mode"}, ERROR_ACCESS_DENIED},
        {"a mode without a module", all, {}, withoutQuestion, false, {"mode"}, DWORD(E_UNEXPECTED)},
        {"a restart decides alone", all, {"cache"}, whole, true, {"cache"}, 0, true},
        {"a refused restart", all, {}, whole, false, {}, 0, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto is = [&](const char* name) { return Contains(c.changed, name); };
        SecuritySettings settings;
        settings.cacheMaximum = 64;
        settings.default75 = {is("type 75") ? L"" : L"name", L"name"};
        settings.default71 = {is("type 71") ? L"" : L"name", L"name"};
        settings.mode = {ProviderMode::Memory, is("mode") ? ProviderMode::Service : ProviderMode::Memory};
        settings.caching = {!is("cache"), true};
        settings.cacheSize.Reset(8);
        settings.diffieHellman = {!is("Diffie-Hellman"), true};
        settings.savesMedia = {!is("media"), true};
        Writes writes;
        writes.refused = c.refused;
        writes.modeError = c.modeError;
        writes.restart = c.restart;
        EXPECT_EQ(ChangedNames(settings), c.changed);
        EXPECT_EQ(WriteSecurity(settings, writes), c.succeeds);
        EXPECT_EQ(writes.log, c.log);
        EXPECT_EQ(ChangedNames(settings), c.left);
    }
    EXPECT_EQ(AllowedCacheSize(0, 64), 1u);
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
enum { Type71, Type71In32, Type75, Type75In32, Module71, Module75, Module75In32, Module71In32 };
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
    // All that the page writes.
    Texts AllStored() const {
        Texts all;
        for (const Registered& text : kRegistered) all.push_back(text.Get());
        all.push_back(L"cache " + std::to_wstring(ReadSetting(kCacheSetting)));
        all.push_back(L"DH " + std::to_wstring(ReadSetting(kDhControlSetting)));
        all.push_back(L"shortcuts " + std::to_wstring(shortcuts.Get().value_or(-1)));
        return all;
    }
    // What is enabled | what is checked | the cache size/the largest one that the arrows reach. DH: the control of
    // Diffie-Hellman operations.
    static std::string State(HWND page) {
        constexpr std::pair<UINT, const char*> controls[] = {{IDC_SECURITY_CSP, "CSP "},
                                                             {IDC_SECURITY_MODE_SERVICE, "service "},
                                                             {IDC_SECURITY_MODE_MEMORY, "memory "},
                                                             {IDC_SECURITY_CACHING, "caching "},
                                                             {IDC_SECURITY_CACHE_SIZE, "size "},
                                                             {IDC_SECURITY_CACHE_SIZE_SPIN, "arrows "},
                                                             {IDC_SECURITY_DIFFIE_HELLMAN, "DH "}};
        std::string enabled, checked;
        for (const auto& [id, name] : controls) {
            if (Ui::Enabled(page, id)) enabled += name;
            if (IsDlgButtonChecked(page, static_cast<int>(id)) == BST_CHECKED) checked += name;
        }
        int most = 0;
        SendDlgItemMessageW(page, IDC_SECURITY_CACHE_SIZE_SPIN, UDM_GETRANGE32, 0, reinterpret_cast<LPARAM>(&most));
        const UINT size = GetDlgItemInt(page, IDC_SECURITY_CACHE_SIZE, nullptr, FALSE);
        return enabled + "| " + checked + "| " + std::to_string(size) + "/" + std::to_string(most);
    }
    // Selects an item as the default of both types, and clicks what may be clicked of the buttons.
    static void Change(HWND sheet, int item, std::initializer_list<UINT> buttons) {
        const HWND page = Ui::Page(sheet);
        for (const UINT box : {IDC_SECURITY_TYPE71, IDC_SECURITY_TYPE75}) Ui::Select(page, box, item);
        for (const UINT button : buttons)
            if (Ui::Enabled(page, button)) Ui::Click(page, button);
    }
    static void ChangeAll(HWND sheet) {
        Change(sheet, 0, {IDC_SECURITY_MODE_MEMORY, IDC_SECURITY_DIFFIE_HELLMAN, IDC_SECURITY_SAVE_MEDIA});
    }
    static void Apply(HWND sheet) { Ui::Press(sheet, PSBTN_APPLYNOW); }
    static BOOL WINAPI List(DWORD index, DWORD* none, DWORD flags, DWORD* type, LPWSTR name, DWORD* size) {
        return index < listed && list->Original<decltype(List)>()(index, none, flags, type, name, size);
    }
    // What is stored after ChangeAll, and after the way back.
    const Texts kChanged{L"", L"", L"", L"", kService, kMemory, kMemory, kService, L"cache 0", L"DH 1", L"shortcuts 1"};
    const Texts kBack{kProvider71, kProvider71, kProvider75, kProvider75, kService,      kService,
                      kService,    kService,    L"cache 24", L"DH 2",     L"shortcuts 0"};
    static inline DWORD listed;  // providers that are installed; the product's come first
    static inline const ImportPatch* list;
    StoredNumber shortcuts{L"\\config\\Parameters\\DisableShortcuts", {}};
    const ImportPatch lister{(list = &lister, nullptr), "CryptEnumProvidersW", &List};
};

TEST_F(SecurityPage, ShowsWhatIsStoredAndWhatMayBeChanged) {
    const UniqueService manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE));
    const DWORD none = kNoSuchParameter;
    const struct {
        const char *name, *state;
        std::vector<std::pair<softcsp::Setting, DWORD>> settings = {};
        const wchar_t* module = kService;
        bool serviceInstalled = false, modified = false;
    } cases[] = {
        {"as installed", "CSP memory caching DH | service DH | 8/64"},
        {"with the service", "CSP service memory caching DH | service DH | 8/64", {}, kService, true},
        {"keys in memory", "CSP memory DH | memory DH | 8/64", {}, kMemory},
        {"no mode", "CSP DH | DH | 8/64", {}, L"", true},
        {"no mode: the cache goes", "CSP DH | DH | 16/64", {{kCacheSetting, 16}}, L"KVCSPI.DLL", true, true},
        {"a higher class", "CSP service caching DH | service DH | 8/64", {{kClassSetting, 2}}},
        {"a large cache",
         "CSP memory caching size arrows DH | service caching DH | 16/2457",
         {{kCacheSetting, 16}, {kCacheMaximumSetting, 5000}}},
        {"no cache", "CSP memory DH | service DH | 1/0", {{kCacheMaximumSetting, 0}}},
        {"a cache that can't be changed",
         "CSP memory DH | service caching DH | 16/64",
         {{kCacheSetting, 16}, {kCacheAvailableSetting, 0}}},
        {"no cache parameter", "CSP memory DH | service DH | 1/0", {{kCacheAvailableSetting, none}}},
        {"DH off for good", "CSP memory caching | service | 8/64", {{kDhControlSetting, 1}, {kDhMayChangeSetting, 0}}},
        {"no DH", "CSP memory caching | service DH | 8/64", {{kDhControlSetting, 1}, {kDhMayChangeSetting, none}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Reset();
        kRegistered[Module75].Set(c.module);
        kRegistered[Module75In32].Set(kMemory);  // never read
        for (const auto& [setting, value] : c.settings) WriteSetting(setting, value);
        UniqueService service;
        if (c.serviceInstalled)
            service.reset(CreateServiceW(manager.get(), L"kvcsp1", L"", DELETE, SERVICE_WIN32_OWN_PROCESS, 3, 0,
                                         L"C:\\none.exe", nullptr, nullptr, nullptr, nullptr, nullptr));
        Look([&](HWND page) {
            EXPECT_EQ(State(page), c.state);
            EXPECT_EQ(Ui::ApplyEnabled(GetParent(page)), c.modified);
            EXPECT_EQ(Ui::Visible(page, IDC_SECURITY_DIFFIE_HELLMAN), ReadSetting(kDhMayChangeSetting) != none);
        });
        if (service) DeleteService(service.get());
    }
}

TEST_F(SecurityPage, SaysWhyControlsAreDisabled) {
    Look([](HWND page) {
        EXPECT_EQ(Ui::TipBehind(page, IDC_SECURITY_MODE_SERVICE), L"The keys storage service is not installed.");
        EXPECT_EQ(Ui::TipBehind(page, IDC_SECURITY_CACHE_SIZE), L"");
    });
    const Denied denied(L"\\config\\Provider");
    Look([](HWND page) {
        EXPECT_EQ(State(page), "caching DH | service DH | 8/64");
        for (const UINT id : {IDC_SECURITY_CSP, IDC_SECURITY_MODE_SERVICE, IDC_SECURITY_MODE_MEMORY})
            EXPECT_EQ(Ui::TipBehind(page, id), kOnlyAdministrators) << id;
    });
}

// The question is asked once; the restart's result is the save's. What the registry refuses stays changed, unreported.
TEST_F(SecurityPage, WritesAllAndShowsItAgain) {
    const auto refuse = +[](HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) -> LSTATUS { return ERROR_ACCESS_DENIED; };
    const struct {
        const char* name;
        int answer;
        bool restartRefused, registryRefuses;
        Texts boxes;
        int restarts;
    } cases[] = {{"no restart", IDNO, false, false, {kRestartQuestion}, 0},
                 {"the registry refuses at first", IDNO, false, true, {kRestartQuestion, kRestartQuestion}, 0},
                 {"a refused restart", IDYES, true, false, {kRestartQuestion, kSaveFailed}, 11}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Reset();
        WriteSetting(kCacheSetting, 16);
        Restart::calls = 0;
        Restart::refused = c.restartRefused ? L"exit" : L"";
        std::optional<ImportPatch> registry;
        if (c.registryRefuses) registry.emplace(nullptr, "RegSetValueExW", refuse);
        Run({&ChangeAll, &Apply,
             [&](HWND sheet) {
                 EXPECT_EQ(Ui::ApplyEnabled(sheet), c.restartRefused || c.registryRefuses);
                 registry.reset();
             },
             &Apply, [](HWND sheet) { EXPECT_FALSE(Ui::ApplyEnabled(sheet)); }},
            {c.answer, c.answer});
        EXPECT_EQ(boxes, c.boxes);
        EXPECT_EQ(Restart::calls, c.restarts);
        EXPECT_EQ(AllStored(), kChanged);
    }
    WriteSetting(kClassSetting, 2);  // allows the way back
    Run({[](HWND sheet) {
             const HWND page = Ui::Page(sheet);
             EXPECT_EQ(State(page), "CSP service DH | memory | 8/64");
             EXPECT_FALSE(Ui::Visible(page, IDC_SECURITY_TYPE71)) << "the older type, without a default";
             EXPECT_EQ(Ui::Text(page, IDC_SECURITY_TYPE75_LABEL), L"GOST R 34.10-2001 signature and key agreement:");
             EXPECT_EQ(Ui::Items(page, IDC_SECURITY_TYPE75), (Texts{L"<Absent>", kProvider75}));
             EXPECT_EQ(Ui::Selected(page, IDC_SECURITY_TYPE75), 0);
             Change(sheet, 1,
                    {IDC_SECURITY_MODE_SERVICE, IDC_SECURITY_CACHING, IDC_SECURITY_DIFFIE_HELLMAN,
                     IDC_SECURITY_SAVE_MEDIA});
         },
         &Apply, [](HWND sheet) { Ui::Type(Ui::Page(sheet), IDC_SECURITY_CACHE_SIZE, L"24"); }, &Apply},
        {IDNO});
    EXPECT_EQ(AllStored(), kBack);
    Look([](HWND page) { EXPECT_EQ(State(page), "CSP service caching size arrows DH | service caching DH | 24/64"); });
}

TEST_F(SecurityPage, CorrectsTheCacheSizeWithoutAWord) {
    WriteSetting(kCacheSetting, 16);
    WriteSetting(kCacheMaximumSetting, 5000);
    const struct {
        const wchar_t *typed, *atOnce, *whenLeft;
    } cases[] = {{L"0", L"1", L"1"},          {L"", L"1", L"1"},
                 {L"1a", L"1", L"1"},         {L"-5", L"1", L"1"},
                 {L"4294967298", L"1", L"1"}, {L"16", L"16", L"16"},
                 {L"2458", L"2458", L"2457"}, {L"4294967295", L"4294967295", L"2457"}};
    Look([&](HWND page) {
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::PrintToString(std::wstring(c.typed)));
            Ui::Type(page, IDC_SECURITY_CACHE_SIZE, c.typed);
            EXPECT_EQ(Ui::Text(page, IDC_SECURITY_CACHE_SIZE), c.atOnce);
            SendMessageW(page, WM_COMMAND, MAKEWPARAM(IDC_SECURITY_CACHE_SIZE, EN_KILLFOCUS), 0);
            EXPECT_EQ(Ui::Text(page, IDC_SECURITY_CACHE_SIZE), c.whenLeft);
            EXPECT_EQ(Ui::ApplyEnabled(GetParent(page)), c.typed != std::wstring(L"16"));
        }
    });
    Run({[](HWND sheet) { Ui::Type(Ui::Page(sheet), IDC_SECURITY_CACHE_SIZE, L"3000"), Apply(sheet); },
         [](HWND sheet) { EXPECT_EQ(Ui::Text(Ui::Page(sheet), IDC_SECURITY_CACHE_SIZE), L"2457"); }});
    EXPECT_EQ(ReadSetting(kCacheSetting), 2457u) << "saved while the field has the focus";
    EXPECT_EQ(boxes, Texts{});
}

// The checked mode may be the one that is disabled.
TEST_F(SecurityPage, TheModeThatMayBeChosenIsReachedByTheKeyboard) {
    for (const UINT chosen : {IDC_SECURITY_MODE_MEMORY, IDC_SECURITY_MODE_SERVICE}) {
        SCOPED_TRACE(chosen);
        Reset();
        if (chosen == IDC_SECURITY_MODE_SERVICE) {  // nothing may keep its keys in memory
            kRegistered[Module75].Set(kMemory);
            WriteSetting(kClassSetting, 2);
        }
        Run({[&](HWND sheet) {
            const HWND page = Ui::Page(sheet), radio = GetDlgItem(page, static_cast<int>(chosen));
            PropSheet_SetCurSel(sheet, nullptr, 0);  // the page is shown again
            EXPECT_EQ(GetNextDlgTabItem(page, GetDlgItem(page, IDC_SECURITY_CSP), FALSE), radio);
            SendMessageW(page, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(radio), TRUE);
            EXPECT_EQ(GetFocus(), radio);
            EXPECT_EQ(Shown(page, chosen), L"off") << "the focus alone chooses nothing";
            EXPECT_FALSE(Ui::ApplyEnabled(sheet));
            for (const UINT key : {WM_KEYDOWN, WM_KEYUP}) SendMessageW(radio, key, VK_SPACE, 0);
            const UINT other = IDC_SECURITY_MODE_MEMORY + IDC_SECURITY_MODE_SERVICE - chosen;
            EXPECT_EQ(Shown(page, chosen), L"on");
            EXPECT_EQ(Shown(page, other), L"off disabled");
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
         [](HWND) { EXPECT_EQ(kRegistered[Type75].Get(), L"") << "the default provider is written all the same"; }});
    acquire.reset();
    EXPECT_EQ(ReadSetting(kDhControlSetting), before);
    Reset();
    kRegistered[Module71].Set(kMemory);
    Look([](HWND page) {
        Ui::Select(page, IDC_SECURITY_CSP, 1);
        EXPECT_EQ(State(page), "CSP memory DH | memory DH | 8/64");
        for (const UINT button : {IDC_SECURITY_DIFFIE_HELLMAN, IDC_SECURITY_MODE_MEMORY}) Ui::Click(page, button);
        EXPECT_EQ(Shown(page, IDC_SECURITY_DIFFIE_HELLMAN), L"off") << "the mode's click reads values, not the marks";
        EXPECT_TRUE(Ui::ApplyEnabled(GetParent(page)));
    });
    listed = 0;
    Look([](HWND page) {
        EXPECT_EQ(State(page), "CSP | DH | 1/0");
        for (const UINT id : {IDC_SECURITY_TYPE75, IDC_SECURITY_TYPE71}) EXPECT_FALSE(Ui::Enabled(page, id)) << id;
        for (const UINT id : {IDC_SECURITY_TYPE71, IDC_SECURITY_DIFFIE_HELLMAN}) EXPECT_FALSE(Ui::Visible(page, id));
    });
}

TEST_F(SecurityPage, WritesBothViewsInOrderAndStopsAtTheFirstFailure) {
    Result<> result;
    const struct {
        const char* name;
        int native, other;  // of what is registered
        const wchar_t* text;
        std::function<Result<>()> write;
    } cases[] = {
        {"no default", Type75, Type75In32, L"", [] { return WriteDefaultProvider(75, L""); }},
        {"a default", Type75, Type75In32, L"x", [] { return WriteDefaultProvider(75, L"x"); }},
        {"a mode", Module75, Module75In32, kMemory,
         [] { return WriteProviderMode(kProvider75, ProviderMode::Memory); }},
    };
    for (const auto& c : cases) {
        const auto inspect = [&](const Fault& fault) -> std::string {
            const bool first = kRegistered[c.native].Get() == c.text, second = kRegistered[c.other].Get() == c.text;
            Reset();
            // Without memory, nothing but the first view may have been written.
            if (fault.memory) return second ? "written without memory" : "";
            if (first != (fault.point > 1) || second != (fault.point > 3)) return "a view is wrong";  // opened, written
            return (result ? 0 : result.Failed().code) == fault.error ? "" : "fails with another code";
        };
        const auto write = [&] { result = c.write(); };
        EXPECT_EQ(Faults(c.name, write, inspect), 4u);
    }
    EXPECT_EQ(WriteProviderMode(kProvider75, ProviderMode::Unknown).Failed().code, DWORD(E_UNEXPECTED));
    EXPECT_EQ(WriteProviderMode(L"", ProviderMode::Memory).Failed().code, DWORD(E_UNEXPECTED));
}

TEST_F(SecurityPage, SurvivesEveryFailingCall) {
    std::string state;
    bool modified = false;
    const auto note = [&](HWND sheet) { state = State(Ui::Page(sheet)), modified = Ui::ApplyEnabled(sheet); };
    Run({note});                                                 // the libraries are loaded
    const std::set<std::string_view> again = {"RegOpenKeyExW"};  // each value of a key is read by itself
    const auto open = [&] { Run({note}); };
    const auto unchanged = [&](const Fault&) { return !modified && boxes.empty() ? "" : "changed: " + state; };
    const size_t start = Faults("security page, start", open, unchanged, again);

    // Applied twice: the second time makes a single failure good, when all could be changed.
    const auto save = [&] { Run({&ChangeAll, &Apply, &Apply, note}, {IDNO, IDNO, IDNO, IDNO}); };
    const auto inspect = [&](const Fault& fault) -> std::string {
        const bool all = AllStored() == kChanged, reported = std::ranges::count(boxes, kSaveFailed) != 0;
        Reset();
        const bool memory = state.find("| memory | 8/64") != state.npos;
        if (fault.point < start || !memory) return fault.point == Fault::kNone ? state : "";
        if (modified == all) return all ? "is saved and stays modified" : "a failure reads as success";
        const std::string_view function = fault.function;
        const bool reports = function == "CryptSetProvParam" || function == "support_registry_put_bool";
        return fault.onwards || (all && reported == reports) ? "" : "not made good, or not reported";
    };
    Faults("security page, start, change, save", save, inspect, again);
}

}  // namespace
