// Containers through the system's own interfaces: their life, their parameters, and what a killed program leaves.
#include "tests/support/Provider.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <random>
#include <thread>

#include "csp/ContainerCopy.h"
#include "softcsp/container/ContainerStore.h"
#include "tests/support/HandleCounts.h"
#include "tests/support/ImportPatch.h"

namespace {

using namespace softcsp;

HRESULT Acquire(const wchar_t* name, DWORD flags, DWORD type = 75) {
    CCryptProvContext context;
    const auto opened = context.Acquire(flags | CRYPT_SILENT, name, nullptr, type);
    return opened ? 0 : static_cast<HRESULT>(opened.Failed().code);
}

std::string TextParameter(HCRYPTPROV provider, DWORD parameter) {
    char text[600] = "";
    DWORD size = sizeof text;
    return CryptGetProvParam(provider, parameter, reinterpret_cast<BYTE*>(text), &size, 0) ? text : "";
}

DWORD NumberParameter(HCRYPTPROV provider, DWORD parameter) {
    DWORD number = MAXDWORD, size = sizeof number;
    EXPECT_EQ(ErrorOf(CryptGetProvParam(provider, parameter, reinterpret_cast<BYTE*>(&number), &size, 0)), 0)
        << parameter;
    return number;
}

// Of all containers those whose names hold the text.
std::string Names(HCRYPTPROV provider, const char* text) {
    std::string names;
    char name[600];
    DWORD size = sizeof name, flags = CRYPT_FIRST;
    for (; CryptGetProvParam(provider, PP_ENUMCONTAINERS, reinterpret_cast<BYTE*>(name), &size, flags);
         size = sizeof name, flags = 0)
        if (std::strstr(name, text)) names += name + std::string("|");
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_MORE_ITEMS));
    return names;
}

TEST(SoftcspContainer, LivesByItsThreeNames) {
    const LoadedProvider held;
    TestContainer container(L"Иванов 100%1"), computers(L"Иванов 100%1", 75, CRYPT_MACHINE_KEYSET);
    ASSERT_TRUE(container.Made() && computers.Made());
    EXPECT_EQ(TextParameter(container.Get(), PP_UNIQUE_CONTAINER),
              "REGISTRY\\" + TextParameter(container.Get(), PP_CONTAINER));
    EXPECT_EQ(TextParameter(container.Get(), 111), "\\\\.\\" + TextParameter(container.Get(), PP_UNIQUE_CONTAINER));
    const struct {
        const wchar_t* name;
        DWORD flags, type;
        HRESULT result;
    } table[] = {
        {L"Иванов 100%1", 0, 75, 0},
        {L"ИВАНОВ 100%1", 0, 75, 0},
        {L"REGISTRY\\Иванов 100%1", 0, 75, 0},
        {L"\\\\.\\registry\\иванов 100%1", CRYPT_MACHINE_KEYSET, 75, 0},
        {L"Иванов 100%1", CRYPT_NEWKEYSET, 75, NTE_EXISTS},
        {L"Иванов 100%1", 0, 71, NTE_BAD_KEYSET},
        {L"Иванов", 0, 75, NTE_BAD_KEYSET},
        {L"NOWHERE\\Иванов", 0, 75, NTE_BAD_KEYSET},
        {L"\\\\.\\NOWHERE\\Иванов", CRYPT_NEWKEYSET, 75, NTE_KEYSET_NOT_DEF},
        {L"one\\two\\three", CRYPT_NEWKEYSET, 75, NTE_BAD_KEYSET_PARAM},
        {L"\\name", CRYPT_NEWKEYSET, 75, NTE_BAD_KEYSET_PARAM},
        {L"nobody", CRYPT_DELETEKEYSET, 75, NTE_BAD_KEYSET},
        {L"Иванов", CRYPT_VERIFYCONTEXT, 75, NTE_BAD_KEYSET_PARAM},
        {L"Иванов 100%1", 0x800, 75, NTE_BAD_FLAGS},
        {L"what?", CRYPT_NEWKEYSET, 75, NTE_BAD_KEYSET_PARAM},
        {L"two\nlines", CRYPT_NEWKEYSET, 75, NTE_BAD_KEYSET_PARAM},
    };
    for (const auto& row : table)
        EXPECT_EQ(Acquire(row.name, row.flags, row.type), row.result) << row.flags << ' ' << row.type;
    EXPECT_EQ(Acquire(std::wstring(261, L'n').c_str(), CRYPT_NEWKEYSET), NTE_BAD_KEYSET_PARAM);
    // One owner's doesn't go with the other's.
    EXPECT_EQ(Acquire(L"Иванов 100%1", CRYPT_DELETEKEYSET), 0);
    EXPECT_EQ(Acquire(L"Иванов 100%1", 0), NTE_BAD_KEYSET);
    EXPECT_EQ(Acquire(L"Иванов 100%1", CRYPT_MACHINE_KEYSET), 0);
}

