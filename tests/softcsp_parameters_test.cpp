// What the provider reports about itself and lets programs set, where it asks the user, and the counting of its calls.
#include "tests/support/SoftProvider.h"

#include <commctrl.h>

#include <cstdlib>
#include <thread>

#include "softcsp/common/CallRecord.h"
#include "softcsp/common/Carriers.h"
#include "softcsp/dialogs/resource.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/ModalScript.h"
#include "tests/support/Store.h"

namespace {

using namespace softcsp;

constexpr DWORD kAskOnly = CRYPT_VERIFYCONTEXT | kParametersOnly;

struct SoftcspParameters : testing::Test {
    void Open(DWORD flags, const wchar_t* name = nullptr) {
        ASSERT_TRUE(context_.Acquire(flags, name, nullptr, 75)) << std::hex << GetLastError();
    }
    HCRYPTPROV Get() const { return context_.Get(); }

    LoadedProvider held_;
    CCryptProvContext context_;
};

TEST_F(SoftcspParameters, OfferSetsAndKeepTheMachinesChoice) {
    Open(kAskOnly);
    CCryptProvContext other;
    ASSERT_TRUE(other.Acquire(kAskOnly, nullptr, nullptr, 71));
    for (const DWORD set : {kParamDigestSet, kParamCipherSet, kParamSignatureSet, kParamExchangeSet}) {
        SCOPED_TRACE(set);
        const DWORD list = set + 11;
        std::vector<TestBytes> entries;
        for (TestBytes entry = Parameter(Get(), list, CRYPT_FIRST); !entry.empty(); entry = Parameter(Get(), list))
            entries.push_back(entry);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
        ASSERT_FALSE(entries.empty());
        EXPECT_EQ(Parameter(Get(), set), entries.front());
        const TestBytes untouched = Parameter(other.Get(), set);
        EXPECT_EQ(Set(Get(), set, entries.back().data()), 0);
        Open(kAskOnly);
        EXPECT_EQ(Parameter(Get(), set), entries.back());
        EXPECT_EQ(Parameter(other.Get(), set), untouched) << "of the other type";
        {
            const Denied denied(L"\\config\\oid");
            EXPECT_EQ(Set(Get(), set, entries.front().data()), ERROR_ACCESS_DENIED);
        }
        EXPECT_EQ(Set(Get(), set, entries.front().data()), 0);
        entries.front().at(4) ^= 1;  // of the identifier
        EXPECT_EQ(Set(Get(), set, entries.front().data()), NTE_BAD_DATA);
    }
}

TEST_F(SoftcspParameters, AreSetForTheMachineByThoseWhoMay) {
    Open(kAskOnly);
    const auto set = [&](DWORD parameter, DWORD number) { return Set(Get(), parameter, &number); };
    EXPECT_EQ(Parameter(Get(), kParamCache), BytesOf(CacheRecord{0, 64, 1}));
    EXPECT_EQ(Parameter(Get(), kParamDhControl), BytesOf(DhRecord{2, 1}));
    EXPECT_EQ(set(kParamCache, 65), NTE_BAD_DATA) << "above the maximum";
    EXPECT_EQ(set(kParamCache, 64), 0);
    EXPECT_EQ(set(kParamDhControl, 3), NTE_BAD_DATA);
    EXPECT_EQ(set(kParamDhControl, 1), 0);
    EXPECT_EQ(Parameter(Get(), kParamCache), BytesOf(CacheRecord{64, 64, 1}));
    EXPECT_EQ(Parameter(Get(), kParamDhControl), BytesOf(DhRecord{1, 1}));
    {
        const Denied denied(L"\\config\\Provider");
        EXPECT_EQ(set(kParamCache, 1), ERROR_ACCESS_DENIED);
        EXPECT_EQ(set(kParamDhControl, 2), ERROR_ACCESS_DENIED);
    }
    {
        const ChangedSetting mayNot(kDhMayChangeSetting, 0);
        EXPECT_EQ(set(kParamDhControl, 2), ERROR_ACCESS_DENIED);
    }
    const ChangedSetting noDhControl(kDhMayChangeSetting, kNoSuchParameter),
        noCache(kCacheAvailableSetting, kNoSuchParameter);
    for (const DWORD hidden : {kParamCache, kParamDhControl}) {
        EXPECT_TRUE(Parameter(Get(), hidden).empty()) << hidden;
        EXPECT_EQ(static_cast<HRESULT>(GetLastError()), NTE_BAD_TYPE) << hidden;
    }
    ClearSetting(kCacheSetting);
    ClearSetting(kDhControlSetting);
}

// Selects the row with this text, then OK.
ModalScript::Step Choose(const wchar_t* text) {
    return [=](HWND dialog) {
        const HWND list = GetDlgItem(dialog, IDC_LIST);
        LVFINDINFOW wanted{};
        wanted.flags = LVFI_STRING;
        wanted.psz = text;
        const int row = ListView_FindItem(list, -1, &wanted);
        EXPECT_GE(row, 0) << testing::PrintToString(text) << " is not in the list";
        ListView_SetItemState(list, row, LVIS_SELECTED, LVIS_SELECTED);
        Ui::Click(dialog, IDOK);
    };
}

// A removable carrier, plugged in while the object exists.
struct TestCarrier {
    TestCarrier() {
        RemoveCarrier(L"CHOSEN");
        EXPECT_EQ(AddCarrier({.name = L"CHOSEN"}), 0u);
    }
    ~TestCarrier() { EXPECT_EQ(RemoveCarrier(L"CHOSEN"), 0u); }
};

TEST_F(SoftcspParameters, LetTheUserChooseContainerAndCarrier) {
    const TestCarrier carrier;
    const ChangedSetting noPassword(kNewPasswordSetting, 0);
    const std::wstring qualified = L"\\\\.\\CHOSEN\\Выбранный";
    Acquire(qualified, CRYPT_DELETEKEYSET);
    TestBytes expected;
    {
        ModalScript script({Choose(L"CHOSEN")});
        Open(CRYPT_NEWKEYSET, L"Выбранный");
        expected = Parameter(Get(), kParamQualifiedName);
        EXPECT_EQ(expected.size(), qualified.size() + 1);
    }
    Open(CRYPT_VERIFYCONTEXT);
    {
        ModalScript script({Choose(L"Выбранный")});
        EXPECT_EQ(Parameter(Get(), kParamChooseContainer), expected);
    }
    {
        ModalScript script({[](HWND dialog) { Ui::Click(dialog, IDCANCEL); }});
        EXPECT_TRUE(Parameter(Get(), kParamChooseContainer).empty());
        EXPECT_EQ(GetLastError(), DWORD{ERROR_CANCELLED});
    }
    BYTE small[5];
    DWORD size = sizeof small;
    EXPECT_EQ(ErrorOf(CryptGetProvParam(Get(), kParamChooseContainer, small, &size, 0)), ERROR_MORE_DATA)
        << "before the user is asked";
    EXPECT_GE(size, expected.size());
    Open(CRYPT_VERIFYCONTEXT | CRYPT_SILENT);
    EXPECT_TRUE(Parameter(Get(), kParamChooseContainer).empty());
    EXPECT_EQ(static_cast<HRESULT>(GetLastError()), NTE_SILENT_CONTEXT);
    EXPECT_EQ(Acquire(qualified, CRYPT_DELETEKEYSET), 0);
}

TEST_F(SoftcspParameters, AreReadInAContextForOneCarrier) {
    const TestCarrier carrier;
    const TestContainer there(L"\\\\.\\CHOSEN\\there"), elsewhere(L"\\\\.\\REGISTRY\\elsewhere");
    Open(CRYPT_VERIFYCONTEXT, L"\\\\.\\CHOSEN\\");
    EXPECT_EQ(TextParameter(Get(), PP_ENUMCONTAINERS, CRYPT_FIRST), "there");
    EXPECT_EQ(TextParameter(Get(), PP_ENUMCONTAINERS), "");
    EXPECT_EQ(Acquire(L"\\\\.\\NOWHERE\\", CRYPT_VERIFYCONTEXT), NTE_KEYSET_NOT_DEF);
    constexpr DWORD kOptional = 0x80;  // CRYPT_DEFAULT_CONTAINER_OPTIONAL
    Open(kOptional | CRYPT_SILENT);
    EXPECT_EQ(NumberParameter(Get(), PP_KEYX_KEYSIZE_INC), 0u) << "there is only one size";
    EXPECT_EQ(NumberParameter(Get(), PP_SIG_KEYSIZE_INC), 0u);
}

// The first allocation fails.
void* FailingOnce(std::size_t size) {
    static auto* const real = reinterpret_cast<decltype(&malloc)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), "malloc")));
    static bool failed = false;
    return std::exchange(failed, true) ? real(size) : nullptr;
}

