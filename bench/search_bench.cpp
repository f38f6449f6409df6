// How long the search for a certificate's container takes that isn't there, over 10, 100 and 1,000 containers, side by
// side with a bare loop over the same calls of the provider. In each round one follows the other.
//   search_bench.exe [ROUNDS]      makes containers of the current user and removes them
#include <windows.h>

#include <wincrypt.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/Measure.h"
#include "csp/ContainerSearch.h"
#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"
#include "csp/ProviderParameters.h"
#include "softcsp/container/ContainerStore.h"

namespace {

constexpr wchar_t kProvider[] = L"Kelvane GOST R 34.10-2001 KC1 CSP";
constexpr int kSizes[] = {10, 100, 1000};

std::wstring Name(int number) {
    return L"search-bench-" + std::to_wstring(number);
}

// Containers with the keys of one, which the provider makes; the others are copies of its file.
class Containers {
  public:
    Containers() {
        CCryptProvContext first;
        HCRYPTKEY key = 0;
        const auto made = first.Acquire(CRYPT_NEWKEYSET | CRYPT_SILENT, Name(0).c_str(), kProvider, kProviderType75);
        good_ = static_cast<bool>(made);
        for (const DWORD keySpec : {AT_KEYEXCHANGE, AT_SIGNATURE})
            if (good_ && (good_ = CryptGenKey(first.Get(), keySpec, 0, &key) != FALSE)) CryptDestroyKey(key);
        softcsp::ContainerPlace place;
        good_ = good_ && store_.Find(Name(0), place) == 0 && store_.Load(place, container_) == 0;
        places_.push_back(place);
    }
    ~Containers() {
        for (const auto& place : places_) store_.Remove(place);
    }
    Containers(const Containers&) = delete;
    Containers& operator=(const Containers&) = delete;

    bool Grow(int count) {
        while (good_ && static_cast<int>(places_.size()) < count) {
            softcsp::ContainerPlace place = places_.front();
            place.name = container_.name = Name(static_cast<int>(places_.size()));
            good_ = store_.Create(place, container_) == 0;
            if (good_) places_.push_back(place);
        }
        return good_;
    }

  private:
    softcsp::ContainerStore store_{softcsp::Owner::User, kProviderType75};
    softcsp::Container container_;
    std::vector<softcsp::ContainerPlace> places_;
    bool good_ = false;
};

struct Counted final : SearchProgress {
    bool Searching(const std::wstring&, const std::wstring& container) override {
        containers += container.empty() ? 0 : 1;
        return true;
    }
    int containers = 0;
};

void BareMatch(HCRYPTPROV container, CERT_PUBLIC_KEY_INFO& key) {
    static BYTE buffer[512];
    for (const DWORD keySpec : {AT_SIGNATURE, AT_KEYEXCHANGE}) {
        DWORD size = 0;
        auto* info = reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(buffer);
        if (CryptExportPublicKeyInfo(container, keySpec, kCertificateEncoding, nullptr, &size) &&
            size <= sizeof buffer && CryptExportPublicKeyInfo(container, keySpec, kCertificateEncoding, info, &size))
            CertComparePublicKeyInfo(kCertificateEncoding, info, &key);
    }
}

void BareSearch(CERT_PUBLIC_KEY_INFO& key) {
    static char name[1024];
    static wchar_t wide[1024];
    HCRYPTPROV provider = 0, container = 0;
    if (!CryptAcquireContextW(&provider, nullptr, kProvider, kProviderType75, CRYPT_VERIFYCONTEXT)) return;
    DWORD size = 0, flags = CRYPT_FIRST;
    CryptGetProvParam(provider, PP_ENUMCONTAINERS, nullptr, &size, flags);
    for (; CryptGetProvParam(provider, PP_ENUMCONTAINERS, reinterpret_cast<BYTE*>(name), &(size = sizeof name), flags);
         flags = 0) {
        MultiByteToWideChar(CP_ACP, 0, name, -1, wide, static_cast<int>(std::size(wide)));
        if (!CryptAcquireContextW(&container, wide, kProvider, kProviderType75, 0)) continue;
        BareMatch(container, key);
        CryptReleaseContext(container, 0);
    }
    CryptReleaseContext(provider, 0);
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    const int rounds = count > 1 ? std::max(1, _wtoi(arguments[1])) : 11;
    BYTE bits[64] = {1};
    CERT_INFO info{};
    info.SubjectPublicKeyInfo.Algorithm.pszObjId = const_cast<char*>("1.2.643.2.2.19");
    info.SubjectPublicKeyInfo.PublicKey = {sizeof bits, bits, 0};
    const CERT_CONTEXT certificate{kCertificateEncoding, nullptr, 0, &info, nullptr};
    const Provider provider{kProvider, kProviderType75};
    Containers containers;
    for (const int size : kSizes) {
        if (!containers.Grow(size)) {
            std::fprintf(stderr, "search_bench: no containers can be made (0x%08lX)\n", GetLastError());
            return 1;
        }
        std::vector<double> searches, loops, ratios;
        Counted seen;
        const int times = size < 100 ? 10 * rounds : rounds;  // what is short is disturbed more easily
        for (int round = -1; round < times; ++round) {
            seen = {};
            const double start = Now();
            SearchContainers({&provider, 1}, KeySet::User, certificate, seen);
            const double middle = Now();
            BareSearch(info.SubjectPublicKeyInfo);
            const double end = Now();
            if (round < 0) continue;  // a warm-up
            searches.push_back(middle - start);
            loops.push_back(end - middle);
            ratios.push_back(searches.back() / loops.back());
        }
        std::printf(
            "%d containers: search %.1f ms, %.3f ms each; bare loop %.1f ms; search / loop %.3f (wanted: at most "
            "1.1)\n",
            seen.containers, Median(searches), Median(searches) / seen.containers, Median(loops), Median(ratios));
        std::fflush(stdout);
    }
    return 0;
}
