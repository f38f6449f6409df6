// The configuration store through the support library's exports, as every program meets it.
#include "tests/support/SoftcspLibrary.h"

#include <optional>
#include <vector>

namespace {

using softcsp_tests::Library;
using softcsp_tests::Tool;

constexpr wchar_t kStore[] = L"SOFTWARE\\Kelvane\\SoftCSP\\Store";

// Gives each test a section of its own in the three scopes, and takes it away.
class SoftcspStore : public testing::Test {
  protected:
    void SetUp() override { ASSERT_NE(lib.module, nullptr); }
    void TearDown() override {
        for (const wchar_t* scope : {L"\\config", L"\\local", L"\\global"})
            lib.registry_delete_section((scope + home).c_str(), 0);
    }

    std::wstring In(const wchar_t* scope, const wchar_t* rest) const { return scope + home + rest; }
    std::wstring Config(const wchar_t* rest) const { return In(L"\\config", rest); }

    // The text at a path by the two calls that programs make; nothing when either fails.
    std::optional<std::wstring> Text(const std::wstring& path) const {
        DWORD length = 0;
        if (lib.registry_get_string(path.c_str(), &length, nullptr) != 0) return std::nullopt;
        std::wstring text(length, L'?');
        if (lib.registry_get_string(path.c_str(), &length, text.data()) != 0) return std::nullopt;
        return text;
    }

    // Puts a value into the registry as no export would.
    void StoreRaw(const wchar_t* name, DWORD type, const void* bytes, DWORD size) const {
        const std::wstring key = kStore + Config(L"");
        ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, type, bytes, size), ERROR_SUCCESS);
    }

    Library lib;
    std::wstring home = [] {
        const std::string name = testing::UnitTest::GetInstance()->current_test_info()->name();
        return L"\\Test" + std::wstring(name.begin(), name.end());
    }();
};

