// The copy of containers by the software provider: nothing of a source gets lost, and nothing of its keys gets out.
#include "csp/ContainerCopy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "csp/ContainerCheck.h"
#include "csp/CryptoValues.h"
#include "softcsp/container/ContainerStore.h"
#include "tests/support/CryptCalls.h"
#include "tests/support/LibraryFunction.h"
#include "tests/support/Provider.h"

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

struct NoReport final : CheckReport {
    void Row(UINT, UINT) override {}
    void Row(UINT, std::wstring_view) override {}
    void Failure(UINT, DWORD) override {}
    void Continuation(std::wstring_view) override {}
    void Continuation(UINT) override {}
    void Verdict(UINT, UINT) override {}
};

// The target has it all and passes the check.
bool IsCopied(const Place& from, const Place& to) {
    NoReport report;
    CCryptProvContext target;
    return target.Acquire(to.flags, kTarget.name.c_str(), to.provider, to.type) &&
           CheckContainer(target.Get(), KeySet::User, report) &&
           Facts(Loaded(from, kSource)) == Facts(Loaded(to, kTarget));
}

// What goes on between this process and the provider.
struct Traffic {
    std::vector<TestBytes> blobs;
    std::ostringstream said;  // calls, each with its algorithm, blob's type or parameter, and its flags or value
    CryptCalls::Word exported = 0;
    bool failing = false;                          // what closes seems to
    std::vector<std::pair<DWORD, DWORD>> listing;  // of the extensions: flags and room
    CryptCalls calls{[this](const CryptCalls::Call& call) {
        if (call.name == "CryptGetProvParam" && call.a[1] == 133)
            listing.emplace_back(static_cast<DWORD>(call.a[4]), call.a[2] ? *call.At<DWORD*>(3) : 0);
        if (call.name == "CryptGenKey") Say("make ", call.a[1], call.a[2]);
        if (call.name == "CryptSetKeyParam" && call.a[1] == KP_ALGID)
            Say(call.a[0] == exported ? "set exported " : "set ", KP_ALGID, *call.At<DWORD*>(2));
        if (call.name == "CryptImportKey") blobs.emplace_back(call.At<BYTE*>(1), call.At<BYTE*>(1) + call.a[2]);
        if (call.name == "CryptImportKey") Say("import ", *call.At<BYTE*>(1), call.a[4]);
        const auto result = call();
        if (failing && call.name == "CryptReleaseContext") return CryptCalls::Fail(ERROR_SEEK);
        if (failing && call.name == "CryptDestroyKey") return CryptCalls::Fail(ERROR_CRC);
        if (call.name != "CryptExportKey" || !call.a[4]) return result;
        blobs.emplace_back(call.At<BYTE*>(4), call.At<BYTE*>(4) + *call.At<DWORD*>(5));
        Say("export ", call.a[2], call.a[3]), exported = call.a[0];
        EXPECT_EQ(call.a[2] == PUBLICKEYBLOB, call.a[1] == 0) << "exported in the clear";
        return result;
    }};
    bool Holds(const TestBytes& secret) const {
        return std::ranges::any_of(blobs,
                                   [&](const TestBytes& blob) { return !std::ranges::search(blob, secret).empty(); });
    }
    void Say(const char* what, CryptCalls::Word which, CryptCalls::Word how) {
        said << std::hex << what << static_cast<DWORD>(which) << ' ' << static_cast<DWORD>(how) << "; ";
    }
};

