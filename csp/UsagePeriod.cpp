#include "csp/UsagePeriod.h"

#include "csp/CertificateEncoding.h"
#include "csp/Outcome.h"

namespace {

constexpr char kUsagePeriodExtension[] = "2.5.29.16";

// The provider registers the decoder of the extension's value under this type.
constexpr char kUsagePeriodType[] = "{3F1C8A52-7D04-4E96-B2A8-5C6E19D0B7F3}";
struct DecodedPeriod {
    const FILETIME* notBefore;
    const FILETIME* notAfter;
};

std::optional<FILETIME> Copied(const FILETIME* time) {
    return time ? std::optional(*time) : std::nullopt;
}

bool IsOutside(const FILETIME& now, const FILETIME* from, const FILETIME* to) noexcept {
    return (from && CompareFileTime(&now, from) < 0) || (to && CompareFileTime(&now, to) > 0);
}

const FILETIME* Pointer(const std::optional<FILETIME>& time) noexcept {
    return time ? &*time : nullptr;
}

}  // namespace

std::optional<UsagePeriod> ReadUsagePeriod(const CERT_INFO& certificate) {
    const CERT_EXTENSION* extension =
        CertFindExtension(kUsagePeriodExtension, certificate.cExtension, certificate.rgExtension);
    if (!extension) return {};
    const auto decoded = AskLengthFirst([&](BYTE* data, DWORD* length) {
        return CryptDecodeObject(kCertificateEncoding, kUsagePeriodType, extension->Value.pbData,
                                 extension->Value.cbData, 0, data, length);
    });
    if (!decoded.done || decoded.bytes.size() < sizeof(DecodedPeriod)) return {};
    const auto* period = reinterpret_cast<const DecodedPeriod*>(decoded.bytes.data());
    return UsagePeriod{Copied(period->notBefore), Copied(period->notAfter)};
}

bool IsOutOfDate(const FILETIME& now, const CERT_INFO& certificate, const std::optional<UsagePeriod>& usage) noexcept {
    if (IsOutside(now, &certificate.NotBefore, &certificate.NotAfter)) return true;
    return usage && IsOutside(now, Pointer(usage->notBefore), Pointer(usage->notAfter));
}
