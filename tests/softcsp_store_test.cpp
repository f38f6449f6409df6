// The support library's configuration store through its exports, as every program uses it.

#include "softcsp/kvsuprt.h"
#include "tests/support/Store.h"

namespace {

const std::wstring kHome = L"\\config\\Test", kText = kHome + L"\\Text", kNumber = kHome + L"\\In\\Number";
const std::wstring kKey = softcsp::kStoreKey + kHome;

std::optional<std::wstring> Text(const std::wstring& path) {
    DWORD length = 0;
    if (support_registry_get_string(path.c_str(), &length, nullptr) != 0) return std::nullopt;
    std::wstring text(length, L'?');
    EXPECT_EQ(support_registry_get_string(path.c_str(), &length, text.data()), 0u);
    return text;
}

struct SoftcspStore : testing::Test {
    ~SoftcspStore() override { support_registry_delete_section(kHome.c_str(), 0); }
};

TEST_F(SoftcspStore, FollowsTheLengthRule) {
    ASSERT_EQ(support_registry_put_string(kText.c_str(), L"Ключ\x2603"), 0u);
    EXPECT_EQ(Text(L"\\CONFIG\\test\\TEXT"), L"Ключ\x2603");
    EXPECT_EQ(support_registry_put_long(L"\\local\\Test\\Number", 1), 0u);
    EXPECT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, (softcsp::kStoreKey + std::wstring(L"\\local\\Test")).c_str()), 0);
    for (const DWORD capacity : {4u, 5u}) {
        wchar_t buffer[10] = L"......";
        DWORD length = capacity;
        EXPECT_EQ(support_registry_get_string(kText.c_str(), &length, buffer), capacity < 5 ? ERROR_MORE_DATA : 0u);
        EXPECT_EQ(length, 5u) << capacity;
        EXPECT_STREQ(buffer, capacity < 5 ? L"......" : L"Ключ\x2603");
    }
}

TEST_F(SoftcspStore, DistrustsWhatIsStored) {
    const struct {
        const char* what;
        DWORD type, size;
        const wchar_t* bytes;
        std::optional<std::wstring> text;
        DWORD number = ERROR_INVALID_DATA;
    } cases[] = {{"half a character", REG_SZ, 5, L"abc", L"ab"},
                 {"terminated early", REG_SZ, 10, L"ab\0cd", L"ab"},
                 {"eight bytes", REG_DWORD, 8, L"\1\0\0\0", {}},
                 {"another type", REG_BINARY, 4, L"ab", {}},
                 {"a number", REG_DWORD, 4, L"\1", {}, 0}};
    for (const auto& c : cases) {
        LONG number = 0;
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey.c_str(), L"Text", c.type, c.bytes, c.size);
        EXPECT_EQ(Text(kText), c.text) << c.what;
        EXPECT_EQ(support_registry_get_long(kText.c_str(), &number), c.number) << c.what;
    }
}

TEST_F(SoftcspStore, RefusesMalformedPaths) {
    const std::wstring longest = kHome + L"\\" + std::wstring(255, L'x'), tooLong = longest + L"x";
    EXPECT_EQ(support_registry_put_section(longest.c_str(), 0), 0u);
    std::wstring deep = L"\\config";
    while (deep.size() <= 4096) deep += L"\\part";
    for (const wchar_t* path : {L"", L"config\\x", L"\\config\\\\x", L"\\config", tooLong.c_str(), deep.c_str()})
        EXPECT_EQ(support_registry_put_long(path, 1), ERROR_BAD_PATHNAME) << testing::PrintToString(path);
}

TEST_F(SoftcspStore, TakesRightsAwayAndGivesThemBack) {
    constexpr DWORD kBoth = SUPPORT_RIGHT_WRITE | SUPPORT_RIGHT_REMOVE;
    const std::wstring other = kHome + L"\\Inner";  // only begins alike
    ASSERT_EQ(support_registry_put_long(kNumber.c_str(), 3), 0u);
    ASSERT_EQ(support_registry_put_long(other.c_str(), 3), 0u);
    const auto rights = [](const std::wstring& path) {
        DWORD asked = kBoth;
        EXPECT_EQ(support_registry_check_access(path.c_str(), &asked), 0u);
        return asked;
    };
    {
        const Denied denied(kHome + L"\\in");
        EXPECT_EQ(rights(kNumber), 0u);
        EXPECT_EQ(rights(other), kBoth);
        EXPECT_EQ(rights(kHome), DWORD{SUPPORT_RIGHT_WRITE}) << "what is beneath cannot be removed";
        for (const DWORD result :
             {support_registry_put_long(kNumber.c_str(), 4), support_registry_put_string(kNumber.c_str(), L"x"),
              support_registry_put_section((kNumber + L"\\New").c_str(), 0),
              support_registry_delete_param(kNumber.c_str()), support_registry_delete_section(kHome.c_str(), 0)})
            EXPECT_EQ(result, ERROR_ACCESS_DENIED);
    }
    EXPECT_EQ(rights(kNumber), kBoth);
}

}  // namespace
