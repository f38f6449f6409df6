// The fields of a certificate as texts for the user, and whether the certificate and its private key may still be used.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <optional>
#include <string>

enum class NameForm {
    Display,  // the part that distinguishes it from others, usually the common name
    Simple,   // all parts of the name, their values only
    X500,     // all parts with their kinds: "CN=…, O=…"
};
enum class NameOf { Subject, Issuer };

// Empty when the certificate has no such name.
std::wstring CertificateName(const CERT_CONTEXT& certificate, NameForm form, NameOf whose = NameOf::Subject);

// Such as "01A2 B3C4 D5": hexadecimal from the most significant byte, in groups of two bytes.
std::wstring SerialNumberText(const CRYPT_INTEGER_BLOB& serialNumber);

// `time` (UTC) as local time, in the user's long date format and time format. Empty for an invalid time.
std::wstring TimeText(const FILETIME& time);

// The private key usage period of a certificate, in UTC. An end that the certificate leaves open is empty.
struct UsagePeriod {
    std::optional<FILETIME> notBefore;
    std::optional<FILETIME> notAfter;
};

// The type under which the product registers the decoder of the usage period.
inline constexpr char kUsagePeriodType[] = "{3F1C8A52-7D04-4E96-B2A8-5C6E19D0B7F3}";

// Empty when the certificate has no such extension, or when no decoder is registered for it.
std::optional<UsagePeriod> ReadUsagePeriod(const CERT_INFO& certificate);

// Whether `now` (UTC) is outside the certificate's validity or outside the usage period. Both ends are part of a
// period.
bool IsOutOfDate(const FILETIME& now, const CERT_INFO& certificate, const std::optional<UsagePeriod>& usage) noexcept;
