// Containers through the system's own interfaces: their names and values, carriers, damage, and programs that write at
// the same time or are killed.
#include "tests/support/SoftProvider.h"

#include <atomic>
#include <random>
#include <thread>

#include "csp/ContainerCopy.h"
#include "softcsp/common/Store.h"
#include "softcsp/container/ContainerStore.h"
#include "tests/support/ImportPatch.h"

namespace {

using namespace softcsp;

using Texts = std::vector<std::string>;

const ContainerStore kStore(Owner::User, 75);

ContainerPlace InRegistry(const std::wstring& name) {
    return {{.name = kRegistryCarrier}, name};
}

// The names in the provider's list of containers that contain the text.
Texts ListedNames(HCRYPTPROV provider, const char* text) {
    Texts names;
    for (std::string name = TextParameter(provider, PP_ENUMCONTAINERS, CRYPT_FIRST); !name.empty();
         name = TextParameter(provider, PP_ENUMCONTAINERS))
        if (name.find(text) != name.npos) names.push_back(name);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
    return names;
}

TEST(SoftcspContainer, IsOpenedByEachOfItsNames) {
    const LoadedProvider held;
    const TestContainer container(L"Иванов 100%1"), computers(L"Иванов 100%1", 75, CRYPT_MACHINE_KEYSET);
    ASSERT_TRUE(container.Made());
    ASSERT_TRUE(computers.Made());
    const std::string name = TextParameter(container.Get(), PP_CONTAINER);
    EXPECT_EQ(TextParameter(container.Get(), PP_UNIQUE_CONTAINER), "REGISTRY\\" + name);
    EXPECT_EQ(TextParameter(container.Get(), kParamQualifiedName), "\\\\.\\REGISTRY\\" + name);
    const struct {
        const char* what;
        std::wstring name;
        DWORD flags, type;
        HRESULT result;
    } cases[] = {
        {"as created", L"Иванов 100%1", 0, 75, 0},
        {"in another letter case", L"ИВАНОВ 100%1", 0, 75, 0},
        {"unique", L"REGISTRY\\Иванов 100%1", 0, 75, 0},
        {"qualified", L"\\\\.\\registry\\иванов 100%1", CRYPT_MACHINE_KEYSET, 75, 0},
        {"created again", L"Иванов 100%1", CRYPT_NEWKEYSET, 75, NTE_EXISTS},
        {"of the other type", L"Иванов 100%1", 0, 71, NTE_BAD_KEYSET},
        {"a part of the name", L"Иванов", 0, 75, NTE_BAD_KEYSET},
        {"on an unknown carrier", L"NOWHERE\\Иванов", 0, 75, NTE_BAD_KEYSET},
        {"new on an unknown carrier", L"\\\\.\\NOWHERE\\Иванов", CRYPT_NEWKEYSET, 75, NTE_KEYSET_NOT_DEF},
        {"three parts", L"one\\two\\three", CRYPT_NEWKEYSET, 75, NTE_BAD_KEYSET_PARAM},
        {"an empty carrier", L"\\name", CRYPT_NEWKEYSET, 75, NTE_BAD_KEYSET_PARAM},
        {"removed though missing", L"nobody", CRYPT_DELETEKEYSET, 75, NTE_BAD_KEYSET},
        {"for verification", L"Иванов", CRYPT_VERIFYCONTEXT, 75, NTE_BAD_KEYSET_PARAM},
        {"with an unknown flag", L"Иванов 100%1", 0x800, 75, NTE_BAD_FLAGS},
        {"question mark", L"what?", CRYPT_NEWKEYSET, 75, NTE_BAD_KEYSET_PARAM},
        {"control character", L"two\nlines", CRYPT_NEWKEYSET, 75, NTE_BAD_KEYSET_PARAM},
        {"too long", std::wstring(261, L'n'), CRYPT_NEWKEYSET, 75, NTE_BAD_KEYSET_PARAM},
        {"removed", L"Иванов 100%1", CRYPT_DELETEKEYSET, 75, 0},
        {"after the removal", L"Иванов 100%1", 0, 75, NTE_BAD_KEYSET},
        {"the computer's after the removal", L"Иванов 100%1", CRYPT_MACHINE_KEYSET, 75, 0},
    };
    for (const auto& c : cases) EXPECT_EQ(Acquire(c.name, c.flags, c.type), c.result) << c.what;
}

TEST(SoftcspContainer, KeepsExtensionsAndParameterSets) {
    const LoadedProvider held;
    TestContainer container(L"container values");
    ASSERT_TRUE(container.Made());
    DWORD size = 0;
    EXPECT_EQ(ErrorOf(CryptGetProvParam(container.Get(), kParamExtensions, nullptr, &size, CRYPT_FIRST)),
              ERROR_NO_MORE_ITEMS);
    const ContainerExtension extensions[] = {
        {"1.2.3", 1, {1, 2, 3, 4}}, {"1.2.643.2.2.37.3.1", 0, {}}, {"1.2.3.4.5", 0, Bytes(9, 7)}};
    std::vector<TestBytes> items;  // as the provider returns them
    for (const auto& [identifier, critical, value] : extensions) {
        const std::string_view bytes(reinterpret_cast<const char*>(value.data()), value.size());
        EXPECT_EQ(AddExtension(container.Get(), identifier.c_str(), bytes, critical), 0);
        ByteWriter item;
        item.Number(critical);
        item.Counted(value);
        item.Raw(TextBytes(identifier));
        items.push_back(item.Take());
    }
    EXPECT_EQ(Set(container.Get(), kParamCipherSet, "1.2.643.2.2.31.3"), 0);
    EXPECT_EQ(Set(container.Get(), kParamDigestSet, "1.2.643.2.2.31.3"), NTE_BAD_DATA) << "a cipher's";
    ASSERT_TRUE(container.Open());
    EXPECT_EQ(TextParameter(container.Get(), kParamCipherSet), "1.2.643.2.2.31.3");
    EXPECT_EQ(TextParameter(container.Get(), kParamDigestSet), "1.2.643.2.2.30.1");
    EXPECT_EQ(NumberParameter(container.Get(), kParamIntegrity), 0u);
    EXPECT_EQ(NumberParameter(container.Get(), kParamLoadKeys), 0u);
    EXPECT_EQ(ErrorOf(CryptGetProvParam(container.Get(), kParamExtensions, nullptr, &size, CRYPT_FIRST)), 0);
    EXPECT_EQ(size, items[1].size()) << "the largest";
    BYTE small[10];
    size = sizeof small;
    EXPECT_EQ(ErrorOf(CryptGetProvParam(container.Get(), kParamExtensions, small, &size, 0)), ERROR_MORE_DATA);
    for (const TestBytes& item : items) EXPECT_EQ(Parameter(container.Get(), kParamExtensions), item);
    EXPECT_EQ(Parameter(container.Get(), kParamExtensions), TestBytes());
    EXPECT_EQ(ListedNames(container.Get(), "container values"), Texts{"container values"});
}

TEST(SoftcspContainer, ReportsDamageThatAnotherProgramDid) {
    const LoadedProvider held;
    const ToolContainer container(L"seen by others");
    const struct {
        const wchar_t* change;
        HRESULT opened;
        DWORD integrity;
    } cases[] = {{L"damage=1", 0, 1},
                 {L"damage=0", 0, 0},
                 {L"integrity=0x40000000", 0, 0x40000000},
                 {L"damage=2", NTE_KEYSET_ENTRY_BAD, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.change));
        container.Change(c.change);
        CCryptProvContext context;
        EXPECT_EQ(ErrorOf(context.Acquire(CRYPT_SILENT, L"seen by others", nullptr, 75)), c.opened);
        if (context.Get() != 0) {
            EXPECT_EQ(NumberParameter(context.Get(), kParamIntegrity), c.integrity);
        }
    }
    EXPECT_EQ(Acquire(L"seen by others", CRYPT_DELETEKEYSET), 0) << "an unreadable container";
}

