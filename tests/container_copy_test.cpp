// The copy of containers by the software provider: nothing of a source gets lost, and nothing of its keys gets out.
#include "csp/ContainerCopy.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "csp/ContainerCheck.h"
#include "csp/CryptoValues.h"
#include "softcsp/container/ContainerStore.h"
#include "tests/support/CryptCalls.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/LibraryFunction.h"
#include "tests/support/Provider.h"
#include "tests/support/Report.h"

namespace {

struct Place {
    const wchar_t* provider;
    DWORD type;
    bool computers;
    softcsp::ContainerStore store{computers ? softcsp::Owner::Computer : softcsp::Owner::User, type};
    DWORD flags = CRYPT_SILENT | (computers ? CRYPT_MACHINE_KEYSET : 0);
};
const Place kUser{kProvider75, 75, false}, kComputer{kProvider75, 75, true}, kOther{kProvider71, 71, false};
const softcsp::ContainerPlace kSource{{.name = softcsp::kRegistryCarrier}, L"copy source"},
    kTarget{{.name = softcsp::kRegistryCarrier}, L"copy target"};

softcsp::Container Loaded(const Place& at, const softcsp::ContainerPlace& which) {
    softcsp::Container container;
    EXPECT_EQ(at.store.Load(which, container), 0u);
    return container;
}

// The source container, made by the tool; `more`: with many extensions and a large one.
struct Source {
    explicit Source(const Place& at, const std::wstring& options = L"--keys xs --chain 1", bool more = false)
        : place(at) {
        place.store.Remove(kSource);
        RunTool(L"create \"copy source\" --exportable " + options + L" --provider \"" + place.provider +
                (place.computers ? L"\" --machine" : L"\""));
        auto container = Loaded(place, kSource);
        for (std::uint32_t i = 0; more && i < 200; ++i)
            container.extensions.push_back({"1.2.643.7." + std::to_string(i), i % 3, softcsp::Bytes(i, 7)});
        if (more) container.extensions.push_back({"1.2.3", 0x80000000, softcsp::Bytes(100 * 1024, 9)});
        if (more) container.cipher = softcsp::FindParameterSet(softcsp::ParameterKind::Cipher, "1.2.643.2.2.31.3");
        place.store.Save(kSource, container);
        place.store.LoadBytes(kSource, file);
    }
    ~Source() { place.store.Remove(kSource); }
    bool Unchanged() const {
        softcsp::Bytes bytes;
        return place.store.LoadBytes(kSource, bytes) == 0 && bytes == file;
    }
    const Place& place;
    softcsp::Bytes file;
};

const LoadedProvider held;  // from one use to the next

HRESULT Read(ContainerCopy& copy, const Place& from) {
    CCryptProvContext source;
    return ErrorOf(source.Acquire(from.flags, kSource.name.c_str(), from.provider, from.type)
                       .Then([&] { return copy.OpenVerification(from.provider, from.type); })
                       .Then([&] { return ReadSourceContainer(source.Get(), copy); }));
}

HRESULT Write(const ContainerCopy& copy, const Place& to) {
    CCryptProvContext target;
    return ErrorOf(target.Acquire(to.flags | kCopyTargetFlags, kTarget.name.c_str(), to.provider, to.type).Then([&] {
        return WriteTargetContainer(copy, target.Get());
    }));
}

HRESULT Copy() {
    ContainerCopy copy;
    const HRESULT read = Read(copy, kUser);
    return read == S_OK ? Write(copy, kUser) : read;
}

// The private keys as they lie in the container, 32 bytes each.
std::vector<TestBytes> PrivateKeys(const softcsp::Container& container) {
    std::vector<TestBytes> keys;
    const auto master = softcsp::OpenLock(container.lock, *softcsp::OpeningKey(container.lock, {}));
    for (const auto& key : {container.exchange, container.signature}) {
        if (!key) continue;
        const auto bytes = softcsp::Unseal(*master, key->privateKey)->Bytes();
        keys.emplace_back(bytes.begin(), bytes.end());
    }
    return keys;
}

// All that a copy has in common with its source: the provider makes the public keys anew from the private ones.
softcsp::Bytes Facts(softcsp::Container container) {
    container.name.clear();
    container.lock = {};
    for (auto* key : {&container.exchange, &container.signature})
        if (*key) (*key)->privateKey = {};
    return softcsp::WriteContainer(container);
}

// The target has it all and passes the check.
bool IsCopied(const Place& from, const Place& to) {
    RecordedReport report;
    CCryptProvContext target;
    return target.Acquire(to.flags, kTarget.name.c_str(), to.provider, to.type) &&
           CheckContainer(target.Get(), KeySet::User, report) &&
           Facts(Loaded(from, kSource)) == Facts(Loaded(to, kTarget));
}

// The blobs that this process and the provider exchange.
struct Traffic {
    std::vector<TestBytes> blobs;
    bool failing = false;  // what closes handles seems to fail
    CryptCalls patch{[this](const CryptCalls::Call& call) {
        if (call.name == "CryptImportKey") blobs.emplace_back(call.At<BYTE*>(1), call.At<BYTE*>(1) + call.a[2]);
        const auto result = call();
        if (failing && call.name == "CryptReleaseContext") return CryptCalls::Fail(ERROR_SEEK);
        if (failing && call.name == "CryptDestroyKey") return CryptCalls::Fail(ERROR_CRC);
        if (call.name != "CryptExportKey" || !call.a[4]) return result;
        blobs.emplace_back(call.At<BYTE*>(4), call.At<BYTE*>(4) + *call.At<DWORD*>(5));
        EXPECT_EQ(call.a[2] == PUBLICKEYBLOB, call.a[1] == 0) << "exported in the clear";
        return result;
    }};
    bool Holds(const TestBytes& secret) const {
        return std::ranges::any_of(blobs,
                                   [&](const TestBytes& blob) { return !std::ranges::search(blob, secret).empty(); });
    }
};

TEST(ContainerCopy, HasAllThatTheSourceHas) {
    const struct {
        const wchar_t* options;
        Place from, to;
        bool more = false;
    } cases[] = {
        {L"--keys xs --certs xs --chain 2", kUser, kUser},
        {L"--keys s --certs none", kUser, kComputer},
        {L"--keys x", kComputer, kUser, true},
        {L"--keys none --certs none", kUser, kOther, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.options)));
        const Source source(c.from, c.options, c.more);
        c.to.store.Remove(kTarget);
        ContainerCopy copy;
        Traffic traffic;
        ASSERT_EQ(Read(copy, c.from), S_OK);
        ASSERT_EQ(Write(copy, c.to), S_OK);
        EXPECT_EQ(Write(copy, c.to), NTE_EXISTS);
        c.to.store.Remove(kTarget);
        EXPECT_EQ(Write(copy, c.to), S_OK) << "what was read can be written again";
        for (const TestBytes& key : PrivateKeys(Loaded(c.to, kTarget))) EXPECT_FALSE(traffic.Holds(key));
        EXPECT_TRUE(source.Unchanged());
        EXPECT_TRUE(IsCopied(c.from, c.to));
        traffic.failing = true;
        EXPECT_EQ(ErrorOf(copy.Clear()), HRESULT_FROM_WIN32(ERROR_CRC));  // the key's, which comes first
        c.to.store.Remove(kTarget);
    }
}

