// Certificates in files, in containers and in stores, and the search for containers, without windows.

#include <random>

#include "csp/CertificateInstallation.h"
#include "csp/CertificateStores.h"
#include "csp/CertificateText.h"
#include "csp/ContainerCertificates.h"
#include "csp/ContainerSearch.h"
#include "csp/KeyLink.h"
#include "tests/support/Certificates.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/Provider.h"
#include "tests/support/SystemCalls.h"

namespace {

std::string Decoded(const std::string& base64) {
    auto size = static_cast<DWORD>(base64.size());
    TestBytes bytes(size);
    CryptStringToBinaryA(base64.c_str(), 0, CRYPT_STRING_BASE64HEADER, bytes.data(), &size, nullptr, nullptr);
    return {bytes.begin(), bytes.begin() + size};
}

enum Held { None, One, Several };

Held HeldBy(const std::wstring& path) {
    const auto file = OpenCertificateFile(path);
    return !file ? None : file->only ? One : Several;
}

TEST(CertificateFile, TellsWhatItHolds) {
    const TemporaryDirectory directory;
    const std::wstring& here = directory.Path();
    const std::string one = Read(kData + L"one.cer");
    const ToolContainer container(L"vt-file", L"--keys xs");
    container.WriteCertificate(here + L"made.sst", L"s", L"vt-file --format sst");
    container.WriteCertificate(here + L"made.crt", L"x", L"--format base64");
    EXPECT_TRUE(Read(here + L"made.crt").starts_with("-----BEGIN CERTIFICATE-----"));
    const std::string store = Read(here + L"made.sst");
    std::string noise(10 << 20, '\0');
    std::generate(noise.begin(), noise.end(), std::mt19937());
    const std::tuple<const wchar_t*, std::string, Held> files[] = {
        {L"base64.crt", one, One},
        {L"Имя %1.txt", Decoded(one), One},
        {L"single.der", Decoded(Read(kData + L"single.p7b")), One},
        {L"several.p7m", Decoded(Read(kData + L"several.p7b")), Several},
        {L"store", store, Several},
        {L"empty-store", store.substr(0, 8) + std::string(12, '\0'), None},
        {L"lists.p7b", Read(kData + L"crl.p7b"), None},
        {L"half.cer", Decoded(one).substr(0, 200), None},
        {L"noise.cer", noise, None},
    };
    for (const auto& [name, content, expected] : files) {
        std::ofstream(std::filesystem::path(here + name), std::ios::binary) << content;
        EXPECT_EQ(HeldBy(here + name), expected) << testing::PrintToString(std::wstring(name));
    }
    const std::wstring locked = here + L"base64.crt", longest = here + std::wstring(260 - here.size(), L'x');
    const UniqueKernelHandle lock(CreateFileW(locked.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    for (const std::wstring& path : {locked, longest, here, here + L"none"})
        EXPECT_EQ(HeldBy(path), None) << testing::PrintToString(path);
}

// Records the steps; stops before the one of this number.
struct TakenSteps final : SearchProgress {
    explicit TakenSteps(std::size_t stop = 0) : stopAt(stop) {}
    bool Searching(const std::wstring& provider, const std::wstring& container) override {
        taken.push_back(container.empty() ? provider : container);
        return taken.size() != stopAt;
    }
    std::vector<std::wstring> taken;
    std::size_t stopAt;
};

const Provider kProviders[] = {{kProvider71, 71}, {L"Nobody", 75}, {kProvider75, 75}};

UniqueCertificate OnlyIn(const std::wstring& path) {
    return std::move(OpenCertificateFile(path)->only);
}

TEST(ContainerSearch, InOrderUpToTheFirstMatch) {
    const TemporaryDirectory directory;
    const std::wstring path = directory.Path() + L"key.cer", options = L"--exportable --keys xs --certs none";
    const ToolContainer first(L"vt-a", options), second(L"vt-b", options),
        computers(L"vt-m", options, ComputersOf(kProvider75));
    const auto search = [&](const CERT_CONTEXT& certificate, TakenSteps steps, KeySet keySet = KeySet::User) {
        return SearchContainers(kProviders, keySet, certificate, steps);
    };
    for (const wchar_t* key : {L"x", L"s"}) {
        second.WriteCertificate(path, key);
        const UniqueCertificate certificate = OnlyIn(path);
        TakenSteps all;
        const SearchResult found = SearchContainers(kProviders, KeySet::User, *certificate.get(), all);
        EXPECT_EQ(found.end, SearchEnd::Found);
        EXPECT_EQ(found.provider, 2u);
        EXPECT_EQ(found.container, L"vt-b");
        EXPECT_EQ(all.taken.front(), kProvider71);
        EXPECT_EQ(all.taken.back(), L"vt-b");
        EXPECT_EQ(std::ranges::count(all.taken, L"vt-a"), 1);
        EXPECT_EQ(search(*certificate.get(), TakenSteps(), KeySet::Computer).end, SearchEnd::NotFound);
        for (const std::size_t at : {std::size_t{1}, all.taken.size()})
            EXPECT_EQ(search(*certificate.get(), TakenSteps(at)).end, SearchEnd::Stopped) << at;
    }
    computers.WriteCertificate(path, L"x");
    const UniqueCertificate certificate = OnlyIn(path);
    EXPECT_EQ(search(*certificate.get(), TakenSteps(), KeySet::Computer).container, L"vt-m");
    SearchResult result;
    FaultInjection().Survive(
        "search",
        [&] {
            result = {};
            result = search(*certificate.get(), TakenSteps(), KeySet::Computer);
        },
        [&](const Fault&) {
            return result.end == SearchEnd::Found && result.container != L"vt-m" ? "a wrong one" : "";
        });
}

// What the system keeps for a key's identifier is removed before each addition.
TEST(CertificateInstallation, ReplacesACertificateOnYesOnly) {
    struct Answer final : ReplaceQuestion {
        bool Replace() override { return replace; }
        bool replace = false;
    } answer;
    const UniqueCertificateStore store(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    const UniqueCertificate made = SelfSigned();
    int removed = 0;
    std::vector<SystemCalls::Word> additions;  // CERT_STORE_ADD_…
    const SystemCalls calls([&](const SystemCalls::Call& call) -> SystemCalls::Word {
        // Not every system makes an identifier from the certificate's key.
        if (call.name == "CertGetCertificateContextProperty" && call.a[1] == CERT_KEY_IDENTIFIER_PROP_ID)
            return *call.At<DWORD*>(3) = 20, TRUE;
        if (call.name == "CertAddCertificateContextToStore") additions.push_back(call.a[2]);
        if (call.name != "CryptSetKeyIdentifierProperty") return call();
        removed += call.a[2] == CRYPT_KEYID_DELETE_FLAG;
        return FALSE;  // as on systems that keep nothing
    });
    const auto add = [&](const wchar_t* container) {
        const UniqueCertificate certificate(
            CertCreateCertificateContext(X509_ASN_ENCODING, made.get()->pbCertEncoded, made.get()->cbCertEncoded));
        EXPECT_TRUE(WriteKeyLink(*certificate.get(), {container, kProvider75, 75}));
        const HRESULT result = ErrorOf(AddToStore(store.get(), *certificate.get(), answer));
        return std::pair(result, ReadKeyLink(*FindTestCertificate(store.get()).get()).value_or(KeyLink{}).container);
    };
    EXPECT_EQ(add(L"first"), std::pair(S_OK, std::wstring(L"first")));
    EXPECT_EQ(add(L"second"), std::pair(HRESULT_FROM_WIN32(ERROR_CANCELLED), std::wstring(L"first")));
    answer.replace = true;
    EXPECT_EQ(add(L"third"), std::pair(S_OK, std::wstring(L"third")));
    EXPECT_EQ(removed, 3);
    // The stored link alone does not show whether the certificate was replaced on every system.
    constexpr SystemCalls::Word kNew = CERT_STORE_ADD_NEW, kReplace = CERT_STORE_ADD_REPLACE_EXISTING;
    EXPECT_EQ(additions, (std::vector{kNew, kNew, kNew, kReplace}));
}

// The extension's identifier decides. What isn't certificates is no failure until it is to be installed.
TEST(ContainerCertificates, GoIntoTheStoresOfTheirKind) {
    const KeptStores kept;
    const ToolContainer container(L"vt-chain", L"--keys none");
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(0, L"vt-chain", kProvider75, 75));
    const UniqueCertificate made = SelfSigned();
    const std::string encoded(reinterpret_cast<const char*>(made.get()->pbCertEncoded), made.get()->cbCertEncoded),
        size{static_cast<char>(encoded.size() >> 8), static_cast<char>(encoded.size())},
        chain = "\x30\x82" + size + encoded, noChain = "\x04\x01\xFF";
    const StoreCounts intermediate = {{"user's ca", 1}}, root = {{"user's root", 1}}, nowhere;
    const struct {
        const char *name, *identifier;
        std::string value;
        StoreCounts installed;
        bool good = true;
        int shown = 1;  // certificates
    } cases[] = {
        {"intermediate", "1.2.643.2.2.37.3.1", chain, intermediate},
        {"root", "1.2.643.2.2.37.3.3", chain, root},
        {"unknown", "1.2.643.2.2.37.3.4", chain, nowhere, true, 0},
        {"unknown without certificates", "1.2.3", noChain, nowhere, true, 0},
        {"root without certificates", "1.2.643.2.2.37.3.3", noChain, nowhere, false, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const SystemCalls extensions = FakedExtensions({ExtensionRecordOf(0, c.value, c.identifier)});
        UniqueCertificateStore store;
        EXPECT_EQ(ErrorOf(ReadExtensionCertificates(context.Get(), store)), S_OK);
        EXPECT_EQ(CountCertificates(store.get()), c.shown);
        for (const char* time : {"first", "second, when they are there already"}) {
            SCOPED_TRACE(time);
            EXPECT_EQ(InstallExtensionCertificates(context.Get(), KeySet::User).operator bool(), c.good);
        }
        EXPECT_EQ(RemoveTestCertificates(), c.installed);
    }
    const SystemCalls nameless = FakedParameter(PP_UNIQUE_CONTAINER, [](BYTE* data, DWORD* length, DWORD) {
        return Give({"\0", 1}, data, length);
    });
    EXPECT_FALSE(UniqueContainerName(context.Get()));
    const SystemCalls extensions = FakedExtensions({ExtensionRecordOf(0, chain, "1.2.643.2.2.37.3.1")}),
                      refused = Failing("CertAddEncodedCertificateToStore", ERROR_NO_MORE_ITEMS);  // no listing's end
    EXPECT_FALSE(InstallExtensionCertificates(context.Get(), KeySet::User));
}

TEST(CertificateText, SerialNumbersInGroups) {
    BYTE bytes[] = {0xD5, 0xC4, 0xB3, 0xA2, 0x0F};  // the least significant first
    EXPECT_EQ(SerialNumberText({0, bytes}), L"");
    EXPECT_EQ(SerialNumberText({5, bytes}), L"0FA2 B3C4 D5");
}

TEST(UsagePeriod, BothEndsBelongToAPeriod) {
    constexpr FILETIME early{0, 1}, from{0, 2}, mid{0, 3}, to{0, 4}, late{0, 5};
    const struct {
        const char* name;
        FILETIME now;
        std::optional<UsagePeriod> usage;
        bool outOfDate;
    } cases[] = {{"first moment", from, {}, false},
                 {"last moment", to, {}, false},
                 {"before", early, {}, true},
                 {"after, within the key's", late, UsagePeriod{early, late}, true},
                 {"the key's only moment", mid, UsagePeriod{mid, mid}, false},
                 {"after the key's", mid, UsagePeriod{from, from}, true},
                 {"before the key's", mid, UsagePeriod{to, {}}, true}};
    CERT_INFO certificate{};
    certificate.NotBefore = from;
    certificate.NotAfter = to;
    for (const auto& c : cases) EXPECT_EQ(IsOutOfDate(c.now, certificate, c.usage), c.outOfDate) << c.name;
}

}  // namespace