TEST(SoftcspContainer, KeepsEveryChangeOfProgramsThatWriteAtOnce) {
    RunTool(L"remove contended");
    std::atomic<int> created = 0, changed = 0;
    std::vector<std::thread> programs;
    for (int program = 0; program < 4; ++program)
        programs.emplace_back([&] {
            created += RunTool(L"create contended --keys none") == 0;
            for (int i = 0; i < 4; ++i) changed += RunTool(L"set contended extension=1.2.3:0:00") == 0;
        });
    for (std::thread& program : programs) program.join();
    EXPECT_EQ(created, 1);
    EXPECT_EQ(changed, 16);
    Container container;
    EXPECT_EQ(kStore.Load(InRegistry(L"contended"), container), 0u);
    EXPECT_EQ(container.extensions.size(), 16u);
    EXPECT_EQ(kStore.Remove(InRegistry(L"contended")), 0u);
}

TEST(SoftcspContainer, NoticesThatItWasReplaced) {
    const LoadedProvider held;
    const ChangedSetting rounds(kPasswordRoundsSetting, 9);
    TestContainer container(L"replaced");
    ASSERT_TRUE(container.Made());
    const ToolContainer other(L"replaced", L"--keys none --password 1234");
    UniqueCryptKey key;
    EXPECT_EQ(ErrorOf(CryptGenKey(container.Get(), AT_SIGNATURE, 0, key.put())), NTE_SILENT_CONTEXT);
    EXPECT_EQ(Set(container.Get(), PP_SIGNATURE_PIN, "1234"), 0);
    EXPECT_EQ(ErrorOf(CryptGenKey(container.Get(), AT_SIGNATURE, 0, key.put())), 0);
    key.reset();
    ASSERT_TRUE(container.Open());
    EXPECT_EQ(Set(container.Get(), PP_SIGNATURE_PIN, "1234"), 0);
    EXPECT_EQ(NumberParameter(container.Get(), kParamLoadKeys), 2u) << "the key is sealed by the new master key";
    other.Change(L"damage=1");
    EXPECT_EQ(Acquire(L"replaced", CRYPT_DELETEKEYSET), 0) << "in a damaged container no password may be right";
}

