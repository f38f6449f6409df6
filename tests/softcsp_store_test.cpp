// The support library through its exports, as every program uses it: the configuration store and the language.
#include <windows.h>

#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "softcsp/kvsuprt.h"
#include "tests/support/Store.h"

namespace {

const std::wstring kStore = L"SOFTWARE\\Kelvane\\SoftCSP\\Store";

std::wstring In(const std::wstring& scope, const wchar_t* rest) {
    return L"\\" + scope + L"\\Test" + rest;
}
const std::wstring kHome = In(L"config", L""), kText = kHome + L"\\Text", kNumber = kHome + L"\\In\\Number";

// What is stored at a path; nothing if the call fails, which must leave its output unchanged.
std::optional<LONG> Number(const std::wstring& path) {
    LONG number = 77;
    if (support_registry_get_long(path.c_str(), &number) == 0) return number;
    EXPECT_EQ(number, 77);
    return std::nullopt;
}
std::optional<std::wstring> Text(const std::wstring& path) {
    DWORD length = 0;
    if (support_registry_get_string(path.c_str(), &length, nullptr) != 0) return std::nullopt;
    std::wstring text(length, L'?');
    EXPECT_EQ(support_registry_get_string(path.c_str(), &length, text.data()), 0u);
    return text;
}

// The section "Test" is these tests' own in every scope.
struct SoftcspStore : testing::Test {
    ~SoftcspStore() override {
        for (const wchar_t* scope : {L"config", L"local", L"global"})
            support_registry_delete_section(In(scope, L"").c_str(), 0);
    }
};

TEST_F(SoftcspStore, KeepsNumbersFlagsAndTextsInEveryScope) {
    for (const wchar_t* scope : {L"config", L"global", L"local"}) {
        SCOPED_TRACE(testing::PrintToString(scope));
        BOOL flag = 5;
        EXPECT_EQ(support_registry_put_long(In(scope, L"\\deep\\er\\Number").c_str(), -2), 0u);
        EXPECT_EQ(support_registry_put_bool(In(scope, L"\\Flag").c_str(), 7), 0u);
        EXPECT_EQ(support_registry_put_string(In(scope, L"\\Text").c_str(), L"Ключ \x2603"), 0u);
        EXPECT_EQ(Number(In(scope, L"\\DEEP\\er\\number")), -2);
        EXPECT_EQ(support_registry_get_bool(In(scope, L"\\flag").c_str(), &flag), 0u);
        EXPECT_EQ(flag, TRUE);
        EXPECT_EQ(Text(In(scope, L"\\TEXT")), L"Ключ \x2603");
    }
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, (kStore + In(L"local", L"")).c_str(), 0, KEY_READ, &key), 0)
        << "the user's needs no rights to the machine's";
    RegCloseKey(key);
    EXPECT_EQ(support_registry_delete_section(In(L"LOCAL", L"").c_str(), 0), 0u);
    EXPECT_FALSE(Text(In(L"local", L"\\Text")));
    EXPECT_TRUE(Text(In(L"global", L"\\Text")));
    EXPECT_EQ(support_registry_delete_param(kText.c_str()), 0u);
    EXPECT_EQ(support_registry_delete_param(kText.c_str()), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(support_registry_delete_section(kText.c_str(), 0), ERROR_FILE_NOT_FOUND);
}

TEST_F(SoftcspStore, FollowsTheLengthRule) {
    ASSERT_EQ(support_registry_put_string(kText.c_str(), L"abcde"), 0u);
    for (const DWORD capacity : {0u, 4u, 5u, 9u}) {
        wchar_t buffer[10] = L"......";
        DWORD length = capacity;
        const DWORD result = support_registry_get_string(kText.c_str(), &length, buffer);
        EXPECT_EQ(result, capacity < 5 ? ERROR_MORE_DATA : 0u) << capacity;
        EXPECT_EQ(length, 5u) << capacity;
        EXPECT_STREQ(buffer, capacity < 5 ? L"......" : L"abcde") << capacity;
    }
}

TEST_F(SoftcspStore, DistrustsWhatIsStored) {
    const struct {
        const char* what;
        DWORD type, size;
        const wchar_t* bytes;
        std::optional<std::wstring> text;
        std::optional<LONG> number;
    } cases[] = {{"not terminated", REG_SZ, 4, L"ab", L"ab", {}},
                 {"half a character", REG_SZ, 5, L"abc", L"ab", {}},
                 {"nothing", REG_SZ, 0, L"", L"", {}},
                 {"terminated early", REG_SZ, 10, L"ab\0cd", L"ab", {}},
                 {"a number", REG_DWORD, 4, L"\1", {}, 1},
                 {"two bytes", REG_DWORD, 2, L"\1", {}, {}},
                 {"eight bytes", REG_DWORD, 8, L"\1\0\0\0", {}, {}},
                 {"another type", REG_BINARY, 4, L"ab", {}, {}}};
    for (const auto& c : cases) {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, (kStore + kHome).c_str(), L"Text", c.type, c.bytes, c.size);
        EXPECT_EQ(Text(kText), c.text) << c.what;
        EXPECT_EQ(Number(kText), c.number) << c.what;
    }
}

