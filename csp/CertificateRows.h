// The check's rows on a certificate.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <optional>

#include "csp/ContainerCheck.h"
#include "csp/UsagePeriod.h"

// Name, subject, issuer, validity, usage period if there is one, serial number.
void ReportDetails(const CERT_CONTEXT& certificate, const std::optional<UsagePeriod>& usage, CheckReport& report);

// The system stores that hold certificates of the same public key, with each one's name and key link.
void ReportStores(const CERT_CONTEXT& certificate, KeySet keySet, CheckReport& report);
