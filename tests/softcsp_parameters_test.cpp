// What the provider tells and lets be set about itself, and where it asks the user.
#include "tests/support/Provider.h"

#include <commctrl.h>

#include <gtest/gtest.h>

#include <cstring>

#include "softcsp/dialogs/resource.h"
#include "tests/support/ModalScript.h"
#include "tests/support/Store.h"

namespace {

constexpr DWORD kAskOnly = CRYPT_VERIFYCONTEXT | 0x4000;

TestBytes Parameter(HCRYPTPROV provider, DWORD parameter, DWORD flags = 0) {
    TestBytes value(600);
    auto size = static_cast<DWORD>(value.size());
    if (!CryptGetProvParam(provider, parameter, value.data(), &size, flags)) return {};
    value.resize(size);
    return value;
}

template <std::size_t Count>
TestBytes Words(const DWORD (&words)[Count]) {
    TestBytes bytes(sizeof words);
    std::memcpy(bytes.data(), words, sizeof words);
    return bytes;
}

TEST(SoftcspParameters, OfferSetsAndKeepTheMachinesChoice) {
    const LoadedProvider held;
    CCryptProvContext context, other;
    ASSERT_TRUE(context.Acquire(kAskOnly, nullptr, nullptr, 75) && other.Acquire(kAskOnly, nullptr, nullptr, 71));
    for (const DWORD value : {92, 93, 94, 95}) {
        const DWORD list = value + 11;
        std::vector<TestBytes> entries;
        for (TestBytes entry = Parameter(context.Get(), list, CRYPT_FIRST); !entry.empty();
             entry = Parameter(context.Get(), list))
            entries.push_back(entry);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_MORE_ITEMS));
        ASSERT_FALSE(entries.empty()) << value;
        EXPECT_EQ(Parameter(context.Get(), value), entries.front()) << value;
        const TestBytes untouched = Parameter(other.Get(), value);
        ASSERT_EQ(ErrorOf(CryptSetProvParam(context.Get(), value, entries.back().data(), 0)), 0);
        CCryptProvContext later;
        ASSERT_TRUE(later.Acquire(kAskOnly, nullptr, nullptr, 75));
        EXPECT_EQ(Parameter(later.Get(), value), entries.back()) << value;
        EXPECT_EQ(Parameter(other.Get(), value), untouched) << value;
        {
            const Denied denied(L"\\config\\oid");
            EXPECT_EQ(ErrorOf(CryptSetProvParam(context.Get(), value, entries.front().data(), 0)), ERROR_ACCESS_DENIED);
        }
        entries.front().at(4) ^= 1;  // of the identifier
        EXPECT_EQ(ErrorOf(CryptSetProvParam(context.Get(), value, entries.front().data(), 0)), NTE_BAD_DATA);
    }
    RunTool(L"store del \\config\\oid");
}

TEST(SoftcspParameters, AreSetForTheMachineByThoseWhoMay) {
    const LoadedProvider held;
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(kAskOnly, nullptr, nullptr, 75));
    const auto set = [&](DWORD parameter, DWORD number) {
        return ErrorOf(CryptSetProvParam(context.Get(), parameter, reinterpret_cast<const BYTE*>(&number), 0));
    };
    const auto tool = [](const wchar_t* setting) { EXPECT_EQ(RunTool(L"set " + std::wstring(setting)), 0u); };
    EXPECT_EQ(Parameter(context.Get(), 115), Words({0, 64, 1}));
    EXPECT_EQ(Parameter(context.Get(), 143), Words({2, 1}));
    EXPECT_EQ(set(115, 65), NTE_BAD_DATA);
    EXPECT_EQ(set(115, 12), 0);
    EXPECT_EQ(set(143, 3), NTE_BAD_DATA);
    EXPECT_EQ(set(143, 1), 0);
    EXPECT_EQ(Parameter(context.Get(), 115), Words({12, 64, 1}));
    EXPECT_EQ(Parameter(context.Get(), 143), Words({1, 1}));
    {
        const Denied denied(L"\\config\\Provider");
        EXPECT_EQ(set(115, 1), ERROR_ACCESS_DENIED);
        EXPECT_EQ(set(143, 2), ERROR_ACCESS_DENIED);
    }
    tool(L"DhMayChange=0");
    EXPECT_EQ(set(143, 2), ERROR_ACCESS_DENIED);
    tool(L"DhMayChange=2");
    tool(L"CacheAvailable=2");
    DWORD size = 0;
    for (const DWORD hidden : {115, 143})
        EXPECT_EQ(ErrorOf(CryptGetProvParam(context.Get(), hidden, nullptr, &size, 0)), NTE_BAD_TYPE);
    for (const wchar_t* setting : {L"DhMayChange=", L"CacheAvailable=", L"Cache=", L"DhControl="}) tool(setting);
}

// The row that is called so is chosen; then OK.
ModalScript::Step Choose(const wchar_t* text) {
    return [=](HWND dialog) {
        const HWND list = GetDlgItem(dialog, IDC_LIST);
        LVFINDINFOW wanted{};
        wanted.flags = LVFI_STRING;
        wanted.psz = text;
        const int row = ListView_FindItem(list, -1, &wanted);
        EXPECT_GE(row, 0);
        ListView_SetItemState(list, row, LVIS_SELECTED, LVIS_SELECTED);
        Ui::Click(dialog, IDOK);
    };
}

