// The check of a private key container: its names, its integrity, its keys, their certificates, its extensions.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <optional>
#include <string_view>

#include "csp/CertificateText.h"
#include "csp/CryptProvContext.h"

// Thrown by a report that wants no more rows: the check ends at once, without a verdict.
struct CheckCancelled {};

// Where the check's rows go, each as soon as it is found. Labels, and values given as numbers, are ids of strings
// (CheckTexts.h). What any of these throws is passed on to the check's caller.
struct CheckReport {
    virtual void Row(UINT label, UINT value) = 0;  // value 0: none
    virtual void Row(UINT label, std::wstring_view value) = 0;
    virtual void Failure(UINT label, DWORD error) = 0;       // the row's value is the error's text
    virtual void Continuation(std::wstring_view value) = 0;  // label of two spaces
    virtual void Continuation(UINT value) = 0;
    virtual void Verdict(UINT label, UINT value) = 0;  // on top; value 0: none

  protected:
    ~CheckReport() = default;
};

// Checks an open container and reports what it finds; the verdict comes last. `keySet` says in whose certificate stores
// the keys' certificates are looked for. True: no errors.
bool CheckContainer(HCRYPTPROV container, KeySet keySet, CheckReport& report);

// The check's rows on a certificate.

// Name, subject, issuer, validity, usage period if there is one, serial number.
void ReportDetails(const CERT_CONTEXT& certificate, const std::optional<UsagePeriod>& usage, CheckReport& report);

// The system stores that hold certificates of the same public key, with each one's name and key link.
void ReportStores(const CERT_CONTEXT& certificate, KeySet keySet, CheckReport& report);

// The check of one key of a container and of its certificate.

// `keySpec`: AT_KEYEXCHANGE or AT_SIGNATURE. True when there is no such key or no error was found.
bool CheckKey(HCRYPTPROV container, DWORD keySpec, KeySet keySet, CheckReport& report);

// The check's rows on the extensions of a container.

// False when the extensions can't be listed: then nothing is known about them, and a check that found no error would
// claim more than it looked at. What one of them holds never makes an error.
bool CheckExtensions(HCRYPTPROV container, CheckReport& report);
