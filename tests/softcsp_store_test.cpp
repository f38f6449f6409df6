// The configuration store through the support library's exports, as every program meets it.
#include <windows.h>

#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "softcsp/kvsuprt.h"
#include "tests/support/Directory.h"
#include "tests/support/Store.h"

namespace {

const std::wstring kStore = L"SOFTWARE\\Kelvane\\SoftCSP\\Store";

std::wstring In(const std::wstring& scope, const wchar_t* rest) {
    return L"\\" + scope + L"\\Test" + rest;
}
const std::wstring kHome = In(L"config", L""), kText = kHome + L"\\Text", kNumber = kHome + L"\\In\\Number";

// What is stored at a path, read as programs do; nothing when a call fails.
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
    for (const auto& [scope, root] : {std::pair{L"config", HKEY_LOCAL_MACHINE},
                                      {L"global", HKEY_LOCAL_MACHINE},
                                      {L"local", HKEY_CURRENT_USER}}) {  // needs no rights to the machine's
        BOOL flag = 5;
        EXPECT_EQ(support_registry_put_long(In(scope, L"\\deep\\er\\Number").c_str(), -2), 0u);
        EXPECT_EQ(support_registry_put_bool(In(scope, L"\\Flag").c_str(), 7), 0u);
        EXPECT_EQ(support_registry_put_string(In(scope, L"\\Text").c_str(), L"Ключ \x2603"), 0u);
        EXPECT_EQ(Number(In(scope, L"\\DEEP\\er\\number")), -2);
        EXPECT_EQ(support_registry_get_bool(In(scope, L"\\flag").c_str(), &flag), 0u);
        EXPECT_EQ(flag, TRUE);
        EXPECT_EQ(Text(In(scope, L"\\TEXT")), L"Ключ \x2603");
        const std::wstring key = kStore + In(scope, L"");
        EXPECT_EQ(RegGetValueW(root, key.c_str(), L"Flag", RRF_RT_REG_DWORD, nullptr, nullptr, nullptr), 0) << scope;
    }
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
    struct {
        DWORD type, size;
        const wchar_t* bytes;
        std::optional<std::wstring> text;
        std::optional<LONG> number;
    } const table[] = {
        // Not terminated, with half a character, nothing at all, terminated early; numbers of any size; another type.
        {REG_SZ, 4, L"ab", L"ab", {}},       {REG_SZ, 5, L"abc", L"ab", {}}, {REG_SZ, 0, L"", L"", {}},
        {REG_SZ, 10, L"ab\0cd", L"ab", {}},  {REG_DWORD, 4, L"\1", {}, 1},   {REG_DWORD, 2, L"\1", {}, {}},
        {REG_DWORD, 8, L"\1\0\0\0", {}, {}}, {REG_BINARY, 4, L"ab", {}, {}},
    };
    for (const auto& row : table) {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, (kStore + kHome).c_str(), L"Text", row.type, row.bytes, row.size);
        EXPECT_EQ(Text(kText), row.text) << row.type << ' ' << row.size;
        EXPECT_EQ(Number(kText), row.number) << row.type << ' ' << row.size;
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
        DWORD rights = 0;
        HANDLE search = nullptr;
        for (const DWORD result :
             {support_registry_find(path, &search), support_registry_put_long(path, 1),
              support_registry_put_section(path, 0), support_registry_delete_param(path),
              support_registry_delete_section(path, 0), support_registry_check_access(path, &rights),
              support_registry_search_open(path, &search)})
            EXPECT_EQ(result, ERROR_BAD_PATHNAME) << (path != nullptr ? path : L"(null)");
    }
    EXPECT_EQ(support_registry_put_long(L"\\config", 1), ERROR_BAD_PATHNAME);  // a scope is no parameter
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
    EXPECT_EQ(rights(kNumber), 10u);
    {
        const Denied denied(kHome + L"\\in");
        EXPECT_EQ(rights(kNumber), 0u);
        for (const std::wstring& other : others) EXPECT_EQ(rights(other), 10u) << other;
        EXPECT_EQ(rights(kHome), DWORD{SUPPORT_RIGHT_WRITE});  // can't go while something beneath can't
        for (const DWORD result :
             {support_registry_put_long(kNumber.c_str(), 4), support_registry_put_string(kNumber.c_str(), L"x"),
              support_registry_put_section((kNumber + L"\\New").c_str(), 0),
              support_registry_delete_param(kNumber.c_str()), support_registry_delete_section(kHome.c_str(), 0)})
            EXPECT_EQ(result, ERROR_ACCESS_DENIED);
        EXPECT_EQ(RunTool(L"store put " + kNumber + L" 5"), 1u);
        EXPECT_EQ(Number(kNumber), 3);
    }
    EXPECT_EQ(rights(kNumber), 10u);
    EXPECT_EQ(RunTool(L"store put " + kNumber + L" 0x10"), 0u);
    EXPECT_EQ(Number(kNumber), 16);
}

TEST_F(SoftcspStore, SearchShowsTheSectionAsItWas) {
    ASSERT_EQ(support_registry_put_long((kHome + L"\\Sub\\Other").c_str(), 11), 0u);
    ASSERT_EQ(support_registry_put_long((kHome + L"\\Number").c_str(), 12), 0u);
    ASSERT_EQ(support_registry_put_string(kText.c_str(), L"12"), 0u);
    HANDLE search = nullptr, value = nullptr;
    ASSERT_EQ(support_registry_search_open(kHome.c_str(), &search), 0u);
    EXPECT_EQ(support_registry_find(kHome.c_str(), &value), ERROR_FILE_NOT_FOUND);  // a section is no parameter
    ASSERT_EQ(support_registry_find((kHome + L"\\NUMBER").c_str(), &value), 0u);
    ASSERT_EQ(support_registry_delete_section(kHome.c_str(), 0), 0u);
    std::vector<std::wstring> seen;
    do {
        wchar_t name[20] = {};
        DWORD length = 19;
        LONG number = 0;
        EXPECT_EQ(support_registry_value_name(value, &length, name), 0u);
        const DWORD result = support_registry_value_long(value, &number);
        seen.push_back(name + (result == 0 ? L"=" + std::to_wstring(number) : L"!" + std::to_wstring(result)));
        EXPECT_EQ(support_registry_value_free(value), 0u);
    } while (support_registry_search_next(search, &value) == 0);
    EXPECT_EQ(seen, (std::vector<std::wstring>{L"NUMBER=12", L"Sub!13", L"Number=12", L"Text!13"}));
    EXPECT_EQ(support_registry_search_next(search, &value), ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(support_registry_search_close(search), 0u);
}

}  // namespace
