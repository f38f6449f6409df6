#include "console/EndingPeriods.h"

#include <algorithm>
#include <optional>

#include "csp/CertificateText.h"

namespace {

FILETIME DaysAfter(const FILETIME& time, int days) noexcept {
    constexpr ULONGLONG kDay = 24ULL * 60 * 60 * 10'000'000;  // in units of 100 nanoseconds
    ULARGE_INTEGER sum{};
    sum.LowPart = time.dwLowDateTime;
    sum.HighPart = time.dwHighDateTime;
    sum.QuadPart += kDay * static_cast<ULONGLONG>(days);
    return {sum.LowPart, sum.HighPart};
}

}  // namespace

EndingPeriods::EndingPeriods(const FILETIME& now, int days) noexcept : now_(now), last_(DaysAfter(now, days)) {}

template <class AddPlace>
void EndingPeriods::Add(const CERT_CONTEXT& certificate, AddPlace&& addPlace) {
    const auto addPeriod = [&](const FILETIME& end, bool ofKey) {
        if (CompareFileTime(&end, &last_) > 0) return;
        std::pair identity(Bytes(certificate.pbCertEncoded, certificate.pbCertEncoded + certificate.cbCertEncoded),
                           ofKey);
        EndingPeriod& period = periods_[std::move(identity)];
        if (!period.certificate) {
            period.end = end;
            period.ofKey = ofKey;
            period.hasEnded = CompareFileTime(&end, &now_) < 0;
            period.certificate.reset(CertDuplicateCertificateContext(&certificate));
        }
        addPlace(period);
    };
    addPeriod(certificate.pCertInfo->NotAfter, false);
    if (const auto usage = ReadUsagePeriod(*certificate.pCertInfo); usage && usage->notAfter) {
        addPeriod(*usage->notAfter, true);
    }
}

void EndingPeriods::AddFromContainer(const CERT_CONTEXT& certificate, const ContainerPlace& container) {
    Add(certificate, [&](EndingPeriod& period) { period.containers.push_back(container); });
}

void EndingPeriods::AddFromStore(const CERT_CONTEXT& certificate, KeySet keySet, const std::wstring& store) {
    Add(certificate, [&](EndingPeriod& period) { period.stores.emplace_back(keySet, store); });
}

std::vector<const EndingPeriod*> EndingPeriods::SoonestFirst() const {
    std::vector<const EndingPeriod*> sorted;
    for (const auto& [identity, period] : periods_) sorted.push_back(&period);
    std::stable_sort(sorted.begin(), sorted.end(), [](const EndingPeriod* one, const EndingPeriod* other) {
        return CompareFileTime(&one->end, &other->end) < 0;
    });
    return sorted;
}