TEST(SoftcspContainer, KeepsWhatIsPutIntoItAndListsIt) {
    const LoadedProvider held;
    TestContainer container(L"container values");
    ASSERT_TRUE(container.Made());
    DWORD size = 0;
    EXPECT_EQ(ErrorOf(CryptGetProvParam(container.Get(), 133, nullptr, &size, CRYPT_FIRST)), ERROR_NO_MORE_ITEMS);
    const struct {
        const char* identifier;
        DWORD critical, size;
        const void* value;
    } extensions[] = {{"1.2.3", 1, 4, "abcd"}, {"1.2.643.2.2.37.3.1", 0, 0, nullptr}, {"1.2.3.4.5", 0, 9, "longer on"}};
    for (const auto& extension : extensions)
        ASSERT_EQ(ErrorOf(CryptSetProvParam(container.Get(), 132, reinterpret_cast<const BYTE*>(&extension), 0)), 0);
    EXPECT_EQ(ErrorOf(CryptSetProvParam(container.Get(), 93, reinterpret_cast<const BYTE*>("1.2.643.2.2.31.3"), 0)), 0);
    EXPECT_EQ(ErrorOf(CryptSetProvParam(container.Get(), 92, reinterpret_cast<const BYTE*>("1.2.643.2.2.31.3"), 0)),
              NTE_BAD_DATA);
    ASSERT_TRUE(container.Open());
    EXPECT_EQ(TextParameter(container.Get(), 93), "1.2.643.2.2.31.3");
    EXPECT_EQ(TextParameter(container.Get(), 92), "1.2.643.2.2.30.1");
    EXPECT_EQ(NumberParameter(container.Get(), 146), 0u);
    EXPECT_EQ(NumberParameter(container.Get(), 109), 0u);
    ASSERT_EQ(ErrorOf(CryptGetProvParam(container.Get(), 133, nullptr, &size, CRYPT_FIRST)), 0);
    EXPECT_EQ(size, 8u + 9u + sizeof "1.2.3.4.5");  // the largest
    TestBytes item(size);
    size = 10;
    EXPECT_EQ(ErrorOf(CryptGetProvParam(container.Get(), 133, item.data(), &size, CRYPT_FIRST)), ERROR_MORE_DATA);
    for (const auto& extension : extensions) {  // what didn't fit comes again
        size = static_cast<DWORD>(item.size());
        ASSERT_EQ(ErrorOf(CryptGetProvParam(container.Get(), 133, item.data(), &size, 0)), 0);
        EXPECT_EQ(std::memcmp(item.data(), &extension.critical, 8), 0);
        EXPECT_STREQ(reinterpret_cast<const char*>(item.data()) + 8 + extension.size, extension.identifier);
    }
    EXPECT_EQ(ErrorOf(CryptGetProvParam(container.Get(), 133, item.data(), &size, 0)), ERROR_NO_MORE_ITEMS);
    // The names of all containers, this one among them.
    EXPECT_EQ(Names(container.Get(), "container values"), "container values|");
}

