// The copy of containers by the software provider: nothing of a source gets lost, and nothing of its keys gets out.
#include "csp/ContainerCopy.h"

#include "csp/ContainerCheck.h"
#include "csp/CryptoValues.h"
#include "softcsp/container/ContainerStore.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/Provider.h"
#include "tests/support/Report.h"
#include "tests/support/SystemCalls.h"

namespace {

const softcsp::ContainerStore kStore{softcsp::Owner::User, 75};
const softcsp::ContainerPlace kSource{{.name = softcsp::kRegistryCarrier}, L"copy source"},
    kTarget{{.name = softcsp::kRegistryCarrier}, L"copy target"};

softcsp::Container Loaded(const softcsp::ContainerPlace& which) {
    softcsp::Container container;
    EXPECT_EQ(kStore.Load(which, container), 0u);
    return container;
}

// The source container, made by the tool; `more`: with many extensions and a large one.
struct Source {
    explicit Source(const std::wstring& options = L"--keys xs --chain 1", bool more = false)
        : made(L"copy source", L"--exportable " + options) {
        auto container = Loaded(kSource);
        for (std::uint32_t i = 0; more && i < 40; ++i)
            container.extensions.push_back({"1.2.643.7." + std::to_string(i), i % 3, softcsp::Bytes(i, 7)});
        if (more) container.extensions.push_back({"1.2.3", 0x80000000, softcsp::Bytes(102'400, 9)});
        if (more) container.cipher = softcsp::FindParameterSet(softcsp::ParameterKind::Cipher, "1.2.643.2.2.31.3");
        kStore.Save(kSource, container);
        kStore.LoadBytes(kSource, file);
        kStore.Remove(kTarget);
    }
    ~Source() { kStore.Remove(kTarget); }
    bool Unchanged() const {
        softcsp::Bytes bytes;
        return kStore.LoadBytes(kSource, bytes) == 0 && bytes == file;
    }
    const ToolContainer made;
    softcsp::Bytes file;
};

const LoadedProvider held;  // from one use to the next

HRESULT Read(ContainerCopy& copy) {
    CCryptProvContext source;
    return ErrorOf(source.Acquire(CRYPT_SILENT, kSource.name.c_str(), kProvider75, 75)
                       .Then([&] { return copy.OpenVerification(kProvider75, 75); })
                       .Then([&] { return ReadSourceContainer(source.Get(), copy); }));
}

HRESULT Write(const ContainerCopy& copy) {
    CCryptProvContext target;
    return ErrorOf(target.Acquire(CRYPT_SILENT | kCopyTargetFlags, kTarget.name.c_str(), kProvider75, 75).Then([&] {
        return WriteTargetContainer(copy, target.Get());
    }));
}

HRESULT Copy() {
    ContainerCopy copy;
    const HRESULT read = Read(copy);
    return read == S_OK ? Write(copy) : read;
}

// All that a copy has in common with its source: the provider makes the public keys anew from the private ones.
softcsp::Bytes Facts(softcsp::Container container) {
    container.name.clear();
    container.lock = {};
    for (auto* key : {&container.exchange, &container.signature})
        if (*key) (*key)->privateKey = {.attributes = std::array<std::uint8_t, 8>{}};
    return softcsp::WriteContainer(container);
}

// The target has it all and passes the check.
bool IsCopied() {
    RecordedReport report;
    CCryptProvContext target;
    return target.Acquire(CRYPT_SILENT, kTarget.name.c_str(), kProvider75, 75) &&
           CheckContainer(target.Get(), KeySet::User, report) && Facts(Loaded(kSource)) == Facts(Loaded(kTarget));
}

TEST(ContainerCopy, HasAllThatTheSourceHas) {
    for (const wchar_t* options : {L"--keys xs --certs xs --chain 2", L"--keys s", L"--keys none --certs none"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(options)));
        const Source source(options, true);
        ContainerCopy copy;
        int inTheClear = 0;
        bool failing = false;  // what closes handles seems to fail
        const SystemCalls calls([&](const SystemCalls::Call& call) {
            inTheClear += call.name == "CryptExportKey" && call.a[2] != PUBLICKEYBLOB && !call.a[1];
            const auto result = call();
            if (failing && call.name == "CryptReleaseContext") return SystemCalls::Fail(ERROR_SEEK);
            if (failing && call.name == "CryptDestroyKey") return SystemCalls::Fail(ERROR_CRC);
            return result;
        });
        ASSERT_EQ(Read(copy), S_OK);
        ASSERT_EQ(Write(copy), S_OK);
        EXPECT_EQ(Write(copy), NTE_EXISTS);
        EXPECT_EQ(inTheClear, 0);
        EXPECT_TRUE(source.Unchanged());
        EXPECT_TRUE(IsCopied());
        failing = true;
        EXPECT_EQ(ErrorOf(copy.Clear()), HRESULT_FROM_WIN32(ERROR_CRC));  // the key's, which comes first
    }
}

// Only a key that can't be opened may be missing from a copy.
TEST(ContainerCopy, RefusesWhatItCannotReadWhole) {
    const Source source(L"--keys x");
    const struct {
        std::string_view spoiled, missing;  // how certificates are spoiled, and a call that reports no key
        size_t argument = 0;
        DWORD value = 0;  // of the argument
        HRESULT result = CRYPT_E_ASN1_CORRUPT;
    } cases[] = {
        {"cut", ""},
        {"overlong", ""},
        {"", "CryptGetUserKey", 1, AT_KEYEXCHANGE, S_OK},
        {"", "CryptGetKeyParam", 1, KP_CERTIFICATE, NTE_NO_KEY},  // after its length
        {"", "CryptExportKey", 2, PRIVATEKEYBLOB, NTE_NO_KEY},
    };
    for (const auto& c : cases) {
        const SystemCalls spoiled = SpoiledCertificates(c.spoiled), calls([&](const SystemCalls::Call&call) {
            const bool length = call.name == "CryptGetKeyParam" && !call.a[2];  // which may fail
            const bool fails = call.name == c.missing && call.a[c.argument] == c.value && !length;
            return fails ? SystemCalls::Fail(static_cast<DWORD>(NTE_NO_KEY)) : call();
        });
        ContainerCopy copy;
        EXPECT_EQ(Read(copy), c.result) << c.spoiled << c.missing;
    }
}

// The provider measures both itself: an identifier that was given without its terminator, and the secret that it is
// asked to choose, which only Wine needs to be given as a number of no bytes.
TEST(ContainerCopy, HandsNothingOnThatHasNoEnd) {
    const Source source(L"--keys x");
    int completed = 0;
    const SystemCalls calls([&](const SystemCalls::Call& call) {
        const auto parameter = static_cast<DWORD>(call.a[1]);
        const bool identifier = parameter == 103 || parameter == 106;
        if (call.name == "CryptSetKeyParam" && parameter == KP_X) ++completed;
        if (call.name == "CryptSetKeyParam" && identifier) {
            const size_t room = _msize(call.At<void*>(2));
            EXPECT_LT(strnlen(call.At<char*>(2), room), room) << parameter;
        }
        if (call.name != "CryptGetKeyParam" || !identifier) return call();
        char text[64] = "";
        DWORD length = sizeof text;
        SystemCalls::Call whole = call;
        whole.a[2] = reinterpret_cast<SystemCalls::Word>(text);
        whole.a[3] = reinterpret_cast<SystemCalls::Word>(&length);
        const auto result = whole();
        Give({text, length - 1}, call.At<BYTE*>(2), call.At<DWORD*>(3));
        return result;
    });
    ContainerCopy copy;
    EXPECT_EQ(Read(copy), S_OK);
    EXPECT_EQ(completed, 1);
    const LibraryFunction elsewhere("wine_get_version", nullptr);
    EXPECT_EQ(Read(copy), HRESULT_FROM_WIN32(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(completed, 2);
}

// What there seems not to be is left out of the copy: a key, a certificate.
TEST(ContainerCopy, SurvivesEveryFailingCall) {
    const Source source(L"--keys xs");
    FaultInjection injection;
    bool absent = false;
    HRESULT result = S_OK;
    const SystemCalls calls([&](const SystemCalls::Call& call) {
        const auto done = call();
        const bool length = call.name == "CryptGetKeyParam" && call.a[1] == KP_CERTIFICATE && !call.a[2];
        absent |= !done && (length || call.name == "CryptGetUserKey");
        return done;
    });
    const auto copy = [&] { absent = false, result = E_OUTOFMEMORY, result = Copy(); };
    const auto verdict = [&](const Fault& fault) -> std::string {
        if (!source.Unchanged()) return "the source is changed";
        if (result == S_OK && fault.point != Fault::kNone && !absent) return "a failure reads as success";
        if (result == S_OK && !absent && !IsCopied()) return "not all is copied";
        const auto code = static_cast<HRESULT>(fault.error);
        if (result != S_OK && !absent && result != code && result != HRESULT_FROM_WIN32(fault.error))
            return "another failure's code: " + std::to_string(static_cast<DWORD>(result));
        kStore.Remove(kTarget);
        return "";
    };
    injection.Survive("copy", copy, verdict);
}

// Copies; as a program of its own it ends after the writing call whose number is in the environment.
TEST(ContainerCopyKilled, LeavesTheSourceIntact) {
    char text[16] = "";
    if (GetEnvironmentVariableA("KILL_AT", text, sizeof text)) {
        const SystemCalls calls([countdown = std::atoi(text)](const SystemCalls::Call& call) mutable {
            const auto result = call();
            for (const char* writing :
                 {"CryptAcquireContextW", "CryptImportKey", "CryptSetKeyParam", "CryptSetProvParam"})
                if (call.name == writing && --countdown == 0) TerminateProcess(GetCurrentProcess(), 99);
            return result;
        });
        ASSERT_EQ(Copy(), S_OK);
        return;
    }
    const Source source;
    int kills = 0;
    DWORD ended = 99;
    while (ended == 99) {
        kStore.Remove(kTarget);
        SetEnvironmentVariableA("KILL_AT", std::to_string(++kills).c_str());
        ended = RunProgram(L"copy_tests.exe", L"--gtest_filter=ContainerCopyKilled.*");
        ASSERT_TRUE(source.Unchanged()) << kills;
    }
    EXPECT_EQ(ended, 0u);
    EXPECT_GE(kills, 6);
    EXPECT_TRUE(IsCopied());
}

}  // namespace