TEST_F(SoftcspStore, KeepsNumbersFlagsAndTextsInEveryScope) {
    for (const wchar_t* scope : {L"\\config", L"\\local", L"\\global"}) {
        EXPECT_EQ(lib.registry_put_long(In(scope, L"\\deep\\er\\Number").c_str(), -2), 0u);
        EXPECT_EQ(lib.registry_put_bool(In(scope, L"\\Flag").c_str(), 7), 0u);
        EXPECT_EQ(lib.registry_put_string(In(scope, L"\\Text").c_str(), L"Ключ \x2603"), 0u);
        LONG number = 0;
        BOOL flag = 5;
        EXPECT_EQ(lib.registry_get_long(In(scope, L"\\DEEP\\er\\number").c_str(), &number), 0u);
        EXPECT_EQ(lib.registry_get_bool(In(scope, L"\\flag").c_str(), &flag), 0u);
        EXPECT_EQ(number, -2);
        EXPECT_EQ(flag, TRUE);
        EXPECT_EQ(Text(In(scope, L"\\TEXT")), L"Ключ \x2603");
    }
    EXPECT_EQ(Text(In(L"\\CONFIG", L"\\Text")), L"Ключ \x2603");
    // The user's scope must not need rights to the machine's.
    for (const auto& [root, scope] : {std::pair{HKEY_CURRENT_USER, L"\\local"}, {HKEY_LOCAL_MACHINE, L"\\config"}})
        EXPECT_EQ(
            RegGetValueW(root, (kStore + In(scope, L"")).c_str(), L"Flag", RRF_RT_REG_DWORD, nullptr, nullptr, nullptr),
            ERROR_SUCCESS)
            << scope;
    EXPECT_EQ(lib.registry_delete_section(In(L"\\LOCAL", L"").c_str(), 0), 0u);
    EXPECT_EQ(Text(In(L"\\local", L"\\Text")), std::nullopt);
    EXPECT_NE(Text(In(L"\\global", L"\\Text")), std::nullopt);
    EXPECT_EQ(lib.registry_delete_param(Config(L"\\Text").c_str()), 0u);
    EXPECT_EQ(lib.registry_delete_param(Config(L"\\Text").c_str()), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(lib.registry_delete_section(Config(L"\\none").c_str(), 0), ERROR_FILE_NOT_FOUND);
}

TEST_F(SoftcspStore, FollowsTheLengthRule) {
    ASSERT_EQ(lib.registry_put_string(Config(L"\\Text").c_str(), L"abcde"), 0u);
    struct {
        DWORD capacity, result;
        const wchar_t* text;
    } const table[] = {
        {0, ERROR_MORE_DATA, L"......"}, {4, ERROR_MORE_DATA, L"......"}, {5, 0, L"abcde"}, {9, 0, L"abcde"}};
    for (const auto& row : table) {
        wchar_t buffer[10] = L"......";
        DWORD length = row.capacity;
        EXPECT_EQ(lib.registry_get_string(Config(L"\\Text").c_str(), &length, buffer), row.result) << row.capacity;
        EXPECT_EQ(length, 5u) << row.capacity;
        EXPECT_STREQ(buffer, row.text) << row.capacity;
    }
    EXPECT_EQ(lib.registry_get_string(Config(L"\\Text").c_str(), nullptr, nullptr), ERROR_INVALID_PARAMETER);
}

TEST_F(SoftcspStore, DistrustsWhatIsStored) {
    struct {
        const wchar_t* what;
        DWORD type, size;
        const void* bytes;
        std::optional<std::wstring> text;
    } const table[] = {
        {L"not terminated", REG_SZ, 4, L"ab", L"ab"},
        {L"odd size", REG_SZ, 5, L"abc", L"ab"},
        {L"one byte", REG_SZ, 1, L"a", L""},
        {L"no bytes", REG_SZ, 0, L"", L""},
        {L"ends early", REG_SZ, 10, L"ab\0cd", L"ab"},
        {L"binary", REG_BINARY, 4, L"ab", std::nullopt},
        {L"number", REG_DWORD, 4, L"ab", std::nullopt},
    };
    for (const auto& row : table) {
        StoreRaw(L"Text", row.type, row.bytes, row.size);
        EXPECT_EQ(Text(Config(L"\\Text")), row.text) << row.what;
    }
    const DWORD numbers[] = {1, 2};
    for (const auto& [type, size] :
         {std::pair<DWORD, DWORD>{REG_DWORD, 2}, {REG_DWORD, 8}, {REG_BINARY, 4}, {REG_SZ, 4}}) {
        StoreRaw(L"Number", type, numbers, size);
        LONG number = 77;
        BOOL flag = 77;
        EXPECT_EQ(lib.registry_get_long(Config(L"\\Number").c_str(), &number), ERROR_INVALID_DATA) << type << size;
        EXPECT_EQ(lib.registry_get_bool(Config(L"\\Number").c_str(), &flag), ERROR_INVALID_DATA) << type << size;
        EXPECT_EQ(number, 77);
        EXPECT_EQ(flag, 77);
    }
}

TEST_F(SoftcspStore, RefusesMalformedPaths) {
    const std::wstring longest = Config(L"\\") + std::wstring(255, L'x');
    EXPECT_EQ(lib.registry_put_section(longest.c_str(), 0), 0u);
    std::wstring deep = L"\\config";
    while (deep.size() <= 4096) deep += L"\\part";
    const std::wstring bad[] = {L"",           L"config\\x",   L"\\", L"\\\\config\\x", L"\\config\\\\x",
                                L"\\config\\", longest + L"x", deep,  L"\\config\\x\\"};
    std::vector<const wchar_t*> paths = {nullptr};
    for (const std::wstring& path : bad) paths.push_back(path.c_str());
    for (const wchar_t* path : paths) {
        SCOPED_TRACE(path != nullptr ? path : L"(null)");
        LONG number = 77;
        BOOL flag = 77;
        DWORD length = 77;
        HANDLE handle = nullptr;
        for (const DWORD result :
             {lib.registry_get_string(path, &length, nullptr), lib.registry_put_string(path, L"x"),
              lib.registry_get_long(path, &number), lib.registry_put_long(path, 1), lib.registry_get_bool(path, &flag),
              lib.registry_put_bool(path, TRUE), lib.registry_put_section(path, 0), lib.registry_delete_param(path),
              lib.registry_delete_section(path, 0), lib.registry_check_access(path, &length),
              lib.registry_search_open(path, &handle), lib.registry_find(path, &handle)})
            EXPECT_EQ(result, ERROR_BAD_PATHNAME);
        EXPECT_EQ(length, 77u);
        EXPECT_EQ(handle, nullptr);
    }
    EXPECT_EQ(lib.registry_put_long(L"\\config", 1), ERROR_BAD_PATHNAME);  // a scope is no parameter
}

TEST_F(SoftcspStore, TakesRightsAwayAndGivesThemBack) {
    ASSERT_EQ(lib.registry_put_long(Config(L"\\In\\Number").c_str(), 3), 0u);
    ASSERT_EQ(lib.registry_put_long(Config(L"\\Inner").c_str(), 3), 0u);
    ASSERT_EQ(lib.registry_put_section(Config(L"\\I").c_str(), 0), 0u);
    const auto rights = [this](const wchar_t* rest, DWORD asked) {
        EXPECT_EQ(lib.registry_check_access(Config(rest).c_str(), &asked), 0u) << rest;
        return asked;
    };
    DWORD asked = 2;
    EXPECT_EQ(lib.registry_check_access(Config(L"\\none").c_str(), &asked), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(rights(L"\\In", 2), 2u);
    EXPECT_EQ(rights(L"\\In", 8), 8u);

    ASSERT_EQ(Tool(L"store deny " + Config(L"\\in")), 0u);
    EXPECT_EQ(rights(L"\\In", 2 | 8), 0u);
    EXPECT_EQ(rights(L"\\In\\Number", 2 | 8), 0u);
    EXPECT_EQ(rights(L"\\Inner", 2 | 8), 10u);  // only begin alike
    EXPECT_EQ(rights(L"\\I", 2 | 8), 10u);
    EXPECT_EQ(rights(L"", 2 | 8), 2u);  // can't go while something beneath can't
    const std::wstring number = Config(L"\\In\\Number");
    for (const DWORD result :
         {lib.registry_put_long(number.c_str(), 4), lib.registry_put_bool(number.c_str(), 1),
          lib.registry_put_string(number.c_str(), L"x"), lib.registry_delete_param(number.c_str()),
          lib.registry_put_section(Config(L"\\In\\New").c_str(), 0),
          lib.registry_delete_section(Config(L"\\In").c_str(), 0), lib.registry_delete_section(Config(L"").c_str(), 0)})
        EXPECT_EQ(result, ERROR_ACCESS_DENIED);
    EXPECT_EQ(Tool(L"store put " + number + L" 5"), 1u);
    LONG found = 0;
    EXPECT_EQ(lib.registry_get_long(number.c_str(), &found), 0u);
    EXPECT_EQ(found, 3);

    ASSERT_EQ(Tool(L"store allow " + Config(L"\\In")), 0u);
    EXPECT_EQ(rights(L"\\In\\Number", 2 | 8), 10u);
    EXPECT_EQ(Tool(L"store put " + number + L" 0x10"), 0u);
    EXPECT_EQ(lib.registry_get_long(number.c_str(), &found), 0u);
    EXPECT_EQ(found, 16);
}

TEST_F(SoftcspStore, SearchShowsTheSectionAsItWas) {
    ASSERT_EQ(lib.registry_put_section(Config(L"\\Sub").c_str(), 0), 0u);
    ASSERT_EQ(lib.registry_put_long(Config(L"\\Number").c_str(), 12), 0u);
    ASSERT_EQ(lib.registry_put_string(Config(L"\\Text").c_str(), L"12"), 0u);
    HANDLE search = nullptr;
    EXPECT_EQ(lib.registry_search_open(Config(L"\\none").c_str(), &search), ERROR_FILE_NOT_FOUND);
    ASSERT_EQ(lib.registry_search_open(Config(L"").c_str(), &search), 0u);
    ASSERT_EQ(lib.registry_delete_section(Config(L"").c_str(), 0), 0u);

    std::vector<std::wstring> seen;
    HANDLE value = nullptr;
    while (lib.registry_search_next(search, &value) == 0) {
        wchar_t name[20] = {};
        DWORD length = 19;
        LONG number = 0;
        EXPECT_EQ(lib.registry_value_name(value, &length, name), 0u);
        const DWORD result = lib.registry_value_long(value, &number);
        seen.push_back(name + (result == 0 ? L"=" + std::to_wstring(number) : L"!" + std::to_wstring(result)));
        EXPECT_EQ(lib.registry_value_free(value), 0u);
    }
    EXPECT_EQ(seen, (std::vector<std::wstring>{L"Sub!13", L"Number=12", L"Text!13"}));
    EXPECT_EQ(lib.registry_search_next(search, &value), ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(lib.registry_search_close(search), 0u);

    ASSERT_EQ(lib.registry_put_long(Config(L"\\Number").c_str(), 13), 0u);
    EXPECT_EQ(lib.registry_find(Config(L"").c_str(), &value), ERROR_FILE_NOT_FOUND);  // a section is no parameter
    ASSERT_EQ(lib.registry_find(Config(L"\\number").c_str(), &value), 0u);
    LONG number = 0;
    EXPECT_EQ(lib.registry_value_long(value, &number), 0u);
    EXPECT_EQ(number, 13);
    EXPECT_EQ(lib.registry_value_free(value), 0u);
}

}  // namespace
