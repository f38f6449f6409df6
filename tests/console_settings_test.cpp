// The settings document: what it has, what it refuses, how it is written, and that a failing write changes nothing.
#include <map>
#include <sstream>

#include "console/settings/SettingsDocument.h"
#include "framework/Registry.h"
#include "settings/WinlogonSettings.h"
#include "softcsp/common/Names.h"
#include "softcsp/common/Settings.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/Provider.h"
#include "tests/support/Services.h"

namespace {

using namespace softcsp;
using Text = std::wstring;

const Text kOf75 = Text(L"[") + kProvider75 + L"]", kOf71 = Text(L"[") + kProvider71 + L"]",
           kSupport = L"winlogon.disableSupport";

using Dump = std::map<std::pair<HKEY, Text>, std::map<Text, RegistryValue>>;  // the values of keys

const std::pair<HKEY, Text> kTrees[] = {
    {HKEY_LOCAL_MACHINE, kStoreKey},
    {HKEY_CURRENT_USER, kStoreKey},
    {HKEY_LOCAL_MACHINE, kSettingsKey},
    {HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Cryptography\\Defaults"},
    {HKEY_LOCAL_MACHINE, L"SOFTWARE\\Wow6432Node\\Microsoft\\Cryptography\\Defaults"},
    {HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Services\\kdc"}};

void ReadKey(HKEY root, const Text& path, Dump& dump) {
    UniqueRegistryKey key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS) return;
    auto& values = dump[{root, path}];
    wchar_t name[256];
    for (DWORD i = 0, length = 256; RegEnumValueW(key.get(), i, name, &length, nullptr, nullptr, nullptr, nullptr) == 0;
         ++i, length = 256)
        values[name] = *ReadRegistryValue(root, path, name, 65536);
    for (DWORD i = 0; RegEnumKeyW(key.get(), i, name, 256) == ERROR_SUCCESS; ++i)
        ReadKey(root, path + L"\\" + name, dump);
}

Dump Stored() {
    Dump dump;
    for (const auto& [root, path] : kTrees) ReadKey(root, path, dump);
    return dump;
}

void PutBack(const Dump& dump) {
    for (const auto& [root, path] : kTrees) RegDeleteTreeW(root, path.c_str());
    for (const auto& [key, values] : dump) {
        UniqueRegistryKey created;
        EXPECT_EQ(RegCreateKeyW(key.first, key.second.c_str(), created.put()), ERROR_SUCCESS);
        for (const auto& [name, value] : values)
            RegSetValueExW(created.get(), name.c_str(), 0, value.type, value.bytes.data(),
                           static_cast<DWORD>(value.bytes.size()));
    }
}

// The first key in which two dumps differ; empty when they are equal.
std::string FirstDifference(const Dump& expected, const Dump& found) {
    const auto [one, other] = std::ranges::mismatch(expected, found);
    if (one == expected.end() && other == found.end()) return "";
    return testing::PrintToString((one == expected.end() ? other : one)->first.second) + " has changed";
}

// A domain controller with a default reader, a cache, and nothing else that isn't as installed.
struct SettingsDocument : testing::Test {
    SettingsDocument() {
        for (const wchar_t* path : {L"\\config\\Parameters", L"\\config\\oid", L"\\local\\KeyDevices", L"\\global"})
            support_registry_delete_section(path);
        support_registry_put_long(L"\\config\\Parameters\\EnableDefaultReader", 1);
        support_registry_put_section(L"\\config\\Provider");
        // What was set once can't be removed through the provider again.
        WriteSetting(kCacheSetting, 16);
        WriteSetting(kDhControlSetting, 2);
        WriteValue(HKEY_LOCAL_MACHINE, kKdcKey, kKdcValue, DWORD{1});
        before = Read().Entries();
        initial = Stored();
    }
    ~SettingsDocument() override { PutBack(kept); }

    static MachineSettings Read() { return MachineSettings(ProgramDirectory() + L"vestra.cpl"); }
    static BOOL WINAPI Version(OSVERSIONINFOW* info) {
        reinterpret_cast<OSVERSIONINFOEXW*>(info)->wProductType = VER_NT_DOMAIN_CONTROLLER;
        return TRUE;
    }

    // Another value for every setting: the last one that the refusal of a wrong value names.
    SettingEntries Changed() const {
        const MachineSettings here = Read();
        SettingEntries changed = before;
        for (size_t i = 0; i < changed.size(); ++i) {
            std::wistringstream allowed(here.Check({{before[i].name, Text(L"?")}}).at(0).detail);
            for (Text item; std::getline(allowed >> std::ws, item, L',');) {
                SettingValue value = TextOrNothing(item == L"null" ? L"" : item);
                if (item == L"true" || item == L"false") value = item == L"true";
                if (item.find(L"..") != item.npos) value = std::stoll(item);
                if (value != before[i].value && before[i].name != kSupport) changed[i].value = value;
            }
        }
        return changed;
    }

    const Dump kept = Stored();
    const ImportPatch patch{"GetVersionExW", &Version};
    const SpokenLanguage language{::kEnglish};
    SettingEntries before;
    Dump initial;  // as the set-up left it
};

Text Names(const std::vector<SettingDifference>& differences) {
    Text names;
    for (const SettingDifference& difference : differences) names += difference.name + L"\n";
    return names;
}

// Each with its obstacle and its detail.
Text Problems(const SettingEntries& document) {
    constexpr const wchar_t* kObstacles[] = {L"unknown",     L"allowed: ",  L"no right",
                                             L"not offered", L"no module ", L"against "};
    Text text;
    for (const auto& [name, obstacle, detail] : SettingsDocument::Read().Check(document))
        text += (text.empty() ? L"" : L"; ") + name + L" " + kObstacles[static_cast<size_t>(obstacle)] + detail;
    return text;
}

TEST_F(SettingsDocument, EverythingIsWrittenNamedAndWrittenBack) {
    const SettingEntries changed = Changed();
    Text all;
    for (const SettingEntry& entry : before)
        // One contradicts the KDC's setting, the other has one value only.
        if (entry.name != kSupport && entry.name != L"algorithms.hash[75]") all += entry.name + L"\n";
    MachineSettings settings = Read();
    EXPECT_EQ(Names(settings.Compare(changed)), all);
    EXPECT_EQ(Problems(changed), L"");
    const ApplyReport there = settings.Apply(changed);
    EXPECT_TRUE(there.Succeeded());
    EXPECT_EQ(Names(there.written), all);
    Text restart;
    for (const SettingDifference& written : there.written)
        if (written.needsRestart && !written.name.starts_with(L"tls.")) restart += written.name + L"\n";
    EXPECT_EQ(restart, L"security.mode" + kOf75 + L"\nsecurity.mode" + kOf71 + L"\n");
    EXPECT_EQ(Names(settings.Compare(changed)), L"") << "the same object";
    EXPECT_EQ(Names(Read().Compare(changed)), L"") << "as it is read again";
    WriteSetting(kClassSetting, 2);  // allows the way back to the service's mode
    EXPECT_EQ(Problems(before), L"");
    EXPECT_TRUE(Read().Apply(before).Succeeded());
    EXPECT_EQ(Names(Read().Compare(before)), L"");
}

constexpr wchar_t kNothing[] = L"\\config\\none";

TEST_F(SettingsDocument, RefusesWhatCannotBeWritten) {
    const Text cache = L"security.cache" + kOf75, mode = L"security.mode" + kOf75, sessions = L"tls.server.maxSessions",
               dh = L"security.diffieHellman" + kOf75, reader = L"winlogon.defaultReader" + kOf75,
               kdc = L"winlogon.kdcUsesProduct", provider = L"security.defaultProvider[75]";
    const SettingEntries changed = Changed();
    const SettingEntry algorithm = *std::ranges::find(changed, L"algorithms.signature[75]", &SettingEntry::name);
    const struct {
        SettingEntries document;
        Text problems;
        const wchar_t* denied = kNothing;
        softcsp::Setting setting = kDebugSetting;
        DWORD value = 0;
    } cases[] = {
        {{{sessions, std::int64_t{1} << 32}}, sessions + L" allowed: 0..65536"},
        {{{sessions, std::int64_t{-1}}}, sessions + L" allowed: 0..65536"},
        {{{L"timeout.user", Text(L"30")}}, L"timeout.user allowed: 1..65535, infinite, null"},
        {{{provider, Text(kProvider71)}}, provider + L" allowed: " + kProvider75 + L", null"},
        {{{cache, std::int64_t{8}}, {mode, Text(L"memory")}},
         cache + L" against " + mode + L"; " + mode + L" against " + cache},
        {{{kdc, true}, {kSupport, true}}, kdc + L" against " + kSupport + L"; " + kSupport + L" against " + kdc},
        {{{L"security.saveMedia", false}, {reader, Text(L"REGISTRY")}},
         L"security.saveMedia no right; " + reader + L" no right",
         L"\\config\\Parameters"},
        {{{mode, Text(L"memory")}}, mode + L" no right", L"\\config\\Provider"},
        {{{L"language.user", Text(L"ru")}}, L"language.user no right", L"\\local"},
        {{{L"timeout.system", std::int64_t{30}}}, L"timeout.system no right", L"\\global"},
        {{algorithm}, algorithm.name + L" no right", L"\\config\\oid"},
        {{{mode, Text(L"memory")}}, mode + L" not offered; " + mode + L" against " + cache, kNothing, kClassSetting, 2},
        {{{dh, false}}, dh + L" not offered", kNothing, kDhMayChangeSetting, 0},
        {{{cache, std::int64_t{8}}}, cache + L" not offered", kNothing, kCacheAvailableSetting, 0},
        {{{cache, std::int64_t{8}}}, cache + L" unknown", kNothing, kCacheMaximumSetting, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.problems));
        support_registry_put_section(c.denied);
        const ProviderSetting setting(c.setting, c.value);
        const Denied denied(c.denied);
        EXPECT_EQ(Problems(c.document), c.problems);
    }
    support_registry_put_long(L"\\config\\Parameters\\EnableDefaultReader", 0);
    EXPECT_EQ(Problems({{reader, Text(L"REGISTRY")}}), reader + L" not offered");
}

// Each call of the system, the provider and the store fails once, alone and with all after it. One setting of each kind
// is enough.
TEST_F(SettingsDocument, EveryFailureLeavesTheStoreAsItWas) {
    SettingEntries changed = Changed();
    const Text kinds[] = {L".user", L"signature[75]", L"Provider[75]", kOf75, L"Media", L"Product", L"Sessions"};
    std::erase_if(changed, [&](const SettingEntry& entry) {
        return std::ranges::none_of(kinds, [&](const Text& kind) { return entry.name.ends_with(kind); });
    });
    std::optional<MachineSettings> settings;
    ApplyReport report;
    Dump written;
    const auto prepare = [&] {
        PutBack(initial);
        settings.emplace(Read());
    };
    const auto inspect = [&](const Fault& fault) -> std::string {
        const Dump now = Stored();
        if (now != initial || report.Succeeded()) prepare();
        const std::string_view function = fault.function;
        const bool isWrite =
            function.find("_put_") != function.npos || function == "RegSetValueExW" || function == "CryptSetProvParam";
        if (fault.point == Fault::kNone) written = now;
        if (report.Succeeded()) return isWrite ? "a failed write reads as success" : FirstDifference(written, now);
        if (!report.written.empty()) return "says that something was written";
        if (!fault.onwards && !report.notPutBack.empty()) return "isn't put back";
        if (isWrite && report.failed[0].failure.code != fault.error) return "another code";
        return report.notPutBack.empty() ? FirstDifference(initial, now) : "";
    };
    prepare();
    FaultInjection(FaultInjection::Support::Included)
        .Survive("settings apply",
                 [&] {
                     report = {.written = {}, .failed = {{L"", {DWORD(E_OUTOFMEMORY)}}}, .notPutBack = {}};
                     report = settings->Apply(changed);
                 },
                 inspect, 1,
                 // What is there before a write is read twice, and some places are those of several settings.
                 {"support_registry_find", "support_registry_value_long", "support_registry_get_string",
                  "support_registry_get_bool", "support_registry_search_open", "support_registry_search_next",
                  "support_registry_value_name", "RegOpenKeyExW", "RegQueryValueExW", "CryptGetProvParam"});
}

}  // namespace
