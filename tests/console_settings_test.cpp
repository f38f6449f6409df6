// The settings document: what it has, what it refuses, how it is written, and that a failing write changes nothing.
#include <windows.h>

#include <algorithm>
#include <map>
#include <optional>

#include "applet/services/ParameterEntry.h"
#include "settings/SettingsDocument.h"
#include "settings/WinlogonSettings.h"
#include "softcsp/common/Names.h"
#include "softcsp/common/Settings.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/Provider.h"
#include "tests/support/Services.h"

namespace {

using namespace softcsp;
using Text = std::wstring;

std::string Narrow(const Text& text) {
    return testing::PrintToString(text);
}

const Text kOf75 = Text(L"[") + kProvider75 + L"]", kOf71 = Text(L"[") + kProvider71 + L"]";

// Registry keys with all that is beneath them.
struct Tree {
    HKEY root;
    Text key;
};
const Tree kTrees[] = {{HKEY_LOCAL_MACHINE, kStoreKey},
                       {HKEY_CURRENT_USER, kStoreKey},
                       {HKEY_LOCAL_MACHINE, kSettingsKey},
                       {HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Cryptography\\Defaults"},
                       {HKEY_LOCAL_MACHINE, L"SOFTWARE\\Wow6432Node\\Microsoft\\Cryptography\\Defaults"},
                       {HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Services\\kdc"}};

using Dump = std::map<Text, std::vector<BYTE>>;  // keys, which have no bytes, and values: their type and bytes

void DumpKey(HKEY root, const Text& path, Dump& dump) {
    UniqueRegistryKey key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS) return;
    dump[path];
    wchar_t name[256];
    for (DWORD i = 0;; ++i) {
        std::vector<BYTE> bytes(4096);
        DWORD length = 256, type = 0, size = 4096;
        if (RegEnumValueW(key.get(), i, name, &length, nullptr, &type, bytes.data(), &size) != ERROR_SUCCESS) break;
        bytes.resize(size);
        bytes.push_back(static_cast<BYTE>(type));
        dump[path + L"\\: " + name] = bytes;
    }
    for (DWORD i = 0, length = 256; !RegEnumKeyExW(key.get(), i, name, &length, nullptr, nullptr, nullptr, nullptr);
         ++i, length = 256)
        DumpKey(root, path + L"\\" + name, dump);
}

Dump Stored() {
    Dump dump;
    for (const Tree& tree : kTrees) DumpKey(tree.root, tree.key, dump);
    return dump;
}

// The first place in which two dumps differ; empty when they are equal.
std::string FirstDifference(const Dump& expected, const Dump& found) {
    for (const auto& [place, bytes] : expected) {
        const auto at = found.find(place);
        if (at == found.end()) return Narrow(place) + " is gone";
        if (at->second != bytes) return Narrow(place) + " has changed";
    }
    for (const auto& [place, bytes] : found)
        if (!expected.contains(place)) return Narrow(place) + " has come";
    return "";
}

// What the registry had when the object was made, put back on request and at the end.
class KeptRegistry {
  public:
    explicit KeptRegistry(const Text& name) : kept_(L"SOFTWARE\\VestraTest" + name) {
        for (const Tree& tree : kTrees) Copy(tree, PlaceOf(tree));
    }
    ~KeptRegistry() {
        PutBack();
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kept_.c_str());
    }
    KeptRegistry(const KeptRegistry&) = delete;
    KeptRegistry& operator=(const KeptRegistry&) = delete;

    void PutBack() const {
        for (const Tree& tree : kTrees) Copy(PlaceOf(tree), tree);
    }

  private:
    Tree PlaceOf(const Tree& tree) const {
        return {HKEY_LOCAL_MACHINE, kept_ + L"\\" + std::to_wstring(&tree - kTrees)};
    }
    static void Copy(const Tree& from, const Tree& to) {
        RegDeleteTreeW(to.root, to.key.c_str());
        UniqueRegistryKey source, target;
        if (RegOpenKeyExW(from.root, from.key.c_str(), 0, KEY_READ, source.put()) != ERROR_SUCCESS) return;
        RegCreateKeyExW(to.root, to.key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, target.put(), nullptr);
        EXPECT_EQ(RegCopyTreeW(source.get(), nullptr, target.get()), ERROR_SUCCESS) << Narrow(from.key);
    }

    const Text kept_;
};

// A domain controller with a default reader, a cache, and nothing else that isn't as installed.
class SettingsDocument : public testing::Test {
  protected:
    SettingsDocument() {
        system = this;
        for (const wchar_t* path : {L"\\config\\Parameters", L"\\config\\oid", L"\\local\\KeyDevices", L"\\global"})
            support_registry_delete_section(path);
        support_registry_put_long(L"\\config\\Parameters\\EnableDefaultReader", 1);
        support_registry_put_section(L"\\config\\Provider");
        // What was set once can't be removed through the provider again.
        WriteSetting(kCacheSetting, 16);
        WriteSetting(kDhControlSetting, 2);
        const DWORD off = 1;
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKdcKey, kKdcValue, REG_DWORD, &off, sizeof off);
        UpdatedUserLanguage();
        before = Read().Entries();
        initial.emplace(L"Set");
    }
    static MachineSettings Read() { return MachineSettings(ProgramDirectory() + L"vestra.cpl"); }

    // Another value for every setting.
    SettingEntries Changed() const {
        const std::map<Text, SettingValue> others = {
            {L"language.machine", Text(L"en")},
            {L"language.user", Text(L"ru")},
            {L"timeout.system", std::int64_t{30}},
            {L"timeout.user", Text(L"infinite")},
            {L"security.defaultProvider[71]", {}},
            {L"security.defaultProvider[75]", {}},
            {L"security.cache" + kOf75, std::int64_t{0}},
            {L"security.cache" + kOf71, std::int64_t{0}},
            {L"security.mode" + kOf75, Text(L"memory")},
            {L"security.mode" + kOf71, Text(L"memory")},
            {L"winlogon.defaultReader" + kOf75, Text(L"REGISTRY")},
            {L"winlogon.defaultReader" + kOf71, Text(L"REGISTRY")},
            {L"winlogon.disableSupport", false},
            {L"tls.server.maxSessions", std::int64_t{65536}},
            {L"tls.server.maxCertificateAuthorities", std::int64_t{0}},
        };
        SettingEntries changed = before;
        for (SettingEntry& entry : changed) {
            const auto other = others.find(entry.name);
            if (other != others.end()) {
                entry.value = other->second;
            } else if (const bool* flag = std::get_if<bool>(&entry.value)) {
                entry.value = !*flag;
            } else if (entry.name.starts_with(L"algorithms.") && entry.name != L"algorithms.hash[75]") {
                entry.value = OtherAlgorithm(entry);
            }
        }
        return changed;
    }
    // A parameter set that the provider offers besides the current one, taken from the refusal of a wrong one.
    static SettingValue OtherAlgorithm(const SettingEntry& entry) {
        const SettingProblems problems = Read().Check({{entry.name, Text(L"none")}});
        const Text& list = problems.at(0).detail;
        return list.substr(list.rfind(L' ') + 1);
    }
    static Text Problems(const SettingEntries& document) {
        Text problems;
        for (const SettingProblem& problem : Read().Check(document))
            problems += problem.name + L" " + std::to_wstring(static_cast<int>(problem.obstacle)) + L"\n";
        return problems;
    }
    static BOOL WINAPI Version(OSVERSIONINFOW* info) {
        const auto real = system->version.Original<decltype(Version)>();
        const BOOL done = real(info);
        reinterpret_cast<OSVERSIONINFOEXW*>(info)->wProductType = VER_NT_DOMAIN_CONTROLLER;
        return done;
    }

    static inline SettingsDocument* system;
    const KeptRegistry kept{L"Kept"};
    const ImportPatch version{nullptr, "GetVersionExW", &Version};
    const SpokenLanguage language{kEnglish};
    SettingEntries before;
    std::optional<KeptRegistry> initial;  // as the set-up left it
};

Text Names(const std::vector<SettingDifference>& differences) {
    Text names;
    for (const SettingDifference& difference : differences) names += difference.name + L"\n";
    return names;
}

TEST_F(SettingsDocument, EverythingIsWrittenNamedAndWrittenBack) {
    const SettingEntries changed = Changed();
    const auto differences = Read().Compare(changed);
    Text all;
    for (const SettingEntry& entry : before)
        // One contradicts the KDC's setting, the other has one value only.
        if (entry.name != L"winlogon.disableSupport" && entry.name != L"algorithms.hash[75]") all += entry.name + L"\n";
    EXPECT_EQ(Names(differences), all);
    EXPECT_EQ(Problems(changed), L"");

    MachineSettings settings = Read();
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

TEST_F(SettingsDocument, RefusesWhatCannotBeWritten) {
    using enum SettingObstacle;
    struct Expected {
        Text name;
        SettingObstacle obstacle;
        Text detail;
        bool operator==(const Expected&) const = default;
    };
    const Text cache = L"security.cache" + kOf75, mode = L"security.mode" + kOf75,
               diffieHellman = L"security.diffieHellman" + kOf75, reader = L"winlogon.defaultReader" + kOf75;
    const struct {
        const char* name;
        SettingEntries document;
        std::vector<Expected> expected;
        const wchar_t* denied = L"\\config\\none";
        std::vector<std::pair<softcsp::Setting, DWORD>> settings = {};
        bool readers = true;  // a default reader may be set
    } cases[] = {
        {"unchanged, without the right", before, {}, L"\\config"},
        {"unknown", {{L"tls.none", true}}, {{L"tls.none", Unknown, L""}}},
        {"number for a flag",
         {{L"tls.client.useOcsp", std::int64_t{1}}},
         {{L"tls.client.useOcsp", NotAllowed, L"false, true"}}},
        {"flag for a number",
         {{L"tls.server.maxSessions", true}},
         {{L"tls.server.maxSessions", NotAllowed, L"0..65536"}}},
        {"nothing for a number",
         {{L"tls.server.maxSessions", {}}},
         {{L"tls.server.maxSessions", NotAllowed, L"0..65536"}}},
        {"above the range",
         {{L"tls.server.maxSessions", std::int64_t{65537}}},
         {{L"tls.server.maxSessions", NotAllowed, L"0..65536"}}},
        {"below the range",
         {{L"tls.server.maxSessions", std::int64_t{-1}}},
         {{L"tls.server.maxSessions", NotAllowed, L"0..65536"}}},
        {"beyond 32 bits",
         {{L"tls.server.maxSessions", std::int64_t{1} << 32}},
         {{L"tls.server.maxSessions", NotAllowed, L"0..65536"}}},
        {"language", {{L"language.user", Text(L"de")}}, {{L"language.user", NotAllowed, L"ru, en, null"}}},
        {"timeout out of range", {{L"timeout.user", std::int64_t{0}}}, {{L"timeout.user", NotAllowed, L"1..65535"}}},
        {"timeout as a text",
         {{L"timeout.user", Text(L"30")}},
         {{L"timeout.user", NotAllowed, L"1..65535, infinite, null"}}},
        {"provider that isn't installed",
         {{L"security.defaultProvider[75]", Text(kProvider71)}},
         {{L"security.defaultProvider[75]", NotAllowed, Text(kProvider75) + L", null"}}},
        {"mode", {{mode, Text(L"both")}}, {{mode, NotAllowed, L"service, memory"}}},
        {"reader that isn't present", {{reader, Text(L"DISK_none")}}, {{reader, NotAllowed, L"REGISTRY, null"}}},
        {"cache beyond the maximum", {{cache, std::int64_t{65}}}, {{cache, NotAllowed, L"0..64"}}},
        {"cache in memory mode", {{mode, Text(L"memory")}}, {{mode, Conflicting, cache}}},
        {"both at odds",
         {{cache, std::int64_t{8}}, {mode, Text(L"memory")}},
         {{cache, Conflicting, mode}, {mode, Conflicting, cache}}},
        {"memory mode without a cache", {{cache, std::int64_t{0}}, {mode, Text(L"memory")}}, {}},
        {"KDC without support",
         {{L"winlogon.kdcUsesProduct", true}, {L"winlogon.disableSupport", true}},
         {{L"winlogon.kdcUsesProduct", Conflicting, L"winlogon.disableSupport"},
          {L"winlogon.disableSupport", Conflicting, L"winlogon.kdcUsesProduct"}}},
        {"two right, one wrong",
         {{L"tls.client.useOcsp", true}, {L"tls.server.maxSessions", {}}, {L"tls.client.skipUsageCheck", true}},
         {{L"tls.server.maxSessions", NotAllowed, L"0..65536"}}},

        {"no right to the parameters",
         {{L"tls.client.useOcsp", true}, {L"security.saveMedia", false}, {L"winlogon.kdcUsesProduct", true}},
         {{L"security.saveMedia", NoRight, L""},
          {L"winlogon.kdcUsesProduct", NoRight, L""},
          {L"tls.client.useOcsp", NoRight, L""}},
         L"\\config\\Parameters"},
        {"no right to the readers", {{reader, Text(L"REGISTRY")}}, {{reader, NoRight, L""}}, L"\\config\\Parameters"},
        {"no default readers",
         {{reader, Text(L"REGISTRY")}},
         {{reader, NotOffered, L""}},
         L"\\config\\none",
         {},
         false},
        {"no right to the mode", {{mode, Text(L"memory")}}, {{mode, NoRight, L""}}, L"\\config\\Provider"},
        {"no right to the language",
         {{L"language.machine", Text(L"en")}, {L"language.user", Text(L"ru")}},
         {{L"language.user", NoRight, L""}},
         L"\\local"},
        {"no right to create the section",
         {{L"timeout.system", std::int64_t{30}}},
         {{L"timeout.system", NoRight, L""}},
         L"\\global"},
        {"no right to the algorithms",
         {{L"algorithms.hash[75]", Text()}},
         {{L"algorithms.hash[75]", NotAllowed, L"*"}, {L"algorithms.hash[75]", NoRight, L""}},
         L"\\config\\oid"},
        {"no service",
         {{mode, Text(L"memory")}},
         {{mode, NotOffered, L""}, {mode, Conflicting, cache}},
         L"\\config\\none",
         {{kClassSetting, 2}}},
        {"Diffie-Hellman that may not be changed",
         {{diffieHellman, false}},
         {{diffieHellman, NotOffered, L""}},
         L"\\config\\none",
         {{kDhMayChangeSetting, 0}}},
        {"cache that may not be used",
         {{cache, std::int64_t{8}}},
         {{cache, NotOffered, L""}},
         L"\\config\\none",
         {{kCacheAvailableSetting, 0}}},
        {"provider without a cache",
         {{cache, std::int64_t{8}}},
         {{cache, Unknown, L""}},
         L"\\config\\none",
         {{kCacheMaximumSetting, 0}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        initial->PutBack();
        for (const auto& [setting, value] : c.settings) WriteSetting(setting, value);
        if (!c.readers) support_registry_put_long(L"\\config\\Parameters\\EnableDefaultReader", 0);
        support_registry_put_section(c.denied);
        const Denied denied(c.denied);
        const Dump stored = Stored();
        std::vector<Expected> found;
        for (const SettingProblem& problem : Read().Check(c.document)) {
            const bool list = problem.name.starts_with(L"algorithms.") && !problem.detail.empty();
            found.push_back({problem.name, problem.obstacle, list ? Text(L"*") : problem.detail});
        }
        EXPECT_EQ(found.size(), c.expected.size());
        for (size_t i = 0; i < std::min(found.size(), c.expected.size()); ++i) {
            EXPECT_EQ(found[i].name, c.expected[i].name);
            EXPECT_EQ(static_cast<int>(found[i].obstacle), static_cast<int>(c.expected[i].obstacle))
                << Narrow(found[i].name);
            EXPECT_EQ(found[i].detail, c.expected[i].detail) << Narrow(found[i].name);
        }
        EXPECT_EQ(FirstDifference(stored, Stored()), "") << "by reading and checking";
    }
}

// Each call of the system, the provider and the store fails once, alone and with all after it.
TEST_F(SettingsDocument, EveryFailureLeavesTheStoreAsItWas) {
    const SettingEntries changed = Changed();
    const Dump stored = Stored();
    std::optional<MachineSettings> settings;
    ApplyReport report;
    Dump written;
    std::size_t writes = 0;
    const auto prepare = [&] {
        initial->PutBack();
        settings.emplace(Read());
    };
    const auto inspect = [&](const Fault& fault) -> std::string {
        const Dump now = Stored();
        if (now != stored || report.Succeeded()) prepare();
        const std::string_view function = fault.function;
        const bool isWrite =
            function.find("_put_") != function.npos || function == "RegSetValueExW" || function == "CryptSetProvParam";
        if (fault.point == Fault::kNone) written = now;
        if (report.Succeeded()) return isWrite ? "a failed write reads as success" : FirstDifference(written, now);
        if (!report.written.empty()) return "says that something was written";
        if (!fault.onwards && !report.notPutBack.empty()) return "isn't put back";
        if (isWrite && report.failed[0].failure.code != fault.error) return "another code";
        writes += isWrite && !fault.onwards;
        return report.notPutBack.empty() ? FirstDifference(stored, now) : "";
    };
    prepare();
    FaultInjection(nullptr, FaultInjection::Support::Included)
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
    EXPECT_GT(writes, before.size()) << "some settings are written in several places";
}

TEST(ParameterIdentifier, IsTheSameInEveryLanguage) {
    using Bytes = std::vector<uint8_t>;
    const struct {
        const char* name;
        Bytes entry;
        const char* identifier;
    } cases[] = {
        {"empty", {}, ""},
        {"short", {1, 0, 1}, ""},
        {"text before the name", {8, 0, 1, 0, '1', '.', '2', 0, 'N', 0, 0, 0}, "1.2"},
        {"text with padding", {8, 0, 1, 0, '1', 0, 0, 0, 'N', 0}, "1"},
        {"other bytes", {6, 0, 1, 0, 0xAB, 0x01, 'N', 0}, "ab01"},
        {"bytes after the text", {8, 0, 1, 0, '1', 0, '2', 0, 'N', 0}, "31003200"},
        {"name at once", {4, 0, 1, 0, 'N', 0}, ""},
        {"name within the number", {2, 0, 1, 0, 'N', 0}, ""},
        {"name beyond the end", {0xFF, 0xFF, 1, 0, '7'}, "7"},
        {"string id", {5, 0, 0, 0, '4', '2'}, "42"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ReadParameterIdentifier(c.entry.data(), c.entry.size()), c.identifier) << c.name;
}

}  // namespace
