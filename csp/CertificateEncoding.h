// The encodings in which certificates and what they consist of are read.
#pragma once

#include <windows.h>

#include <wincrypt.h>

constexpr DWORD kCertificateEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