TEST_F(SoftcspStore, RefusesMalformedPaths) {
    const std::wstring longest = kHome + L"\\" + std::wstring(255, L'x');
    EXPECT_EQ(support_registry_put_section(longest.c_str(), 0), 0u);
    std::wstring deep = L"\\config", tooLong = longest + L"x";
    while (deep.size() <= 4096) deep += L"\\part";
    const wchar_t* const paths[] = {nullptr,          L"",           L"config\\x",    L"\\",       L"\\\\config\\x",
                                    L"\\config\\\\x", L"\\config\\", tooLong.c_str(), deep.c_str()};
    for (const wchar_t* path : paths) {
        SCOPED_TRACE(testing::PrintToString(path));
        DWORD rights = 0;
        HANDLE search = nullptr;
        for (const DWORD result :
             {support_registry_find(path, &search), support_registry_put_long(path, 1),
              support_registry_put_section(path, 0), support_registry_delete_param(path),
              support_registry_delete_section(path, 0), support_registry_check_access(path, &rights),
              support_registry_search_open(path, &search)})
            EXPECT_EQ(result, ERROR_BAD_PATHNAME);
    }
    EXPECT_EQ(support_registry_put_long(L"\\config", 1), ERROR_BAD_PATHNAME) << "a scope is no parameter";
}

TEST_F(SoftcspStore, TakesRightsAwayAndGivesThemBack) {
    const std::wstring others[] = {kHome + L"\\Inner", kHome + L"\\I"};  // only begin alike
    ASSERT_EQ(support_registry_put_long(kNumber.c_str(), 3), 0u);
    for (const std::wstring& other : others) ASSERT_EQ(support_registry_put_long(other.c_str(), 3), 0u);
    const auto rights = [](const std::wstring& path) {
        DWORD asked = SUPPORT_RIGHT_WRITE | SUPPORT_RIGHT_REMOVE;
        EXPECT_EQ(support_registry_check_access(path.c_str(), &asked), 0u);
        return asked;
    };
    constexpr DWORD kBoth = SUPPORT_RIGHT_WRITE | SUPPORT_RIGHT_REMOVE;
    EXPECT_EQ(rights(kNumber), kBoth);
    {
        const Denied denied(kHome + L"\\in");
        EXPECT_EQ(rights(kNumber), 0u);
        for (const std::wstring& other : others) EXPECT_EQ(rights(other), kBoth) << testing::PrintToString(other);
        EXPECT_EQ(rights(kHome), DWORD{SUPPORT_RIGHT_WRITE}) << "what is beneath cannot be removed";
        for (const DWORD result :
             {support_registry_put_long(kNumber.c_str(), 4), support_registry_put_string(kNumber.c_str(), L"x"),
              support_registry_put_section((kNumber + L"\\New").c_str(), 0),
              support_registry_delete_param(kNumber.c_str()), support_registry_delete_section(kHome.c_str(), 0)})
            EXPECT_EQ(result, ERROR_ACCESS_DENIED);
        EXPECT_EQ(Number(kNumber), 3);
    }
    EXPECT_EQ(rights(kNumber), kBoth);
}

TEST_F(SoftcspStore, SearchShowsTheSectionAsItWas) {
    ASSERT_EQ(support_registry_put_long((kHome + L"\\Sub\\Other").c_str(), 11), 0u);
    ASSERT_EQ(support_registry_put_long((kHome + L"\\Number").c_str(), 12), 0u);
    HANDLE search = nullptr, value = nullptr;
    ASSERT_EQ(support_registry_search_open(kHome.c_str(), &search), 0u);
    ASSERT_EQ(support_registry_delete_section(kHome.c_str(), 0), 0u);
    std::vector<std::wstring> seen;
    while (support_registry_search_next(search, &value) == 0) {
        wchar_t name[20] = {};
        DWORD length = 19;
        EXPECT_EQ(support_registry_value_name(value, &length, name), 0u);
        EXPECT_EQ(support_registry_value_free(value), 0u);
        seen.emplace_back(name);
    }
    EXPECT_EQ(seen, (std::vector<std::wstring>{L"Sub", L"Number"}));
    EXPECT_EQ(support_registry_search_next(search, &value), ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(support_registry_search_close(search), 0u);
}

TEST(SoftcspText, LanguageIsTheUsersThenTheMachinesThenTheSystems) {
    const StoredNumber local(L"\\local\\Language", 0), config(L"\\config\\Language", 0);
    const DWORD system = PRIMARYLANGID(GetSystemDefaultUILanguage()) == LANG_RUSSIAN ? 1049 : 1033;
    const struct {
        std::optional<long> local, config;
        DWORD language;
    } cases[] = {{1049, 1033, 1049}, {1033, 1049, 1033}, {{}, 1049, 1049},  {{}, 1033, 1033},
                 {1058, 1033, 1033}, {1058, 1049, 1049}, {1058, 9, system}, {{}, {}, system}};
    for (const auto& c : cases) {
        local.Set(c.local);
        config.Set(c.config);
        EXPECT_EQ(support_wnd_language_update(), 0u);
        EXPECT_EQ(support_wnd_language_get(), c.language)
            << "user " << c.local.value_or(0) << ", machine " << c.config.value_or(0);
    }
    local.Set(system == 1049 ? 1033 : 1049);
    EXPECT_EQ(support_wnd_language_get(), system) << "kept until it is updated or done";
    EXPECT_EQ(support_wnd_language_done(), 0u);
    EXPECT_NE(support_wnd_language_get(), system);
}

}  // namespace