TEST(SoftcspContainer, IsNotWrittenWhenItCouldNotBeReadAgain) {
    const ContainerPlace place = InRegistry(L"refuses");
    auto created = CreateContainer(place.name, {});
    kStore.Remove(place);
    ASSERT_EQ(kStore.Create(place, created->container), 0u);
    EXPECT_EQ(kStore.SaveBytes(place, Bytes((64 << 20) + 1)), DWORD{ERROR_DISK_FULL}) << "longer than can be read";
    created->container.extensions.resize(kMostExtensions + 1);
    EXPECT_EQ(kStore.Save(place, created->container), DWORD{ERROR_DISK_FULL}) << "too many extensions";
    EXPECT_EQ(kStore.Load(place, created->container), 0u);
    Container renamed = created->container;
    renamed.name = L"another";
    EXPECT_EQ(kStore.SaveBytes(place, WriteContainer(renamed)), 0u);
    EXPECT_EQ(Acquire(place.name), NTE_BAD_KEYSET) << "the file of another container";
    EXPECT_EQ(kStore.Remove(place, [](ByteView) { return DWORD{ERROR_BUSY}; }), DWORD{ERROR_BUSY});
    EXPECT_EQ(kStore.Remove(place), 0u) << "still there";
    created->container.extensions = {{std::string("1\0", 2), 0, {}}};
    EXPECT_FALSE(ReadContainer(WriteContainer(created->container))) << "an identifier with a zero";
}

