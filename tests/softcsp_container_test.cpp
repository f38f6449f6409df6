// Containers through the system's own interfaces: their names and values, carriers, damage, and programs that write at
// the same time or are killed.
#include <atomic>
#include <thread>

#include "softcsp/container/ContainerProtection.h"
#include "softcsp/container/ContainerStore.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/SoftProvider.h"

namespace {

using namespace softcsp;

const ContainerStore kStore(Owner::User, 75);

ContainerPlace InRegistry(const std::wstring& name) {
    return {{.name = kRegistryCarrier}, name};
}

TEST(SoftcspContainer, IsOpenedByEachOfItsNames) {
    const LoadedProvider held;
    const TestContainer container(L"Иванов 100%1"), computers(L"Иванов 100%1", 75, CRYPT_MACHINE_KEYSET);
    const struct {
        const char* what;
        std::wstring name;
        DWORD flags, type;
        HRESULT result;
    } cases[] = {
        {"in another letter case", L"ИВАНОВ 100%1", 0, 75, 0},
        {"qualified", L"\\\\.\\registry\\иванов 100%1", CRYPT_MACHINE_KEYSET, 75, 0},
        {"of the other type", L"Иванов 100%1", 0, 71, NTE_BAD_KEYSET},
        {"new on an unknown carrier", L"\\\\.\\NOWHERE\\Иванов", CRYPT_NEWKEYSET, 75, NTE_KEYSET_NOT_DEF},
        {"with an unknown flag", L"Иванов 100%1", 0x800, 75, NTE_BAD_FLAGS},
        {"question mark", L"what?", CRYPT_NEWKEYSET, 75, NTE_BAD_KEYSET_PARAM},
        {"control character", L"two\nlines", CRYPT_NEWKEYSET, 75, NTE_BAD_KEYSET_PARAM},
        {"too long", std::wstring(261, L'n'), CRYPT_NEWKEYSET, 75, NTE_BAD_KEYSET_PARAM},
        {"a default one that may be missing", L"", CRYPT_DEFAULT_CONTAINER_OPTIONAL, 75, 0},
        {"removed", L"Иванов 100%1", CRYPT_DELETEKEYSET, 75, 0},
        {"after the removal", L"Иванов 100%1", 0, 75, NTE_BAD_KEYSET},
        {"the computer's after the removal", L"Иванов 100%1", CRYPT_MACHINE_KEYSET, 75, 0},
    };
    for (const auto& c : cases) EXPECT_EQ(Acquire(c.name, c.flags, c.type), c.result) << c.what;
}

DWORD AddExtensionTo(Container& container) {
    container.extensions.push_back({"1.2.3", 0, Bytes(2'000, 7)});
    return ERROR_SUCCESS;
}

TEST(SoftcspContainer, KeepsEveryChangeOfProgramsThatWriteAtOnce) {
    const ContainerPlace contended = InRegistry(L"contended");
    kStore.Remove(contended);
    std::atomic<int> created = 0, changed = 0;
    std::vector<std::jthread> programs;
    for (int program = 0; program < 4; ++program)
        programs.emplace_back([&] {
            Container container;
            created += RunTool(L"create contended --keys none") == 0;
            for (int i = 0; i < 25; ++i) changed += kStore.Modify(contended, container, AddExtensionTo) == 0;
        });
    programs.clear();  // waits for them
    EXPECT_EQ(created, 1);
    EXPECT_EQ(changed, 100);
    Container container;
    EXPECT_EQ(kStore.Load(contended, container), 0u);
    EXPECT_EQ(container.extensions.size(), 100u);
    kStore.Remove(contended);
}

TEST(SoftcspContainer, NoticesThatItWasReplaced) {
    const LoadedProvider held;
    const ProviderSetting rounds(kPasswordRoundsSetting, 9);
    TestContainer container(L"replaced");
    const ToolContainer other(L"replaced", L"--keys none --password 1234");
    EXPECT_EQ(AddExtension(container.Get()), NTE_SILENT_CONTEXT);
    EXPECT_EQ(Set(container.Get(), PP_SIGNATURE_PIN, "1234"), 0);
    EXPECT_EQ(AddExtension(container.Get()), 0) << "with the new master key";
    for (const wchar_t* damage : {L"damage=1", L"damage=2"}) {
        const ToolContainer damaged(L"damaged", L"--keys none --password 1234");
        damaged.Set(damage);
        EXPECT_EQ(Acquire(L"damaged", CRYPT_DELETEKEYSET), 0) << "no password may be right any more";
    }
}

// The provider is not loaded before, so that the codes survive that it is unloaded.
TEST(SoftcspContainer, IsNotWrittenWhenItCouldNotBeReadAgain) {
    const ContainerPlace place = InRegistry(L"refuses");
    auto created = CreateContainer(place.name, {});
    kStore.Remove(place);
    ASSERT_EQ(kStore.Create(place, created.container), 0u);
    EXPECT_EQ(kStore.SaveBytes(place, Bytes((64 << 20) + 1)), DWORD{ERROR_DISK_FULL}) << "longer than can be read";
    created.container.name = L"another";
    EXPECT_EQ(kStore.SaveBytes(place, WriteContainer(created.container)), 0u);
    EXPECT_EQ(Acquire(place.name), NTE_BAD_KEYSET) << "the file of another container";
    EXPECT_EQ(kStore.Remove(place, [](ByteView) { return DWORD{ERROR_BUSY}; }), DWORD{ERROR_BUSY});
    EXPECT_EQ(kStore.Remove(place), 0u) << "still there";
    created.container.extensions = {{std::string("1\0", 2), 0, {}}};
    EXPECT_FALSE(ReadContainer(WriteContainer(created.container))) << "an identifier with a zero";
}

TEST(SoftcspContainer, FailsOnACarrierThatIsFullOrEjected) {
    const LoadedProvider held;
    RemoveCarrier(L"TESTDISK");
    ASSERT_EQ(AddCarrier({.name = L"TESTDISK", .room = 300}), 0u);
    Acquire(L"\\\\.\\TESTDISK\\second", CRYPT_DELETEKEYSET);  // of a run that failed
    {
        const TestContainer first(L"\\\\.\\TESTDISK\\first"), other(L"\\\\.\\REGISTRY\\first");
        EXPECT_EQ(Acquire(L"\\\\.\\TESTDISK\\second", CRYPT_NEWKEYSET), ERROR_DISK_FULL);
        CCryptProvContext context;
        ASSERT_TRUE(context.Acquire(CRYPT_VERIFYCONTEXT, L"\\\\.\\TESTDISK", nullptr, 75));
        EXPECT_EQ(TextParameter(context.Get(), PP_ENUMCONTAINERS, CRYPT_FIRST), "first");
        EXPECT_EQ(TextParameter(context.Get(), PP_ENUMCONTAINERS), "") << "of the other carrier";
        std::string last, name = TextParameter(first.Get(), PP_ENUMCONTAINERS, CRYPT_FIRST);
        for (; !name.empty(); name = TextParameter(first.Get(), PP_ENUMCONTAINERS)) last = name;
        EXPECT_EQ(last, "TESTDISK\\first") << "another container has the bare name";
        EXPECT_EQ(Set(first.Get(), kParamDigestSet, "1.2.643.2.2.30.1"), 0) << "replaces itself";
        UpdateCarrier({.name = L"TESTDISK", .present = false});
        EXPECT_EQ(Acquire(L"\\\\.\\TESTDISK\\first"), SCARD_W_REMOVED_CARD);
        UpdateCarrier({.name = L"TESTDISK"});
    }
    EXPECT_EQ(RemoveCarrier(L"TESTDISK"), 0u);
    EXPECT_EQ(Store().RemoveSection(L"\\local\\KeyDevices\\passwords\\TESTDISK"), 0u);
}

// --- A killed program ---------------------------------------------------------------------------------------------

const ContainerPlace kKilled = InRegistry(L"killed");
constexpr const char* kWritingCalls[] = {"CreateFileW", "WriteFile", "FlushFileBuffers", "MoveFileExW"};
int countdown;  // to the end of the process, which is before or after one of these calls

// In place of the call, with as many arguments as the longest has. On x64 each takes one word.
using Word = ULONG_PTR;
template <std::size_t index>
Word WINAPI Doomed(Word a, Word b, Word c, Word d, Word e, Word f, Word g) {
    auto* real = reinterpret_cast<decltype(&Doomed<index>)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), kWritingCalls[index])));
    if (--countdown == 0) TerminateProcess(GetCurrentProcess(), 99);
    const Word result = real(a, b, c, d, e, f, g);
    if (--countdown == 0) TerminateProcess(GetCurrentProcess(), 99);
    return result;
}

