#include "console/StoreLinks.h"

#include <functional>

#include "csp/CertificateStores.h"

namespace {

std::size_t HashOf(const std::wstring& container, const std::wstring& provider, KeySet keySet) {
    std::wstring link = container + L'\n' + provider + (keySet == KeySet::Computer ? L"\nC" : L"\nU");
    CharUpperBuffW(link.data(), static_cast<DWORD>(link.size()));
    return std::hash<std::wstring>()(link);
}

}  // namespace

Result<> StoreLinks::Read(KeySet keySet) {
    return VisitCertificates(keySet, [&](const std::wstring&, const CERT_CONTEXT& certificate) {
        constexpr std::size_t kUsualLink = 512;  // bytes
        if (const auto link = ReadKeyLink(certificate, kUsualLink))
            links_.insert(HashOf(link->container, link->provider, link->keySet));
    });
}

bool StoreLinks::Has(const std::wstring& container, const std::wstring& provider, KeySet keySet) const {
    return links_.contains(HashOf(container, provider, keySet));
}