TEST(SoftcspContainer, OpensInAnotherProcessAndTellsDamage) {
    TestContainer container(L"seen by others");
    ASSERT_TRUE(container.Made());
    std::string told;
    EXPECT_EQ(RunTool(L"show \"seen by others\"", &told), 0u);
    EXPECT_NE(told.find("seen by others"), std::string::npos);
    EXPECT_EQ(RunTool(L"set \"seen by others\" damage=1"), 0u);
    ASSERT_TRUE(container.Open());
    EXPECT_EQ(NumberParameter(container.Get(), 146), 1u);
    EXPECT_EQ(RunTool(L"set \"seen by others\" integrity=0x40000000"), 0u);
    ASSERT_TRUE(container.Open());
    EXPECT_EQ(NumberParameter(container.Get(), 146) & 0x40000000u, 0x40000000u);
    EXPECT_EQ(RunTool(L"set \"seen by others\" damage=2"), 0u);
    EXPECT_FALSE(container.Open());
    EXPECT_EQ(static_cast<HRESULT>(GetLastError()), NTE_KEYSET_ENTRY_BAD);
    EXPECT_EQ(Acquire(container.Name(), CRYPT_DELETEKEYSET), 0);  // what can't be read can be got rid of
}

// Every change of programs that run at the same time is kept, and one of them makes a container.
TEST(SoftcspContainer, LetsSeveralProgramsWriteAtOnce) {
    const LoadedProvider held;
    RunTool(L"remove contended");
    std::atomic<int> made = 0, changed = 0;
    std::vector<std::thread> programs;
    for (int program = 0; program < 4; ++program)
        programs.emplace_back([&] {
            made += RunTool(L"create contended --keys none") == 0;
            for (int i = 0; i < 4; ++i) changed += RunTool(L"set contended extension=1.2.3:0:00") == 0;
        });
    for (std::thread& program : programs) program.join();
    EXPECT_EQ(made, 1);
    EXPECT_EQ(changed, 16);
    std::string told;
    EXPECT_EQ(RunTool(L"show contended", &told), 0u);
    int kept = 0;
    for (size_t at = 0; (at = told.find("1.2.3", at)) != std::string::npos; ++at) ++kept;
    EXPECT_EQ(kept, 16);
    RunTool(L"remove contended");
}

TEST(SoftcspContainer, NoticesWhatOthersDidToIt) {
    const LoadedProvider held;
    TestContainer container(L"replaced");
    ASSERT_TRUE(container.Made());
    RunTool(L"remove replaced");
    ASSERT_EQ(RunTool(L"create replaced --keys none --password 1234"), 0u);
    UniqueCryptKey key;
    EXPECT_EQ(ErrorOf(CryptGenKey(container.Get(), AT_SIGNATURE, 0, key.put())), NTE_SILENT_CONTEXT);
    CryptSetProvParam(container.Get(), PP_SIGNATURE_PIN, reinterpret_cast<const BYTE*>("1234"), 0);
    EXPECT_EQ(ErrorOf(CryptGenKey(container.Get(), AT_SIGNATURE, 0, key.put())), 0);
    key.reset();
    ASSERT_TRUE(container.Open());
    CryptSetProvParam(container.Get(), PP_SIGNATURE_PIN, reinterpret_cast<const BYTE*>("1234"), 0);
    EXPECT_EQ(NumberParameter(container.Get(), 109), 2u);
    RunTool(L"set replaced damage=1");
    EXPECT_EQ(Acquire(L"replaced", CRYPT_DELETEKEYSET), 0);  // its password may be spoiled, too
}

TEST(SoftcspContainer, RefusesWhatCouldNotBeReadAgain) {
    const LoadedProvider held;
    TestContainer container(L"refuses");
    ASSERT_TRUE(container.Made());
    const TestBytes large(65 << 20);
    const struct {
        const char* identifier;
        DWORD critical, size;
        const void* value;
    } extension{"1.2.3", 0, static_cast<DWORD>(large.size()), large.data()};
    EXPECT_EQ(ErrorOf(CryptSetProvParam(container.Get(), 132, reinterpret_cast<const BYTE*>(&extension), 0)),
              ERROR_DISK_FULL);
    EXPECT_TRUE(container.Open());
    auto odd = CreateContainer(L"odd", {});
    odd->container.extensions.push_back({std::string("1\0", 2), 0, {}});
    EXPECT_FALSE(ReadContainer(WriteContainer(odd->container)));
}