TEST(SoftcspContainer, FailsOnACarrierThatIsFullOrEjected) {
    const LoadedProvider held;
    RemoveCarrier(L"TESTDISK");
    Store().RemoveSection(L"\\local\\KeyDevices\\passwords\\REGISTRY");
    ASSERT_EQ(AddCarrier({.name = L"TESTDISK", .room = 300}), 0u);
    Acquire(L"\\\\.\\TESTDISK\\second", CRYPT_DELETEKEYSET);  // of a run that failed
    {
        const TestContainer first(L"\\\\.\\TESTDISK\\first");
        EXPECT_TRUE(first.Made());
        EXPECT_EQ(Acquire(L"first"), 0) << "found without its carrier's name";
        EXPECT_EQ(Acquire(L"\\\\.\\TESTDISK\\second", CRYPT_NEWKEYSET), ERROR_DISK_FULL);
        EXPECT_EQ(Acquire(L"\\\\.\\TESTDISK\\second"), NTE_BAD_KEYSET);
        const TestContainer other(L"\\\\.\\REGISTRY\\first");
        std::vector<StoreValue> saved;
        EXPECT_EQ(Store().List(L"\\local\\KeyDevices\\passwords\\TESTDISK", saved), 0u) << "known carriers";
        EXPECT_EQ(Store().List(L"\\local\\KeyDevices\\passwords\\REGISTRY", saved), DWORD{ERROR_FILE_NOT_FOUND});
        EXPECT_EQ(ListedNames(first.Get(), "first"), (Texts{"first", "TESTDISK\\first"})) << "each opens its own";
        EXPECT_EQ(Set(first.Get(), kParamDigestSet, "1.2.643.2.2.30.1"), 0) << "replaces itself";
        EXPECT_EQ(UpdateCarrier({.name = L"TESTDISK", .present = false, .room = 300}), 0u);
        EXPECT_EQ(Set(first.Get(), kParamDigestSet, "1.2.643.2.2.30.1"), SCARD_W_REMOVED_CARD);
        EXPECT_EQ(Acquire(L"\\\\.\\TESTDISK\\first"), SCARD_W_REMOVED_CARD);
        EXPECT_EQ(Acquire(L"first"), 0) << "the other one";
        EXPECT_EQ(UpdateCarrier({.name = L"TESTDISK", .room = 300}), 0u);
    }
    EXPECT_EQ(RemoveCarrier(L"TESTDISK"), 0u);
    EXPECT_EQ(Store().RemoveSection(L"\\local\\KeyDevices\\passwords\\TESTDISK"), 0u);
}

// Opens a container, reads everything in it, copies it and removes both.
void UseContainer(const std::wstring& name) {
    CCryptProvContext context;
    if (context.Acquire(CRYPT_SILENT, name.c_str(), nullptr, 75)) {
        for (const DWORD parameter : {kParamQualifiedName, kParamCipherSet, kParamIntegrity, kParamLoadKeys})
            Parameter(context.Get(), parameter);
        ContainerCopy copy;
        if (copy.OpenVerification(nullptr, 75) && ReadSourceContainer(context.Get(), copy)) {
            const TestContainer target(L"copy of damaged");
            if (target.Made()) static_cast<void>(WriteTargetContainer(copy, target.Get()));
        }
    }
    context.Release();
    Acquire(name, CRYPT_DELETEKEYSET);
}

void Damage(Bytes& bytes, std::mt19937& random) {
    const std::size_t at = random() % bytes.size();
    const unsigned kind = random() % 8;
    if (kind == 0) {
        bytes.resize(at + 1);
    } else if (kind == 1) {
        bytes.insert(bytes.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at), bytes.end());
    } else if (kind == 2 && at + 4 <= bytes.size()) {
        std::memset(&bytes[at], 0xFF, 4);  // a count
    } else {
        bytes[at] ^= static_cast<std::uint8_t>(1u << random() % 8);
    }
}

// The same 40 damaged files in each run. VESTRA_FUZZ_SECONDS searches on with others.
TEST(SoftcspContainer, SurvivesAnyDamageToItsFile) {
    const LoadedProvider held;
    const ContainerPlace place = InRegistry(L"damaged");
    const ToolContainer container(place.name, L"--keys xs --chain 1 --exportable");
    char seconds[16] = "0";
    GetEnvironmentVariableA("VESTRA_FUZZ_SECONDS", seconds, sizeof seconds);
    const ULONGLONG start = GetTickCount64(), end = start + 1000ULL * static_cast<unsigned>(std::atoi(seconds));
    std::mt19937 random(end > start ? GetTickCount() : 1);
    Bytes original;
    ASSERT_EQ(kStore.LoadBytes(place, original), 0u);
    int inputs = 0, opened = 0;
    for (; inputs < 40 || GetTickCount64() < end; ++inputs) {
        Bytes damaged = original;
        for (unsigned changes = 1 + random() % 4; changes > 0; --changes) Damage(damaged, random);
        // With the right digest and code the damage reaches what is behind their check.
        auto read = ReadContainer(damaged);
        if (read && random() % 2 == 0 && AuthenticateWithoutPassword(*read)) damaged = WriteContainer(*read);
        ASSERT_EQ(kStore.SaveBytes(place, damaged), 0u);
        opened += read.has_value();
        UseContainer(place.name);
    }
    std::printf("container: %d damaged files, %d of them readable\n", inputs, opened);
    EXPECT_GT(opened, 0);
}

