#include "csp/CertificateText.h"

#include "csp/CryptoValues.h"

std::wstring CertificateName(const CERT_CONTEXT& certificate, NameForm form, NameOf whose) {
    DWORD strings = CERT_X500_NAME_STR;
    const DWORD type = form == NameForm::Display ? CERT_NAME_SIMPLE_DISPLAY_TYPE : CERT_NAME_RDN_TYPE;
    const DWORD flags = whose == NameOf::Issuer ? CERT_NAME_ISSUER_FLAG : 0;
    const auto get = [&](wchar_t* text, DWORD size) {
        return CertGetNameStringW(&certificate, type, flags, form == NameForm::X500 ? &strings : nullptr, text, size);
    };
    // In characters with the terminator. A name that is missing has size 1.
    const DWORD size = get(nullptr, 0);
    if (size <= 1) return {};
    std::wstring text(size, L'\0');
    const DWORD written = get(text.data(), size);
    text.resize(written > 0 && written <= size ? written - 1 : 0);
    return text;
}

std::wstring SerialNumberText(const CRYPT_INTEGER_BLOB& serialNumber) {
    constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    std::wstring text;
    for (DWORD i = 0; i < serialNumber.cbData; ++i) {
        if (i > 0 && i % 2 == 0) text += L' ';
        const BYTE byte = serialNumber.pbData[serialNumber.cbData - 1 - i];
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

std::wstring TimeText(const FILETIME& time) {
    SYSTEMTIME utc, local;
    if (!FileTimeToSystemTime(&time, &utc) || !SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local)) return {};
    constexpr int kLongestPart = 256;  // characters of the date or the time, with the terminator
    wchar_t date[kLongestPart] = L"", clock[kLongestPart] = L"";
    if (!GetDateFormatW(LOCALE_USER_DEFAULT, DATE_LONGDATE, &local, nullptr, date, kLongestPart) ||
        !GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &local, nullptr, clock, kLongestPart))
        return {};
    return std::wstring(date) + L' ' + clock;
}

namespace {

constexpr char kUsagePeriodExtension[] = "2.5.29.16";

// The decoded value. An open end is nullptr.
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
    const auto decoded = ReadBytes([&](BYTE* data, DWORD* length) {
        return CryptDecodeObject(kCertificateEncoding, kUsagePeriodType, extension->Value.pbData,
                                 extension->Value.cbData, 0, data, length);
    });
    if (!decoded || decoded->size() < sizeof(DecodedPeriod)) return {};
    const auto* period = reinterpret_cast<const DecodedPeriod*>(decoded->data());
    return UsagePeriod{Copied(period->notBefore), Copied(period->notAfter)};
}

bool IsOutOfDate(const FILETIME& now, const CERT_INFO& certificate, const std::optional<UsagePeriod>& usage) noexcept {
    if (IsOutside(now, &certificate.NotBefore, &certificate.NotAfter)) return true;
    return usage && IsOutside(now, Pointer(usage->notBefore), Pointer(usage->notAfter));
}