TEST(SoftcspContainer, TellsWhenACarrierIsFullOrGone) {
    const LoadedProvider held;
    RunTool(L"carrier remove TESTDISK");
    ASSERT_EQ(RunTool(L"carrier add TESTDISK --room 300"), 0u);
    Acquire(L"\\\\.\\TESTDISK\\second", CRYPT_DELETEKEYSET);  // of a run that failed
    {
        TestContainer first(L"\\\\.\\TESTDISK\\first");
        EXPECT_TRUE(first.Made());
        EXPECT_EQ(Acquire(L"first", 0), 0);  // found without its carrier's name
        EXPECT_EQ(Acquire(L"\\\\.\\TESTDISK\\second", CRYPT_NEWKEYSET), ERROR_DISK_FULL);
        EXPECT_EQ(Acquire(L"\\\\.\\TESTDISK\\second", 0), NTE_BAD_KEYSET);
        TestContainer other(L"\\\\.\\REGISTRY\\first");
        EXPECT_EQ(Names(first.Get(), "first"), "first|TESTDISK\\first|");  // each opens its own
        RunTool(L"carrier eject TESTDISK");
        const BYTE* set = reinterpret_cast<const BYTE*>("1.2.643.2.2.30.1");
        EXPECT_EQ(ErrorOf(CryptSetProvParam(first.Get(), 92, set, 0)), SCARD_W_REMOVED_CARD);
        EXPECT_EQ(Acquire(L"\\\\.\\TESTDISK\\first", 0), SCARD_W_REMOVED_CARD);
        EXPECT_EQ(Acquire(L"first", 0), 0);  // the other one
        RunTool(L"carrier insert TESTDISK");
    }
    EXPECT_EQ(RunTool(L"carrier remove TESTDISK"), 0u);
}

TEST(SoftcspContainer, LeavesNothingBehindInThousandsOfUses) {
    const LoadedProvider held;
    TestContainer container(L"used often");
    ASSERT_TRUE(container.Made());
    UniqueCryptKey made;
    ASSERT_TRUE(CryptGenKey(container.Get(), AT_KEYEXCHANGE, 0, made.put()));
    made.reset();
    const auto use = [&](int times) {
        for (int i = 0; i < times; ++i) {
            ASSERT_TRUE(container.Open());
            HCRYPTKEY key = 0;
            HCRYPTHASH hash = 0;
            ASSERT_TRUE(CryptGetUserKey(container.Get(), AT_KEYEXCHANGE, &key));
            ASSERT_TRUE(CryptCreateHash(container.Get(), 0x801E, 0, 0, &hash));
            CryptDestroyHash(hash);
            CryptDestroyKey(key);
        }
    };
    const auto heap = [] {
        SIZE_T used = 0;
        PROCESS_HEAP_ENTRY entry{};
        HeapLock(GetProcessHeap());
        while (HeapWalk(GetProcessHeap(), &entry))
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) used += entry.cbData;
        HeapUnlock(GetProcessHeap());
        return used;
    };
    use(100);
    const HandleCounts handles = CountHandles();
    const SIZE_T before = heap();
    use(3'000);
    EXPECT_EQ(CountHandles(), handles);
    EXPECT_LT(heap(), before + 16 * 1024);
}

