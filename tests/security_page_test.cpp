// The Security page as a real window, against the software provider, its store and the registry.
#include "pages/PropPageConfigCSPSecurity.h"

#include "framework/Registry.h"
#include "softcsp/common/Registry.h"
#include "tests/support/Provider.h"
#include "tests/support/SettingsPage.h"

namespace {

using namespace softcsp;

const std::wstring kKey75 = std::wstring(L"Microsoft\\Cryptography\\Defaults\\Provider\\") + kProvider75,
                   kTypes = L"Microsoft\\Cryptography\\Defaults\\Provider Types\\Type 07";
const std::vector<UINT> kControls = {IDC_SECURITY_MODE_SERVICE, IDC_SECURITY_MODE_MEMORY, IDC_SECURITY_CACHING,
                                     IDC_SECURITY_CACHE_SIZE, IDC_SECURITY_DIFFIE_HELLMAN};

template <DWORD result>
DWORD WINAPI Return() {
    return result;
}

// Begins and ends with the provider as it is installed.
class SecurityPage : public SettingsPageTest<CPropPageConfigCSPSecurity> {
  protected:
    SecurityPage() { Reset(); }
    ~SecurityPage() override { Reset(); }
    void Reset() const {
        for (const auto* setting : kSettings) ClearSetting(*setting);
        for (const auto& [type, provider] : {std::pair{75u, kProvider75}, {71u, kProvider71}}) {
            EXPECT_TRUE(WriteDefaultProvider(type, provider));
            EXPECT_TRUE(WriteProviderMode(provider, ProviderMode::Service));
        }
        shortcuts.Set({});
    }
    // All that the page writes; of what the registry has in two views, the second one.
    std::wstring AllStored() const {
        std::wstring all = L"cache " + std::to_wstring(ReadSetting(kCacheSetting)) + L", DH " +
                           std::to_wstring(ReadSetting(kDhControlSetting)) + L", shortcuts " +
                           std::to_wstring(shortcuts.Get().value_or(-1));
        for (const auto& [key, name] :
             {std::pair{kTypes + L"1", L"Name"}, {kTypes + L"5", L"Name"}, {kKey75, L"KV Module Name"}})
            all += L", " + ReadRegistryText(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Wow6432Node\\" + key, name).value_or(L"");
        return all;
    }
    // False when not all can be changed.
    static bool ChangeAll(HWND page) {
        bool all = Ui::Text(page, IDC_SECURITY_CSP) == kProvider75;
        for (const UINT box : {IDC_SECURITY_TYPE71, IDC_SECURITY_TYPE75}) {
            all = all && Ui::Selected(page, box) == 1;
            Ui::Select(page, box, 0);
        }
        return ClickAll(page, {IDC_SECURITY_MODE_MEMORY, IDC_SECURITY_DIFFIE_HELLMAN, IDC_SECURITY_SAVE_MEDIA}) && all;
    }
    static constexpr wchar_t kChanged[] = L"cache 0, DH 1, shortcuts 1, , , kvcspi.dll";

    StoredNumber shortcuts{L"\\config\\Parameters\\DisableShortcuts", {}};
};

TEST_F(SecurityPage, ShowsWhatIsStoredAndWhatMayBeChanged) {
    const struct {
        const wchar_t* shown;
        std::vector<std::pair<softcsp::Setting, DWORD>> settings = {};
        std::wstring module = L"kvcspr.dll";
    } cases[] = {
        {L"on disabled, off, off, 8 disabled, on"},
        {L"off disabled, on, off disabled, 8 disabled, on", {}, L"kvcspi.dll"},
        {L"off disabled, off disabled, off disabled, 16 disabled, on", {{kCacheSetting, 16}}, L"KVCSPI.DLL"},
        {L"on, off disabled, off, 8 disabled, on", {{kClassSetting, 2}}},
        {L"on disabled, off, off disabled, 1 disabled, on", {{kCacheMaximumSetting, 0}}},
        {L"on disabled, off, on disabled, 16 disabled, on", {{kCacheSetting, 16}, {kCacheAvailableSetting, 0}}},
        {L"on disabled, off, off, 8 disabled, off disabled", {{kDhControlSetting, 1}, {kDhMayChangeSetting, 0}}},
        {L"on disabled, off, off, 8 disabled, on disabled", {{kDhMayChangeSetting, kNoSuchParameter}}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        Reset();
        WriteValue(HKEY_LOCAL_MACHINE, L"SOFTWARE\\" + kKey75, L"KV Module Name", c.module);
        for (const auto& [setting, value] : c.settings) WriteSetting(setting, value);
        Look([&](HWND page) {
            EXPECT_EQ(Shown(page, kControls), c.shown);
            EXPECT_EQ(Ui::ApplyEnabled(GetParent(page)), c.module == L"KVCSPI.DLL") << "the cache goes without a mode";
            EXPECT_EQ(Ui::Visible(page, IDC_SECURITY_DIFFIE_HELLMAN),
                      ReadSetting(kDhMayChangeSetting) != kNoSuchParameter);
        });
    }
    Reset();
    EXPECT_TRUE(WriteDefaultProvider(75, L"not installed"));
    Look([](HWND page) { EXPECT_FALSE(Ui::ApplyEnabled(GetParent(page))); });
}

TEST_F(SecurityPage, SaysWhyControlsAreDisabled) {
    Look([](HWND page) {
        EXPECT_EQ(Ui::TipBehind(page, IDC_SECURITY_MODE_SERVICE), L"The keys storage service is not installed.");
    });
    const Denied denied(L"\\config\\Provider");
    Look([](HWND page) { EXPECT_EQ(Ui::TipBehind(page, IDC_SECURITY_CSP), kOnlyAdministrators); });
    const UniqueService manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE)),
        service(CreateServiceW(manager.get(), L"kvcsp1", L"", DELETE, SERVICE_WIN32_OWN_PROCESS, 3, 0, L"C:\\none.exe",
                               nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_TRUE(IsKeyServiceInstalled());
    DeleteService(service.get());
}

// What is refused stays changed and is written by the next save, whatever the user answers to the restart.
TEST_F(SecurityPage, WritesAllAndShowsItAgain) {
    const struct {
        const char* function;
        DWORD(WINAPI* instead)();
        int answer;
        Texts boxes;
        const wchar_t* denied = L"\\config\\none";
    } cases[] = {{"RegSetValueExW", &Return<ERROR_ACCESS_DENIED>, IDNO, {kRestartQuestion, kRestartQuestion}},
                 {"CryptSetProvParam", &Return<FALSE>, IDNO, {kRestartQuestion, kSaveFailed}},
                 {"CryptSetProvParam", &Return<FALSE>, IDYES, {kRestartQuestion}},
                 {"ExitWindowsEx", &Return<FALSE>, IDYES, {kRestartQuestion, kSaveFailed}},
                 {"ExitWindowsEx", &Return<TRUE>, IDYES, {kRestartQuestion, kSaveFailed}, L"\\config\\Parameters"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        Reset();
        WriteSetting(kCacheSetting, 16);
        std::optional<ImportPatch> refusal;
        std::optional<Denied> denied;
        Run({[&](HWND sheet) {
                 ChangeAll(Ui::Page(sheet));
                 refusal.emplace(c.function, c.instead);
                 denied.emplace(c.denied);
                 Apply(sheet);
             },
             [&](HWND sheet) {
                 EXPECT_TRUE(Ui::ApplyEnabled(sheet));
                 denied.reset();
                 refusal.reset();
                 Apply(sheet);
             },
             Modified(false)},
            {c.answer, IDNO});
        EXPECT_EQ(boxes, c.boxes);
        EXPECT_EQ(AllStored(), kChanged);
    }
    WriteSetting(kClassSetting, 2);  // allows the way back
    Run({[](HWND sheet) {
             const HWND page = Ui::Page(sheet);
             EXPECT_FALSE(Ui::Visible(page, IDC_SECURITY_TYPE71)) << "the older type, without a default";
             EXPECT_EQ(Ui::Text(page, IDC_SECURITY_TYPE75_LABEL), L"GOST R 34.10-2001 signature and key agreement:");
             EXPECT_EQ(Ui::Items(page, IDC_SECURITY_TYPE75), (Texts{L"<Absent>", kProvider75}));
             EXPECT_EQ(Ui::Selected(page, IDC_SECURITY_TYPE75), 0);
             Ui::Select(page, IDC_SECURITY_TYPE75, 1);
             ClickAll(page, {IDC_SECURITY_MODE_SERVICE, IDC_SECURITY_CACHING, IDC_SECURITY_DIFFIE_HELLMAN});
             Apply(sheet);
         },
         [](HWND sheet) { Ui::Type(Ui::Page(sheet), IDC_SECURITY_CACHE_SIZE, L"24"); }, &Apply},
        {IDNO});
    Look([](HWND page) {
        EXPECT_EQ(Shown(page, kControls), L"on, off disabled, on, 24, on");
        EXPECT_EQ(Ui::Selected(page, IDC_SECURITY_TYPE75), 1);
    });
}

TEST_F(SecurityPage, CorrectsTheCacheSizeWithoutAWord) {
    WriteSetting(kCacheSetting, 16);
    WriteSetting(kCacheMaximumSetting, 5000);
    Run({[](HWND sheet) {
             const HWND page = Ui::Page(sheet);
             for (const wchar_t* text : {L"", L"4294967298"}) {
                 Ui::Type(page, IDC_SECURITY_CACHE_SIZE, text);
                 EXPECT_EQ(Ui::Text(page, IDC_SECURITY_CACHE_SIZE), L"1");
             }
             Ui::Type(page, IDC_SECURITY_CACHE_SIZE, L"2458");
             SendMessageW(page, WM_COMMAND, MAKEWPARAM(IDC_SECURITY_CACHE_SIZE, EN_KILLFOCUS), 0);
             EXPECT_EQ(Ui::Text(page, IDC_SECURITY_CACHE_SIZE), L"2457");
             Ui::Type(page, IDC_SECURITY_CACHE_SIZE, L"3000");
             Apply(sheet);
         },
         [](HWND sheet) { EXPECT_EQ(Ui::Text(Ui::Page(sheet), IDC_SECURITY_CACHE_SIZE), L"2457"); }});
    EXPECT_EQ(ReadSetting(kCacheSetting), 2457u) << "saved while the field has the focus";
    EXPECT_EQ(boxes, Texts{});
    EXPECT_EQ(AllowedCacheSize(0, 64), 1u);
}

// Without a provider nothing is written. With a mode that has no module the defaults are, and no restart is offered.
TEST(SecuritySettings, NeedAProviderAndAModule) {
    struct Question final : RestartQuestion {
        std::optional<bool> OfferRestart() override { return ADD_FAILURE(), std::nullopt; }
    } question;
    static Texts keys;
    const auto refuse = +[](HKEY, LPCWSTR key, DWORD, REGSAM, HKEY*) -> LSTATUS {
        keys.emplace_back(key);
        return ERROR_ACCESS_DENIED;
    };
    SecuritySettings settings;
    settings.mode.stored = ProviderMode::Service;
    settings.default71.shown = settings.default75.shown = settings.provider.name = L"name";
    const ImportPatch open("RegOpenKeyExW", refuse);
    EXPECT_TRUE(WriteSecurity(settings, question));
    EXPECT_EQ(keys, Texts{});
    EXPECT_TRUE(settings.context.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, PROV_RSA_FULL));
    EXPECT_FALSE(WriteSecurity(settings, question));
    ASSERT_EQ(keys.size(), 2u);
    EXPECT_TRUE(keys[0].ends_with(L"71")) << "the older type first";
}

// The checked mode is the one that is disabled.
TEST_F(SecurityPage, TheModeThatMayBeChosenIsReachedByTheKeyboard) {
    Look([](HWND page) {
        const HWND radio = GetDlgItem(page, IDC_SECURITY_MODE_MEMORY);
        PropSheet_SetCurSel(GetParent(page), nullptr, 0);  // the page is shown again
        EXPECT_EQ(GetNextDlgTabItem(page, GetDlgItem(page, IDC_SECURITY_CSP), FALSE), radio);
        SendMessageW(page, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(radio), TRUE);
        EXPECT_EQ(Shown(page, IDC_SECURITY_MODE_MEMORY), L"off") << "the focus alone chooses nothing";
        for (const UINT key : {WM_KEYDOWN, WM_KEYUP}) SendMessageW(radio, key, VK_SPACE, 0);
        EXPECT_EQ(Shown(page, {IDC_SECURITY_MODE_MEMORY, IDC_SECURITY_MODE_SERVICE}), L"on, off disabled");
    });
}

TEST_F(SecurityPage, ATypeWhoseKeyMayNotBeWrittenCanNotBeChosen) {
    const ImportPatch open("RegOpenKeyExW", &Return<ERROR_ACCESS_DENIED>);
    Look([&](HWND page) { EXPECT_FALSE(Ui::Enabled(page, IDC_SECURITY_TYPE75)); });
}

TEST_F(SecurityPage, ConfiguresTheProviderThatIsSelected) {
    Look([&](HWND page) {
        Ui::Click(page, IDC_SECURITY_DIFFIE_HELLMAN);
        const ImportPatch acquire("CryptAcquireContextW", &Return<FALSE>);
        Ui::Select(page, IDC_SECURITY_CSP, 1);
        EXPECT_FALSE(Ui::ApplyEnabled(GetParent(page))) << "the mark set for the former provider";
    });
    EXPECT_TRUE(WriteProviderMode(kProvider71, ProviderMode::Memory));
    Look([](HWND page) {
        Ui::Select(page, IDC_SECURITY_CSP, 1);
        EXPECT_EQ(Shown(page, kControls), L"off disabled, on, off disabled, 8 disabled, on");
        for (const UINT button : {IDC_SECURITY_DIFFIE_HELLMAN, IDC_SECURITY_MODE_MEMORY}) Ui::Click(page, button);
        EXPECT_EQ(Shown(page, IDC_SECURITY_DIFFIE_HELLMAN), L"off") << "the mode's click reads values, not the marks";
        EXPECT_TRUE(Ui::ApplyEnabled(GetParent(page)));
    });
}

TEST_F(SecurityPage, SurvivesEveryFailingCall) {
    const auto change = [](HWND page) {
        return ChangeAll(page) && Shown(page, IDC_SECURITY_CACHING) == L"off disabled";
    };
    const auto stored = [&] { return AllStored() == kChanged; };
    SaveUnderFaults("security page", change, stored, [&] { Reset(); }, {"RegOpenKeyExW"});  // for each value by itself
}

}  // namespace
