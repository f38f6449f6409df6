// Containers and certificates as the commands show them: as members of JSON documents, and as rows for people.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <string>

#include "console/Output.h"
#include "console/Session.h"

// The members "name", "owner", "provider" and "providerType".
Value PlaceValue(const ContainerPlace& place);

// The members "subject", "issuer", "serialNumber", "validFrom", "validTo" and "thumbprint", and "keyValidFrom" and
// "keyValidTo" for a certificate with a private key usage period.
Value CertificateValue(const CERT_CONTEXT& certificate);

// The SHA-1 hash of a certificate, in hexadecimal digits.
std::wstring Thumbprint(const CERT_CONTEXT& certificate);

// "exchange" or "signature".
const wchar_t* KeyName(DWORD keySpec) noexcept;

// The same in the user's language.
std::wstring KeyText(DWORD keySpec);

// A row of a list: the label indented, the value in its column. The value comes from outside the program.
void ShowRow(Output& output, UINT label, const std::wstring& value);

// The same fields of a certificate as rows.
void ShowCertificateRows(const CERT_CONTEXT& certificate, Output& output);