// Only a key that can't be opened may be missing from a copy.
TEST(ContainerCopy, RefusesWhatItCannotReadWhole) {
    const Source source(kUser, L"--keys x");
    const auto missing = [](std::string_view name, size_t argument, DWORD value) {
        return [=] {
            return CryptCalls([=](const CryptCalls::Call& call) {
                const bool length = call.name == "CryptGetKeyParam" && !call.a[2];  // which may fail
                const bool fails = call.name == name && call.a[argument] == value && !length;
                return fails ? CryptCalls::Fail(static_cast<DWORD>(NTE_NO_KEY)) : call();
            });
        };
    };
    const struct {
        const char* name;
        std::function<CryptCalls()> fault;
        HRESULT result;
    } cases[] = {
        {"cut certificate", [] { return SpoiledCertificates("cut"); }, CRYPT_E_ASN1_CORRUPT},
        {"overlong certificate", [] { return SpoiledCertificates("overlong"); }, CRYPT_E_ASN1_CORRUPT},
        {"no key", missing("CryptGetUserKey", 1, AT_KEYEXCHANGE), S_OK},
        {"no certificate of the announced length", missing("CryptGetKeyParam", 1, KP_CERTIFICATE), NTE_NO_KEY},
        {"no private key", missing("CryptExportKey", 2, PRIVATEKEYBLOB), NTE_NO_KEY},
    };
    for (const auto& c : cases) {
        const CryptCalls calls = c.fault();
        ContainerCopy copy;
        EXPECT_EQ(Read(copy, kUser), c.result) << c.name;
    }
}