// The killed program: it adds an extension and ends at the call that the environment names.
TEST(SoftcspKilled, DISABLED_Child) {
    Container container;
    const ImportPatch create(kWritingCalls[0], Doomed<0>), write(kWritingCalls[1], Doomed<1>),
        flush(kWritingCalls[2], Doomed<2>), move(kWritingCalls[3], Doomed<3>);
    countdown = _wtoi(_wgetenv(L"KILL_AT"));
    const DWORD result = kStore.Modify(kKilled, container, AddExtensionTo);
    countdown = 0;
    ASSERT_EQ(result, 0u);
}

TEST(SoftcspKilled, LeavesTheOldContainerOrTheNewOne) {
    const Container before = CreateContainer(kKilled.name, {}).container;
    kStore.Remove(kKilled);
    ASSERT_EQ(kStore.Create(kKilled, before), 0u);
    std::size_t extensions = 0;
    int kills = 0;
    for (unsigned code = 99; code == 99; ++kills) {
        EXPECT_EQ(kStore.Save(kKilled, before), 0u);
        SetEnvironmentVariableA("KILL_AT", std::to_string(kills + 1).c_str());
        code = RunProgram(L"softcsp_key_tests.exe", L"--gtest_also_run_disabled_tests --gtest_filter=*Killed*Child");
        SCOPED_TRACE(kills + 1);
        Bytes bytes;
        EXPECT_EQ(kStore.LoadBytes(kKilled, bytes), 0u);
        EXPECT_TRUE(IsIntact(bytes));
        const auto left = ReadContainer(bytes);
        ASSERT_TRUE(left);
        EXPECT_GE(left->extensions.size(), extensions) << "the old container after the new one";
        extensions = left->extensions.size();
        ASSERT_TRUE(code == 0 || code == 99) << code;
    }
    EXPECT_GT(kills, 8) << "create, write, flush, move: before and after each";
    EXPECT_EQ(extensions, 1u);
    kStore.Remove(kKilled);
}

}  // namespace
