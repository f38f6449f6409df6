// A certificate's fields as people read them.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <optional>
#include <string>

enum class NameForm {
    Display,  // the one that tells it from others: the common name, as a rule
    Simple,   // all parts of the name, their values only
    X500,     // all parts with their kinds: "CN=…, O=…"
};
enum class NameOf { Subject, Issuer };

// Empty when the certificate has no such name.
std::wstring CertificateName(const CERT_CONTEXT& certificate, NameForm form, NameOf whose = NameOf::Subject);

// "01A2 B3C4 D5": from the most significant byte, two bytes a group.
std::wstring SerialNumberText(const CRYPT_INTEGER_BLOB& serialNumber);

// The user's long date and time, local; `time` is UTC. Empty for what is no time.
std::wstring TimeText(const FILETIME& time);

// The private key usage period of a certificate, and whether its key may still be used.

// UTC. An end that the certificate leaves open isn't there.
struct UsagePeriod {
    std::optional<FILETIME> notBefore;
    std::optional<FILETIME> notAfter;
};

// Nothing when the certificate has no such extension, or one that nobody on this machine can read.
std::optional<UsagePeriod> ReadUsagePeriod(const CERT_INFO& certificate);

// Whether `now` (UTC) lies outside the certificate's validity or outside the usage period. Both ends belong to a
// period.
bool IsOutOfDate(const FILETIME& now, const CERT_INFO& certificate, const std::optional<UsagePeriod>& usage) noexcept;