TEST(ContainerCopy, HasAllThatTheSourceHas) {
    const std::string transfer =
        "make aa25 1; export 6 0; make aa25 41; export 6 0; import 6 1; set 7 661f; import 6 1; set 7 661f; "
        "export 1 0; set exported 7 661f; import 1 1; ";
    const struct {
        const wchar_t* options;
        Place from, to;
        bool more = false;
    } cases[] = {
        {L"--keys xs --certs xs --chain 2", kUser, kUser},
        {L"--keys xs --certs s", kUser, kOther},
        {L"--keys x", kOther, kUser},
        {L"--keys s --certs none", kUser, kComputer},
        {L"--keys x", kComputer, kUser, true},
        {L"--keys none --certs none", kUser, kUser},
        {L"--keys none --certs none", kUser, kOther, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        const Source source(c.from, c.options, c.more);
        c.to.store.Remove(kTarget);
        ContainerCopy copy;
        Traffic traffic;
        ASSERT_EQ(Read(copy, c.from), S_OK);
        ASSERT_EQ(Write(copy, c.to), S_OK);
        EXPECT_EQ(Write(copy, c.to), NTE_EXISTS);
        for (size_t i = 0; i < traffic.listing.size(); ++i)
            EXPECT_EQ(traffic.listing[i], std::pair(DWORD{i < 2}, i ? traffic.listing[1].second : 0)) << i;
        const auto made = Loaded(c.to, kTarget);
        std::string said = "make 661e 1; ";
        for (const char* each : {"export 7 0; ", "import 7 1; "}) {
            said += transfer;
            for (const auto& key : {made.exchange, made.signature}) said += key ? each : "";
        }
        EXPECT_EQ(traffic.said.str(), said);
        for (const TestBytes& key : PrivateKeys(made)) EXPECT_FALSE(traffic.Holds(key));
        EXPECT_TRUE(source.Unchanged() && IsCopied(c.from, c.to));
        traffic.failing = true;
        EXPECT_EQ(ErrorOf(copy.Clear()), HRESULT_FROM_WIN32(ERROR_CRC));  // the key's, which comes first
        c.to.store.Remove(kTarget);
    }
}

// Nothing of such a source is handed on. Only a key that can't be opened may be missing.
TEST(ContainerCopy, RefusesWhatItCannotReadWhole) {
    const Source source(kUser, L"--keys x");
    const auto failing = [](std::string_view name, DWORD parameter, HRESULT code) {
        return CryptCalls([=](const CryptCalls::Call& call) {
            const bool fails = call.name == name && call.a[1] == parameter && (name != "CryptGetKeyParam" || call.a[2]);
            return fails ? CryptCalls::Fail(static_cast<DWORD>(code)) : call();
        });
    };
    const auto read = [](const CryptCalls&) {
        ContainerCopy copy;
        return Read(copy, kUser);
    };
    EXPECT_EQ(read(SpoiledCertificates(L"cut")), CRYPT_E_ASN1_CORRUPT);
    EXPECT_EQ(read(SpoiledCertificates(L"overlong")), CRYPT_E_ASN1_CORRUPT);
    EXPECT_EQ(read(failing("CryptGetUserKey", AT_KEYEXCHANGE, NTE_NO_KEY)), S_OK);
    EXPECT_EQ(read(failing("CryptGetKeyParam", KP_CERTIFICATE, NTE_NO_KEY)), NTE_NO_KEY);
    EXPECT_EQ(read(CryptCalls([](const CryptCalls::Call& call) {
                  const bool fails = call.name == "CryptExportKey" && call.a[2] == PRIVATEKEYBLOB;
                  return fails ? CryptCalls::Fail(static_cast<DWORD>(NTE_NO_KEY)) : call();
              })),
              NTE_NO_KEY);
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
        const auto result = call.real(call.a[0], call.a[1], reinterpret_cast<ULONG_PTR>(text),
                                      reinterpret_cast<ULONG_PTR>(&length), 0, 0);
        *call.At<DWORD*>(3) = length - 1;
        if (call.a[2]) memcpy(call.At<void*>(2), text, length - 1);
        return result;
    });
    ContainerCopy copy;
    EXPECT_EQ(Read(copy, kUser), S_OK);
    EXPECT_EQ(completed, 1);
    const LibraryFunction elsewhere("wine_get_version", nullptr);
    EXPECT_EQ(Read(copy, kUser), HRESULT_FROM_WIN32(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(completed, 2);
}

// Copies; as a program of its own it dies at the call that the environment tells.
TEST(ContainerCopyKilled, LeavesTheSourceIntact) {
    char text[16] = "";
    if (GetEnvironmentVariableA("KILL_AT", text, sizeof text)) {
        const CryptCalls calls([countdown = std::atoi(text)](const CryptCalls::Call& call) mutable {
            if (--countdown == 0) TerminateProcess(GetCurrentProcess(), 99);
            return call();
        });
        ContainerCopy copy;
        ASSERT_TRUE(Read(copy, kUser) == S_OK && Write(copy, kUser) == S_OK);
        return;
    }
    const Source source(kUser);
    unsigned code = 99, kills = 0;
    for (; code == 99; ++kills) {
        kUser.store.Remove(kTarget);
        SetEnvironmentVariableA("KILL_AT", std::to_string(kills + 1).c_str());
        code = RunProgram(L"copy_tests.exe", L"--gtest_filter=ContainerCopyKilled.*");
        ASSERT_TRUE(source.Unchanged()) << kills;
    }
    std::printf("copy: killed at %u calls\n", kills - 1);
    EXPECT_TRUE(code == 0 && kills > 60 && IsCopied(kUser, kUser)) << code;
    kUser.store.Remove(kTarget);
}

}  // namespace
