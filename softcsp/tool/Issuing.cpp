#include "softcsp/tool/Issuing.h"

#include "softcsp/tool/CertificateText.h"
#include "softcsp/tool/Console.h"

namespace softcsp {
namespace {

constexpr ULONGLONG kDay = 24ULL * 60 * 60 * 10'000'000;  // in a FILETIME's units

FILETIME DaysAfter(const FILETIME& time, int days) {
    ULARGE_INTEGER units{{time.dwLowDateTime, time.dwHighDateTime}};
    units.QuadPart += static_cast<ULONGLONG>(days) * kDay;
    return {units.LowPart, units.HighPart};
}

Bytes Sign(const CertificateRequest& request, const KeyPair& signer) {
    Bytes certificate = IssueCertificate(request, signer);
    if (certificate.empty()) throw Failure{L"can't issue a certificate for " + request.subject, GetLastError()};
    return certificate;
}

}  // namespace

Validity ValidityOf(const Options& options) {
    const auto from = options.Value(kNotBefore.name), to = options.Value(kNotAfter.name);
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    Validity validity{from ? ParseDay(*from) : DaysAfter(now, -1), {}};
    validity.to = to ? ParseDay(*to) : DaysAfter(validity.from, 365);
    if (CompareFileTime(&validity.from, &validity.to) >= 0)
        throw WrongUsage{L"the certificate would end before it begins"};
    return validity;
}

KeyPair MakeKeyPair(const ParameterSet& curve) {
    auto pair = KeyPair::Generate(curve);
    if (!pair) throw Failure{L"can't make a key", static_cast<DWORD>(NTE_FAIL)};
    return *pair;
}

std::vector<Authority> MakeAuthorities(const std::wstring& commonName, std::size_t count, const Validity& validity) {
    std::vector<Authority> authorities;
    while (authorities.size() < count) {
        const std::wstring rank = authorities.empty() ? L" Root CA" : L" CA " + std::to_wstring(authorities.size());
        Authority made{SubjectOf(commonName + rank), MakeKeyPair(DefaultParameterSet(ParameterKind::Signature)), {}};
        CertificateRequest request;
        request.subject = made.subject;
        request.key = {&made.pair.Set(), &DefaultParameterSet(ParameterKind::Digest), made.pair.Public()};
        request.notBefore = validity.from;
        request.notAfter = validity.to;
        request.authority = true;
        if (!authorities.empty()) request.issuer = authorities.back().subject;
        made.certificate = Sign(request, authorities.empty() ? made.pair : authorities.back().pair);
        authorities.push_back(std::move(made));
    }
    return authorities;
}

Bytes Issue(const Order& order, const KeyPair& pair, const ParameterSet& digest,
            const std::vector<Authority>& authorities) {
    CertificateRequest request;
    request.subject = order.subject;
    request.key = {&pair.Set(), &digest, pair.Public()};
    request.notBefore = order.validity.from;
    request.notAfter = order.validity.to;
    request.usage = order.usage;
    if (!authorities.empty()) request.issuer = authorities.back().subject;
    return Sign(request, authorities.empty() ? pair : authorities.back().pair);
}

}  // namespace softcsp
