// Certificate files and the search for containers, without windows.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "csp/CertificateStores.h"
#include "csp/ContainerCopy.h"
#include "csp/ContainerSearch.h"
#include "csp/KeyLink.h"
#include "tests/support/Certificates.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/Provider.h"

namespace {

using Text = std::wstring;

int Held(const Text& path) {  // 2: several
    const auto file = OpenCertificateFile(path);
    return !file ? 0 : file->only ? 1 : 2;
}

TEST(CertificateFile, TellsWhatItHolds) {
    const TemporaryDirectory directory;
    const Text& here = directory.Path();
    const std::string one = Read(kData + L"one.cer"), several = Read(kData + L"several.p7b"),
                      lists = Read(kData + L"crl.p7b");
    RunTool(L"create vt-file --keys xs");
    RunTool(L"certificate vt-file vt-file --key s --format sst --out \"" + here + L"made.sst\"");
    RunTool(L"remove vt-file");
    const std::string store = Read(here + L"made.sst");
    std::string noise(10 << 20, '\0');
    std::generate(noise.begin(), noise.end(), std::mt19937());
    const std::tuple<const wchar_t*, std::string, int> files[] = {
        {L"base64.crt", one, 1},
        {L"Имя %1.txt", Decoded(one), 1},
        {L"single.der", Decoded(Read(kData + L"single.p7b")), 1},
        {L"several.b64", several, 2},
        {L"several.p7m", Decoded(several), 2},
        {L"store", store, 2},
        {L"empty-store", store.substr(0, 8) + std::string(12, '\0'), 0},
        {L"lists.p7b", lists, 0},
        {L"empty.cer", "", 0},
        {L"half.cer", Decoded(one).substr(0, 200), 0},
        {L"noise.cer", noise, 0},
    };
    for (const auto& [name, content, expected] : files) {
        std::ofstream(std::filesystem::path(here + name), std::ios::binary) << content;
        EXPECT_EQ(Held(here + name), expected) << testing::PrintToString(Text(name));
    }
    const Text locked = here + L"base64.crt", longest = here + Text(260 - here.size(), L'x');
    const UniqueKernelHandle lock(CreateFileW(locked.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    for (const Text& path : {locked, longest, here, here + L"none", Text(L"?"), Text(L"NUL")})
        EXPECT_EQ(Held(path), 0) << testing::PrintToString(path);
}

// Notes the steps; stops before the one of this number.
struct Steps final : SearchProgress {
    explicit Steps(std::size_t stop = 0) : stopAt(stop) {}
    bool Searching(const Text& provider, const Text& container) override {
        taken.push_back(container.empty() ? provider : container);
        return taken.size() != stopAt;
    }
    std::vector<Text> taken;
    std::size_t stopAt;
};

const Provider kProviders[] = {{kProvider71, 71}, {L"Nobody", 75}, {kProvider75, 75}};

TEST(ContainerSearch, InOrderUpToTheFirstMatch) {
    const TemporaryDirectory directory;
    const Text path = directory.Path() + L"key.cer";
    CCryptProvContext context;
    const auto open = [&](const wchar_t* name, DWORD flags = 0) {
        EXPECT_TRUE(context.Acquire(flags, name, kProvider75, 75)) << std::hex << GetLastError();
        return context.Get();
    };
    for (const wchar_t* name : {L"vt-a", L"vt-b"})
        RunTool(L"create " + Text(name) + L" --exportable --keys xs --certs none");
    ContainerCopy copy;
    ASSERT_TRUE(copy.OpenVerification(kProvider75, 75));
    ASSERT_EQ(ErrorOf(ReadSourceContainer(open(L"vt-b"), copy)), S_OK);
    ASSERT_EQ(ErrorOf(WriteTargetContainer(copy, open(L"vt-c", kCopyTargetFlags | CRYPT_SILENT))), S_OK);
    ASSERT_TRUE(copy.Clear());
    for (const wchar_t* key : {L"x", L"s"}) {
        RunTool(L"certificate vt-c --key " + Text(key) + L" --out \"" + path + L"\"");
        const UniqueCertificate certificate = std::move(OpenCertificateFile(path)->only);
        const auto search = [&](Steps& steps, KeySet keySet = KeySet::User) {
            return SearchContainers(kProviders, keySet, *certificate.get(), steps);
        };
        Steps all, none;
        const SearchResult found = search(all);
        EXPECT_EQ(found.end, SearchEnd::Found);
        EXPECT_EQ(found.provider, 2u);
        EXPECT_EQ(found.container, L"vt-b");
        EXPECT_EQ(all.taken.front(), kProvider71);
        EXPECT_EQ(all.taken.back(), L"vt-b");
        EXPECT_EQ(std::ranges::count(all.taken, L"vt-a"), 1);
        EXPECT_EQ(std::ranges::count(all.taken, L"vt-c"), 0);
        EXPECT_EQ(search(none, KeySet::Computer).end, SearchEnd::NotFound);
        for (std::size_t at = 1; at <= all.taken.size(); ++at) {
            Steps stopped(at);
            EXPECT_EQ(search(stopped).end, SearchEnd::Stopped);
            EXPECT_EQ(stopped.taken.size(), at);
        }
        EXPECT_EQ(FindMatchingKey(open(L"vt-b"), *certificate.get()), *key == L'x' ? 1u : 2u);
        EXPECT_EQ(FindMatchingKey(open(L"vt-a"), *certificate.get()), 0u);
    }
    const UniqueCertificate certificate = std::move(OpenCertificateFile(path)->only);
    SearchResult result;
    const auto search = [&] {
        Steps steps;
        result = {};
        result = SearchContainers(kProviders, KeySet::User, *certificate.get(), steps);
    };
    FaultInjection().Survive("search", search, [&](const Fault&) {
        return result.end == SearchEnd::Found && result.container < L"vt-b" ? "a wrong one" : "";
    });
    context.Release();
    for (const wchar_t* name : {L"vt-a", L"vt-b", L"vt-c"}) RunTool(Text(L"remove ") + name);
}

}  // namespace