// Opens a container, reads everything in it, signs, copies it and removes both.
void UseContainer(const wchar_t* name) {
    CCryptProvContext context;
    if (context.Acquire(CRYPT_SILENT, name, nullptr, 75)) {
        for (const DWORD parameter : {PP_CONTAINER, PP_UNIQUE_CONTAINER}) TextParameter(context.Get(), parameter);
        BYTE buffer[4096];
        DWORD size = sizeof buffer;
        for (DWORD flags = CRYPT_FIRST; CryptGetProvParam(context.Get(), 133, buffer, &size, flags); flags = 0)
            size = sizeof buffer;
        for (const DWORD parameter : {92, 93, 146, 109})
            CryptGetProvParam(context.Get(), parameter, buffer, &(size = sizeof buffer), 0);
        for (const DWORD spec : {AT_KEYEXCHANGE, AT_SIGNATURE}) {
            UniqueCryptKey key;
            UniqueCryptHash hash;
            if (!CryptGetUserKey(context.Get(), spec, key.put())) continue;
            KeyParameter(key.get(), KP_CERTIFICATE);
            ExportedKey(key.get(), PUBLICKEYBLOB);
            if (CryptCreateHash(context.Get(), 0x801E, 0, 0, hash.put()))
                CryptSignHashW(hash.get(), spec, nullptr, 0, buffer, &(size = sizeof buffer));
        }
        ContainerCopy copy;
        if (copy.OpenVerification(nullptr, 75) && ReadSourceContainer(context.Get(), copy)) {
            TestContainer target(L"copy of damaged");
            if (target.Made()) static_cast<void>(WriteTargetContainer(copy, target.Get()));
        }
    }
    context.Release();
    static_cast<void>(context.Acquire(CRYPT_DELETEKEYSET | CRYPT_SILENT, name, nullptr, 75));
}

// VESTRA_FUZZ_SECONDS searches longer and with other damage at each run.
TEST(SoftcspContainer, SurvivesAnyDamageToItsFile) {
    const LoadedProvider held;
    const ContainerStore store(Owner::User, 75);
    const ContainerPlace place{{.name = kRegistryCarrier}, L"damaged"};
    char seconds[16] = "2";
    const bool searches = GetEnvironmentVariableA("VESTRA_FUZZ_SECONDS", seconds, sizeof seconds) != 0;
    std::mt19937 random(searches ? GetTickCount() : 1);
    RunTool(L"remove damaged");
    ASSERT_EQ(RunTool(L"create damaged --keys xs --chain 1 --exportable"), 0u);
    Bytes original;
    ASSERT_EQ(store.LoadBytes(place, original), 0u);
    const ULONGLONG end = GetTickCount64() + 1000ULL * static_cast<unsigned>(std::atoi(seconds));
    int inputs = 0, opened = 0;
    for (; GetTickCount64() < end; ++inputs) {
        Bytes damaged = original;
        for (unsigned changes = 1 + random() % 4; changes > 0; --changes) {
            const std::size_t at = random() % damaged.size();
            const unsigned kind = random() % 8;
            if (kind == 0) damaged.resize(at + 1);
            if (kind == 1)
                damaged.insert(damaged.end(), damaged.begin() + static_cast<std::ptrdiff_t>(at), damaged.end());
            if (kind == 2 && at + 4 <= damaged.size()) std::memset(&damaged[at], 0xFF, 4);
            if (kind > 2) damaged[at] ^= static_cast<std::uint8_t>(1u << random() % 8);
        }
        // With the right digest and code the damage reaches what is behind their check.
        auto read = ReadContainer(damaged);
        if (read && random() % 2 == 0 && AuthenticateWithoutPassword(*read)) damaged = WriteContainer(*read);
        ASSERT_EQ(store.SaveBytes(place, damaged), 0u);
        opened += read.has_value();
        UseContainer(L"damaged");
    }
    std::printf("container: %d damaged files, %d of them readable\n", inputs, opened);
    EXPECT_GT(opened, 0);
    store.Remove(place);
}

// --- A killed program ---------------------------------------------------------------------------------------------

// The calls that write a container. The one that the countdown reaches ends the process, before or after the call.
int countdown;

template <class Function, class... Arguments>
auto Doomed(Function*, const char* name, Arguments... arguments) {
    // The import is replaced.
    auto* real =
        reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
    if (--countdown == 0) TerminateProcess(GetCurrentProcess(), 99);
    const auto result = real(arguments...);
    if (--countdown == 0) TerminateProcess(GetCurrentProcess(), 99);
    return result;
}