// --- A killed program ---------------------------------------------------------------------------------------------

const ContainerPlace kKilled = InRegistry(L"killed");
constexpr const char* kWritingCalls[] = {"CreateFileW", "WriteFile", "FlushFileBuffers", "MoveFileExW"};
int countdown;  // to the end of the process, which is before or after one of these calls

// In place of the call, with as many arguments as the longest has. On x64 each takes one word.
using Word = ULONG_PTR;
using Call = Word WINAPI(Word, Word, Word, Word, Word, Word, Word);
template <std::size_t index>
Word WINAPI Doomed(Word a, Word b, Word c, Word d, Word e, Word f, Word g) {
    auto* real = reinterpret_cast<Call*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), kWritingCalls[index])));
    if (--countdown == 0) TerminateProcess(GetCurrentProcess(), 99);
    const Word result = real(a, b, c, d, e, f, g);
    if (--countdown == 0) TerminateProcess(GetCurrentProcess(), 99);
    return result;
}

Container WithPassword(const wchar_t* password) {
    auto created = CreateContainer(kKilled.name, Password(password));
    created->container.extensions.push_back({"1.2.3", 0, Bytes(20'000, 7)});
    Authenticate(created->container, created->master);
    return std::move(created->container);
}

bool IsOpenedBy(const Container& container, const wchar_t* password) {
    const auto key = OpeningKey(container.lock, Password(password));
    const auto master = key ? OpenLock(container.lock, *key) : std::nullopt;
    return master && IsAuthentic(container, *master);
}

// The killed program: it writes a container and ends at the call that the environment names.
TEST(SoftcspKilled, DISABLED_Child) {
    char text[16] = "0";
    GetEnvironmentVariableA("KILL_AT", text, sizeof text);
    const Container container = WithPassword(L"new");
    const ImportPatch create(nullptr, kWritingCalls[0], Doomed<0>), write(nullptr, kWritingCalls[1], Doomed<1>),
        flush(nullptr, kWritingCalls[2], Doomed<2>), move(nullptr, kWritingCalls[3], Doomed<3>);
    countdown = std::atoi(text);
    const bool replaces = GetEnvironmentVariableA("KILL_REPLACING", text, sizeof text) != 0;
    const DWORD result = replaces ? kStore.Save(kKilled, container) : kStore.Create(kKilled, container);
    countdown = 0;
    ASSERT_EQ(result, 0u);
}

// "old", "new" or "none"; whatever else is left fails the test.
std::string ContainerLeft() {
    Bytes bytes;
    if (kStore.LoadBytes(kKilled, bytes) != 0) return "none";
    const auto container = ReadContainer(bytes);
    if (!container || !IsIntact(bytes)) return "a part";
    return IsOpenedBy(*container, L"old") ? "old" : IsOpenedBy(*container, L"new") ? "new" : "neither";
}

TEST(SoftcspKilled, LeavesTheOldContainerOrTheNewOne) {
    const ChangedSetting rounds(kPasswordRoundsSetting, 9);
    const Container oldContainer = WithPassword(L"old");
    for (const bool replacing : {false, true}) {
        SCOPED_TRACE(replacing ? "replacing" : "creating");
        const std::string before = replacing ? "old" : "none";
        std::string left = before;
        int kills = 0;
        for (unsigned code = 99; code == 99; ++kills) {
            kStore.Remove(kKilled);
            if (replacing) kStore.Create(kKilled, oldContainer);
            SetEnvironmentVariableA("KILL_AT", std::to_string(kills + 1).c_str());
            SetEnvironmentVariableA("KILL_REPLACING", replacing ? "1" : nullptr);
            code =
                RunProgram(L"softcsp_key_tests.exe", L"--gtest_also_run_disabled_tests --gtest_filter=*Killed*Child");
            const std::string now = ContainerLeft();
            EXPECT_TRUE(now == left || now == "new") << now << " after " << left << ", kill " << kills + 1;
            left = now;
            ASSERT_TRUE(code == 0 || code == 99) << code;
        }
        std::printf("container: killed %d times while %s\n", kills - 1, replacing ? "replacing" : "creating");
        EXPECT_GE(kills - 1, 8) << "create, write, flush, move: before and after each";
        EXPECT_EQ(left, "new");
    }
    kStore.Remove(kKilled);
}

}  // namespace
