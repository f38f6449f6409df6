// How the time of vestractl's commands grows with the number of containers, side by side with bare loops over the same
// calls of the provider and the certificate stores, whose results nobody looks at. The containers are created and
// removed by the program.
//   console_bench.exe [COUNTS…] [list|expiring|check]     all three with 100, 1,000 and 10,000 containers by default
#include <windows.h>

#include <psapi.h>
#include <wincrypt.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/Measure.h"
#include "console/Program.h"
#include "csp/CertificateStores.h"
#include "csp/ContainerCheck.h"
#include "csp/Containers.h"
#include "csp/CryptProvContext.h"
#include "csp/ProviderParameters.h"
#include "framework/Handles.h"

namespace {

constexpr wchar_t kProvider[] = L"Kelvane GOST R 34.10-2001 KC1 CSP";

std::wstring NameOf(int index) {
    return L"bench " + std::to_wstring(index);
}

// A container with an exchange key, without a certificate.
void Create(int index) {
    CCryptProvContext container;
    UniqueCryptKey key;
    if (container.Acquire(CRYPT_NEWKEYSET | CRYPT_SILENT, NameOf(index).c_str(), kProvider, kProviderType75))
        CryptGenKey(container.Get(), AT_KEYEXCHANGE, CRYPT_EXPORTABLE, key.put());
}

void Remove(int index) {
    CCryptProvContext removed;
    static_cast<void>(
        removed.Acquire(CRYPT_DELETEKEYSET | CRYPT_SILENT, NameOf(index).c_str(), kProvider, kProviderType75));
}

struct Ignored final : CheckReport {
    void Row(UINT, UINT) override {}
    void Row(UINT, std::wstring_view) override {}
    void Failure(UINT, DWORD) override {}
    void Continuation(std::wstring_view) override {}
    void Continuation(UINT) override {}
    void Verdict(UINT, UINT) override {}
};

// Opens the containers in turn.
template <class Visit>
void BareLoop(Visit visit) {
    CCryptProvContext provider;
    if (!provider.Acquire(CRYPT_VERIFYCONTEXT | CRYPT_SILENT, nullptr, kProvider, kProviderType75)) return;
    ContainerNames names(provider.Get());
    for (Result<std::wstring> name = names.Next(); name; name = names.Next()) {
        CCryptProvContext container;
        if (container.Acquire(CRYPT_SILENT, name->c_str(), kProvider, kProviderType75)) visit(container.Get());
    }
}

BYTE buffer[2048];

void BareExpiring(HCRYPTPROV container) {
    for (const DWORD keySpec : {AT_KEYEXCHANGE, AT_SIGNATURE}) {
        UniqueCryptKey key;
        DWORD size = sizeof buffer;
        if (CryptGetUserKey(container, keySpec, key.put()))
            CryptGetKeyParam(key.get(), KP_CERTIFICATE, buffer, &size, 0);
    }
}

void BareList(HCRYPTPROV container) {
    for (const DWORD parameter : {DWORD{PP_CONTAINER}, DWORD{PP_UNIQUE_CONTAINER}, kParameterQualifiedName}) {
        DWORD size = sizeof buffer;
        CryptGetProvParam(container, parameter, buffer, &size, 0);
    }
    BareExpiring(container);
}

// The links in the stores, which the list reads once.
void BareLinks() {
    for (const KeySet keySet : {KeySet::User, KeySet::Computer})
        static_cast<void>(VisitCertificates(keySet, [](const std::wstring&, const CERT_CONTEXT& certificate) {
            DWORD size = 0;
            CertGetCertificateContextProperty(&certificate, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size);
        }));
}

void BareCheck(HCRYPTPROV container) {
    Ignored report;
    CheckContainer(container, KeySet::User, report);
}

void RunCommand(const std::vector<std::wstring>& arguments) {
    const UniqueFile nothing(CreateFileW(L"NUL", GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    Output output(nothing.get(), nothing.get());
    std::vector<std::wstring> all = arguments;
    all.insert(all.end(), {L"--silent", L"--json"});
    RunConsole(all, output);
}

std::size_t PrivateKilobytes() {
    PROCESS_MEMORY_COUNTERS_EX counters{};
    counters.cb = sizeof counters;
    GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters), sizeof counters);
    return counters.PrivateUsage / 1024;
}

template <class Run>
double TimeOf(Run run) {
    const double start = Now();
    run();
    return Now() - start;
}

template <class Bare>
void Measure(int count, const wchar_t* command, const std::vector<std::wstring>& arguments, Bare bare) {
    // The shortest times are compared: other programs only make a run longer.
    double loop = 1e9, run = 1e9;
    const int rounds = std::clamp(3000 / count, 2, 20);  // fewer containers are measured less exactly
    RunCommand({L"list"});
    const std::size_t before = PrivateKilobytes();
    for (int round = 0; round < rounds; ++round) {
        loop = std::min(loop, TimeOf(bare));
        run = std::min(run, TimeOf([&] { RunCommand(arguments); }));
    }
    std::printf("%6d containers, %-8ls %8.3f ms each, command / loop %.3f (wanted: at most 1.1), %+lld KB\n", count,
                command, run / count, run / loop,
                static_cast<long long>(PrivateKilobytes()) - static_cast<long long>(before));
    std::fflush(stdout);
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    std::vector<int> counts;
    std::wstring only;
    for (int i = 1; i < count; ++i) {
        if (const int number = _wtoi(arguments[i])) {
            counts.push_back(number);
        } else {
            only = arguments[i];
        }
    }
    if (counts.empty()) counts = {100, 1000, 10000};
    int created = 0;
    for (const int wanted : counts) {
        for (; created < wanted; ++created) Create(created);
        const auto measure = [&](const wchar_t* command, const std::vector<std::wstring>& options, auto bare) {
            if (only.empty() || only == command) Measure(wanted, command, options, bare);
        };
        measure(L"list", {L"list", L"--provider", kProvider}, [] { BareLinks(), BareLoop(&BareList); });
        measure(L"expiring", {L"expiring", L"--user"}, [] { BareLoop(&BareExpiring); });
        measure(L"check", {L"check", L"--all", L"--provider", kProvider}, [] { BareLoop(&BareCheck); });
    }
    for (; created > 0; --created) Remove(created - 1);
    return 0;
}
