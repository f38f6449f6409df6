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

TEST(ContainerCopy, HasAllThatTheSourceHas) {
    const struct {
        const wchar_t* options;
        Place from, to;
        bool more = false;
    } cases[] = {
        {L"--keys xs --certs xs --chain 2", kUser, kComputer},
        {L"--keys x", kComputer, kUser, true},
        {L"--keys none --certs none", kUser, kOther, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.options)));
        const Source source(c.from, c.options, c.more);
        c.to.store.Remove(kTarget);
        ContainerCopy copy;
        int inTheClear = 0;
        bool failing = false;  // what closes handles seems to fail
        const CryptCalls calls([&](const CryptCalls::Call& call) {
            inTheClear += call.name == "CryptExportKey" && call.a[2] != PUBLICKEYBLOB && !call.a[1];
            const auto result = call();
            if (failing && call.name == "CryptReleaseContext") return CryptCalls::Fail(ERROR_SEEK);
            if (failing && call.name == "CryptDestroyKey") return CryptCalls::Fail(ERROR_CRC);
            return result;
        });
        ASSERT_EQ(Read(copy, c.from), S_OK);
        ASSERT_EQ(Write(copy, c.to), S_OK);
        EXPECT_EQ(Write(copy, c.to), NTE_EXISTS);
        EXPECT_EQ(inTheClear, 0);
        EXPECT_TRUE(source.Unchanged());
        EXPECT_TRUE(IsCopied(c.from, c.to));
        failing = true;
        EXPECT_EQ(ErrorOf(copy.Clear()), HRESULT_FROM_WIN32(ERROR_CRC));  // the key's, which comes first
        c.to.store.Remove(kTarget);
    }
}

// Only a key that can't be opened may be missing from a copy.
TEST(ContainerCopy, RefusesWhatItCannotReadWhole) {
    const Source source(kUser, L"--keys x");
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
        const CryptCalls spoiled = SpoiledCertificates(c.spoiled), calls([&](const CryptCalls::Call&call) {
            const bool length = call.name == "CryptGetKeyParam" && !call.a[2];  // which may fail
            const bool fails = call.name == c.missing && call.a[c.argument] == c.value && !length;
            return fails ? CryptCalls::Fail(static_cast<DWORD>(NTE_NO_KEY)) : call();
        });
        ContainerCopy copy;
        EXPECT_EQ(Read(copy, kUser), c.result) << c.spoiled << c.missing;
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
        const auto result = call();
        if (call.name == "CryptGetKeyParam" && identifier && result) --*call.At<DWORD*>(3);
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
        return "";
    };
    kUser.store.Remove(kTarget);
    injection.Survive("copy", copy, verdict);
}

// Copies; as a program of its own it ends after the writing call whose number is in the environment.
TEST(ContainerCopyKilled, LeavesTheSourceIntact) {
    char text[16] = "";
    if (GetEnvironmentVariableA("KILL_AT", text, sizeof text)) {
        const CryptCalls calls([countdown = std::atoi(text)](const CryptCalls::Call& call) mutable {
            const auto result = call();
            for (const char* writing :
                 {"CryptAcquireContextW", "CryptImportKey", "CryptSetKeyParam", "CryptSetProvParam"})
                if (call.name == writing && --countdown == 0) TerminateProcess(GetCurrentProcess(), 99);
            return result;
        });
        ASSERT_EQ(Copy(), S_OK);
        return;
    }
    const Source source(kUser);
    int kills = 0;
    DWORD ended = 99;
    while (ended == 99) {
        kUser.store.Remove(kTarget);
        SetEnvironmentVariableA("KILL_AT", std::to_string(++kills).c_str());
        ended = RunProgram(L"copy_tests.exe", L"--gtest_filter=ContainerCopyKilled.*");
        ASSERT_TRUE(source.Unchanged()) << kills;
    }
    EXPECT_EQ(ended, 0u);
    EXPECT_GE(kills, 6);
    EXPECT_TRUE(IsCopied(kUser, kUser));
    kUser.store.Remove(kTarget);
}

}  // namespace