TEST(SoftcspParameters, LetTheUserChooseContainerAndCarrier) {
    const LoadedProvider held;
    RunTool(L"carrier remove CHOSEN");
    ASSERT_EQ(RunTool(L"carrier add CHOSEN"), 0u);
    ASSERT_EQ(RunTool(L"set NewPassword=0"), 0u);
    { TestContainer cleaned(L"\\\\.\\CHOSEN\\Выбранный"); }
    CCryptProvContext made, choosing;
    {
        ModalScript script({Choose(L"CHOSEN")});
        EXPECT_TRUE(made.Acquire(CRYPT_NEWKEYSET, L"Выбранный", nullptr, 75));
    }
    ASSERT_TRUE(choosing.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, 75));
    {
        ModalScript script({Choose(L"Выбранный")});
        EXPECT_EQ(Parameter(choosing.Get(), 110), Parameter(made.Get(), 111));
        EXPECT_FALSE(Parameter(made.Get(), 111).empty());
    }
    {
        ModalScript script({[](HWND dialog) { Ui::Click(dialog, IDCANCEL); }});
        EXPECT_TRUE(Parameter(choosing.Get(), 110).empty());
        EXPECT_EQ(GetLastError(), DWORD{ERROR_CANCELLED});
    }
    // The buffer must have room for every name before the user is asked.
    DWORD room = 5;
    BYTE small[5];
    EXPECT_EQ(ErrorOf(CryptGetProvParam(choosing.Get(), 110, small, &room, 0)), ERROR_MORE_DATA);
    EXPECT_GE(room, Parameter(made.Get(), 111).size());
    made.Release();
    EXPECT_TRUE(made.Acquire(CRYPT_DELETEKEYSET | CRYPT_SILENT, L"\\\\.\\CHOSEN\\Выбранный", nullptr, 75));
    RunTool(L"set NewPassword=");
    RunTool(L"carrier remove CHOSEN");
    DWORD size = 600;
    BYTE name[600];
    ASSERT_TRUE(choosing.Acquire(CRYPT_VERIFYCONTEXT | CRYPT_SILENT, nullptr, nullptr, 75));
    EXPECT_EQ(ErrorOf(CryptGetProvParam(choosing.Get(), 110, name, &size, 0)), NTE_SILENT_CONTEXT);
}

TEST(SoftcspParameters, AreReadInAContextForOneCarrier) {
    const LoadedProvider held;
    RunTool(L"carrier remove CHOSEN");
    ASSERT_EQ(RunTool(L"carrier add CHOSEN"), 0u);
    const TestContainer there(L"\\\\.\\CHOSEN\\there"), elsewhere(L"\\\\.\\REGISTRY\\elsewhere");
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(CRYPT_VERIFYCONTEXT, L"\\\\.\\CHOSEN\\", nullptr, 75));
    EXPECT_EQ(Parameter(context.Get(), PP_ENUMCONTAINERS, CRYPT_FIRST).size(), sizeof "there");
    EXPECT_TRUE(Parameter(context.Get(), PP_ENUMCONTAINERS).empty());
    EXPECT_FALSE(context.Acquire(CRYPT_VERIFYCONTEXT, L"\\\\.\\NOWHERE\\", nullptr, 75));
    EXPECT_EQ(static_cast<HRESULT>(GetLastError()), NTE_KEYSET_NOT_DEF);
    // The only key size has no increment. A missing default container is no error on demand.
    constexpr DWORD optional = 0x80;  // CRYPT_DEFAULT_CONTAINER_OPTIONAL
    ASSERT_TRUE(context.Acquire(optional | CRYPT_SILENT, nullptr, nullptr, 75));
    for (const DWORD increment : {PP_KEYX_KEYSIZE_INC, PP_SIG_KEYSIZE_INC})
        EXPECT_EQ(Parameter(context.Get(), increment), Words({0}));
    RunTool(L"carrier remove CHOSEN");
}

TEST(SoftcspParameters, AreCountedForTestsAndBenchmarks) {
    // A record is noticed when the library is loaded, and one that has hashed stays loaded.
    if (GetModuleHandleW(L"kvcsp.dll") != nullptr) GTEST_SKIP() << "only as the first test of a process";
    const std::wstring program = L"softcsp_key_tests.exe";
    ASSERT_EQ(RunTool(L"calls " + program + L" --start"), 0u);
    std::string told;
    {
        const LoadedProvider fresh;
        CCryptProvContext context;
        UniqueCryptHash hash;
        ASSERT_TRUE(context.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, 75));
        ASSERT_TRUE(CryptCreateHash(context.Get(), 0x801E, 0, 0, hash.put()));
        EXPECT_EQ(RunTool(L"calls " + program, &told), 0u);
    }
    EXPECT_EQ(told, "CPAcquireContext 1\nCPCreateHash 1\nopen contexts 1\nopen keys 0\nopen hashes 1\n");
    EXPECT_EQ(RunTool(L"calls " + program + L" --stop"), 0u);
}

}  // namespace
