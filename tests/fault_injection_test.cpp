// The fault injection sees the faults that it is there for: each of them, put into a small scenario, is found.

#include "csp/CryptoValues.h"
#include "tests/support/FaultInjection.h"

namespace {

enum class Seed { None, Leak, SecondRelease, HashAfterProvider, IgnoredFailure };

// Asks for the parameters of the system's own provider, one after the other.
void AskFor(std::initializer_list<DWORD> parameters) {
    HCRYPTPROV provider = 0;
    CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT);
    for (const DWORD parameter : parameters) {
        DWORD value = 0, size = sizeof value;
        CryptGetProvParam(provider, parameter, reinterpret_cast<BYTE*>(&value), &size, 0);
    }
    CryptReleaseContext(provider, 0);
}

// Hashes a byte with the system's own provider and closes what it opened; 0 or the code of the call that failed.
DWORD HashAByte(Seed seed) {
    HCRYPTPROV provider = 0;
    HCRYPTHASH hash = 0;
    const BYTE byte = 1;
    const bool done = CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT) &&
                      CryptCreateHash(provider, CALG_SHA1, 0, 0, &hash) &&
                      (CryptHashData(hash, &byte, 1, 0) || seed == Seed::IgnoredFailure);
    const DWORD result = done ? 0 : GetLastError();
    if (seed == Seed::HashAfterProvider) CryptReleaseContext(std::exchange(provider, 0), 0);
    if (hash && !(result && seed == Seed::Leak)) CryptDestroyHash(hash);
    if (hash && result && seed == Seed::SecondRelease) CryptDestroyHash(hash);
    if (provider) CryptReleaseContext(provider, 0);
    return result;
}

TEST(FaultInjection, SeesEachKindOfFault) {
    const std::pair<Seed, const char*> cases[] = {
        {Seed::None, ""},
        {Seed::Leak, "leaks what CryptCreateHash opened"},
        {Seed::SecondRelease, "point 2, CryptHashData: CryptDestroyHash closes what isn't open"},
        {Seed::HashAfterProvider, "no fault: what CryptCreateHash opened outlives its provider"},
        {Seed::IgnoredFailure, "point 2, CryptHashData: reads as success"},
    };
    for (const auto& [seed, complaint] : cases) {
        DWORD result = 0;
        const auto scenario = [&, seeded = seed] { result = HashAByte(seeded); };
        const auto figure = FaultInjection().Run(
            "seeded", scenario, [&](const Fault& fault) { return result == fault.error ? "" : "reads as success"; });
        EXPECT_EQ(figure.problems.empty(), seed == Seed::None);
        EXPECT_NE(testing::PrintToString(figure.problems).find(complaint), std::string::npos) << complaint;
    }
}

TEST(FaultInjection, SeesWhatIsAskedAgain) {
    const auto repeated = [](const std::function<void()>& scenario) {
        return FaultInjection().Run("asked", scenario, [](const Fault&) { return ""; }).repeated;
    };
    const auto again = [] { AskFor({PP_PROVTYPE, PP_VERSION, PP_PROVTYPE}); };
    const auto whenTheUserHasActed = [] {
        AskFor({PP_PROVTYPE, PP_VERSION});
        FaultInjection::ForgetQuestions();
        AskFor({PP_PROVTYPE});
    };
    const std::string question = "CryptGetProvParam(CryptAcquireContextW(0, 0, 1, F0000000), 10, given, 0)";
    EXPECT_EQ(repeated(again), std::vector{question});
    EXPECT_EQ(repeated(whenTheUserHasActed), std::vector<std::string>());
}

TEST(FaultInjection, SeesASuccessWithoutMemory) {
    const auto ignoreIt = [] {
        try {
            FromAnsi("longer than a text object holds by itself");
        } catch (const std::bad_alloc&) {
        }
    };
    const auto figure = FaultInjection().Run("text", ignoreIt,
                                             [](const Fault& fault) { return fault.memory ? "reads as success" : ""; });
    ASSERT_EQ(figure.problems.size(), 1u);
    EXPECT_TRUE(figure.problems[0].starts_with("no memory in _Z8FromAnsi")) << figure.problems[0];
}

}  // namespace