HANDLE WINAPI DoomedCreate(LPCWSTR a, DWORD b, DWORD c, LPSECURITY_ATTRIBUTES d, DWORD e, DWORD f, HANDLE g) {
    return Doomed(&CreateFileW, "CreateFileW", a, b, c, d, e, f, g);
}
BOOL WINAPI DoomedWrite(HANDLE a, LPCVOID b, DWORD c, LPDWORD d, LPOVERLAPPED e) {
    return Doomed(&WriteFile, "WriteFile", a, b, c, d, e);
}
BOOL WINAPI DoomedFlush(HANDLE a) {
    return Doomed(&FlushFileBuffers, "FlushFileBuffers", a);
}
BOOL WINAPI DoomedMove(LPCWSTR a, LPCWSTR b, DWORD c) {
    return Doomed(&MoveFileExW, "MoveFileExW", a, b, c);
}

const ContainerPlace kPlace{{.name = kRegistryCarrier}, L"killed"};

NewContainer Made(const wchar_t* password) {
    auto made = CreateContainer(kPlace.name, Password(password));
    made->container.extensions.push_back({"1.2.3", 0, Bytes(20'000, 7)});
    Authenticate(made->container, made->master);
    return std::move(*made);
}

bool Opens(const Container& container, const wchar_t* password) {
    const auto key = OpeningKey(container.lock, Password(password));
    const auto master = key ? OpenLock(container.lock, *key) : std::nullopt;
    return master && IsAuthentic(container, *master);
}

// The killed program: it writes a container and ends at the call that the environment names.
TEST(SoftcspKilled, DISABLED_Child) {
    char text[16] = "0";
    GetEnvironmentVariableA("KILL_AT", text, sizeof text);
    const ContainerStore store(Owner::User, 75);
    const NewContainer made = Made(L"new");
    const ImportPatch create(nullptr, "CreateFileW", DoomedCreate), write(nullptr, "WriteFile", DoomedWrite),
        flush(nullptr, "FlushFileBuffers", DoomedFlush), move(nullptr, "MoveFileExW", DoomedMove);
    countdown = std::atoi(text);
    const bool replaces = GetEnvironmentVariableA("KILL_REPLACING", text, sizeof text) != 0;
    const DWORD result = replaces ? store.Save(kPlace, made.container) : store.Create(kPlace, made.container);
    countdown = 0;
    ASSERT_EQ(result, 0u);
}

DWORD RunChild(int killAt, bool replacing) {
    SetEnvironmentVariableA("KILL_AT", std::to_string(killAt).c_str());
    SetEnvironmentVariableA("KILL_REPLACING", replacing ? "1" : nullptr);
    wchar_t command[] =
        L"softcsp_key_tests.exe --gtest_also_run_disabled_tests --gtest_filter=SoftcspKilled.DISABLED_Child";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW((ProgramDirectory() + L"softcsp_key_tests.exe").c_str(), command, nullptr, nullptr, FALSE, 0,
                        nullptr, nullptr, &startup, &process))
        return MAXDWORD;
    DWORD code = MAXDWORD;
    WaitForSingleObject(process.hProcess, INFINITE);
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}

TEST(SoftcspKilled, LeavesTheOldContainerOrTheNewOne) {
    const ContainerStore store(Owner::User, 75);
    for (const bool replacing : {false, true}) {
        int kills = 0, old = 0;
        for (int at = 1; at < 40; ++at) {
            store.Remove(kPlace);
            if (replacing) {
                ASSERT_EQ(store.Create(kPlace, Made(L"old").container), 0u);
            }
            const DWORD code = RunChild(at, replacing);
            ASSERT_TRUE(code == 0 || code == 99) << code;
            Bytes bytes;
            const DWORD loaded = store.LoadBytes(kPlace, bytes);
            const auto container = ReadContainer(bytes);
            if (loaded == 0) {
                ASSERT_TRUE(container && IsIntact(bytes)) << at;
                const bool isOld = Opens(*container, L"old");
                ASSERT_TRUE(isOld ? replacing : Opens(*container, L"new")) << at;
                old += isOld;
            } else {
                ASSERT_FALSE(replacing) << at;
                ++old;
            }
            if (code == 0) break;
            ++kills;
        }
        std::printf("container: killed %d times, %d old ones\n", kills, old);
        EXPECT_GE(kills, 8) << "create, write, flush, move: before and after each";
        EXPECT_GE(old, 7);
        EXPECT_LT(old, kills + 1);
    }
    store.Remove(kPlace);
}

}  // namespace
