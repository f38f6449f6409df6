// The private key usage period of a certificate, and whether its key may still be used.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <optional>

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