// The provider measures both itself: an identifier that was given without its terminator, and the secret that it is
// asked to choose, which only Wine needs to be given as a number of no bytes.
TEST(ContainerCopy, HandsNothingOnThatHasNoEnd) {
    const Source source(kUser, L"--keys x");
    int completed = 0;
    const CryptCalls calls([&](const CryptCalls::Call& call) {
        const DWORD parameter = static_cast<DWORD>(call.a[1]);
        const bool identifier = parameter == 103 || parameter == 106;
        if (call.name == "CryptSetKeyParam" && parameter == KP_X) ++completed;
        if (call.name == "CryptSetKeyParam" && identifier) {
            const size_t room = _msize(call.At<void*>(2));
            EXPECT_LT(strnlen(call.At<char*>(2), room), room) << parameter;
        }
        if (call.name != "CryptGetKeyParam" || !identifier) return call();
        char text[64] = "";
        DWORD length = sizeof text;
        CryptCalls::Call whole = call;
        whole.a[2] = reinterpret_cast<CryptCalls::Word>(text);
        whole.a[3] = reinterpret_cast<CryptCalls::Word>(&length);
        const auto result = whole();
        Give({text, length - 1}, call.At<BYTE*>(2), call.At<DWORD*>(3));
        return result;
    });
    ContainerCopy copy;
    EXPECT_EQ(Read(copy, kUser), S_OK);
    EXPECT_EQ(completed, 1);
    const LibraryFunction elsewhere("wine_get_version", nullptr);
    EXPECT_EQ(Read(copy, kUser), HRESULT_FROM_WIN32(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(completed, 2);
}

// What there seems not to be is left out of the copy: a key, a certificate.
TEST(ContainerCopy, SurvivesEveryFailingCall) {
    const Source source(kUser, L"--keys xs");
    FaultInjection injection;
    bool absent = false;
    HRESULT result = S_OK;
    const CryptCalls calls([&](const CryptCalls::Call& call) {
        const auto done = call();
        const bool length = call.name == "CryptGetKeyParam" && call.a[1] == KP_CERTIFICATE && !call.a[2];
        absent |= !done && (length || call.name == "CryptGetUserKey");
        return done;
    });
    const auto copy = [&] { absent = false, result = E_OUTOFMEMORY, result = Copy(); };
    const auto verdict = [&](const Fault& fault) -> std::string {
        if (!source.Unchanged()) return "the source is changed";
        if (result == S_OK && fault.point != Fault::kNone && !absent) return "a failure reads as success";
        if (result == S_OK && !absent && !IsCopied(kUser, kUser)) return "not all is copied";
        const auto code = static_cast<HRESULT>(fault.error);
        if (result != S_OK && !absent && result != code && result != HRESULT_FROM_WIN32(fault.error))
            return "another failure's code: " + std::to_string(static_cast<DWORD>(result));
        kUser.store.Remove(kTarget);
        if (fault.onwards) copy();
        const bool again = !fault.onwards || (result == S_OK && IsCopied(kUser, kUser));
        kUser.store.Remove(kTarget);
        return again ? "" : "can't be copied any more";
    };
    kUser.store.Remove(kTarget);
    injection.Survive("copy", copy, verdict);
}

// Copies; as a program of its own it dies after the call whose number is in the environment.
TEST(ContainerCopyKilled, LeavesTheSourceIntact) {
    char text[16] = "";
    if (GetEnvironmentVariableA("KILL_AT", text, sizeof text)) {
        const CryptCalls calls([countdown = std::atoi(text)](const CryptCalls::Call& call) mutable {
            const auto result = call();
            if (--countdown == 0) TerminateProcess(GetCurrentProcess(), 99);
            return result;
        });
        ASSERT_EQ(Copy(), S_OK);
        return;
    }
    const Source source(kUser);
    kUser.store.Remove(kTarget);
    std::vector<int> writing;  // calls after which the target is another
    {
        int number = 0;
        softcsp::Bytes before;
        const CryptCalls calls([&](const CryptCalls::Call& call) {
            const auto result = call();
            const DWORD error = GetLastError();
            ++number;
            softcsp::Bytes now;
            kUser.store.LoadBytes(kTarget, now);
            if (now != before) writing.push_back(number);
            before = now;
            SetLastError(error);
            return result;
        });
        ASSERT_EQ(Copy(), S_OK);
    }
    for (const int kill : writing) {
        SCOPED_TRACE(kill);
        ASSERT_EQ(kUser.store.Remove(kTarget), 0u);
        SetEnvironmentVariableA("KILL_AT", std::to_string(kill).c_str());
        ASSERT_EQ(RunProgram(L"copy_tests.exe", L"--gtest_filter=ContainerCopyKilled.*"), 99u);
        ASSERT_TRUE(source.Unchanged());
    }
    std::printf("copy: killed at %zu calls\n", writing.size());
    EXPECT_GE(writing.size(), 6u);
    EXPECT_TRUE(IsCopied(kUser, kUser)) << "killed after the last writing call";
    kUser.store.Remove(kTarget);
}

}  // namespace