TEST(SoftcspCalls, GoOnAfterMemoryWasShortAtTheFirst) {
    {
        const ImportPatch allocation(nullptr, "malloc", FailingOnce);
        CountCall("CPGenKey");
    }
    const HANDLE ended = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::thread([=] {
        CountCall("CPGenKey");
        SetEvent(ended);
    }).detach();
    EXPECT_EQ(WaitForSingleObject(ended, 5'000), WAIT_OBJECT_0) << "the second call waits for the first one";
    CloseHandle(ended);
}

constexpr wchar_t kThisProgram[] = L"softcsp_key_tests.exe";

// In a process of its own: the record is looked for once, when the library counts its first call.
TEST(SoftcspCalls, DISABLED_Child) {
    CCryptProvContext context;
    UniqueCryptHash hash;
    ASSERT_TRUE(context.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, 75));
    ASSERT_TRUE(CryptCreateHash(context.Get(), kHash, 0, 0, hash.put()));
    CallCounts counts{}, expected{};
    expected.calls[ProviderEntry("CPAcquireContext").index] = 1;
    expected.calls[ProviderEntry("CPCreateHash").index] = 1;
    expected.open = {1, 0, 1};  // contexts, keys, hashes
    ASSERT_EQ(ReadCallRecord(kThisProgram, counts), 0u);
    EXPECT_EQ(counts.calls, expected.calls);
    EXPECT_EQ(counts.open, expected.open);
    ASSERT_TRUE(hash.close());
    ASSERT_EQ(ReadCallRecord(kThisProgram, counts), 0u);
    EXPECT_EQ(counts.open.back(), 0);
}

TEST(SoftcspCalls, AreCountedForTestsAndBenchmarks) {
    std::string output;
    ASSERT_EQ(StartCallRecord(kThisProgram), 0u);
    EXPECT_EQ(RunProgram(kThisProgram, L"--gtest_also_run_disabled_tests --gtest_filter=*Calls.DISABLED*", &output), 0u)
        << output;
    EXPECT_EQ(StopCallRecord(kThisProgram), 0u);
}

}  // namespace
