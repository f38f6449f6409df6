// Certificates in files and in the system's stores.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <functional>
#include <string>

#include "csp/CryptProvContext.h"
#include "framework/Handles.h"
#include "framework/Result.h"

// A file with certificates, opened as a store.
struct CertificateFile {
    UniqueCertificateStore store;
    UniqueCertificate only;  // empty when the file holds several
};

// Opens a certificate, a PKCS #7 message or a serialized store, each binary or Base64. Fails with the system's code
// when the file can't be opened as one of these, and with CRYPT_E_NOT_FOUND when it holds no certificate: the system
// opens a file with any other content as an empty store.
Result<CertificateFile> OpenCertificateFile(const std::wstring& path);

// Called for each certificate found, with the name of its store. The certificate is valid during the call only.
using CertificateVisitor = std::function<void(const std::wstring& store, const CERT_CONTEXT& certificate)>;

// Visits all certificates with this public key in the system stores of the user or the computer, in the system's order.
// Stores that can't be opened are skipped. An owner without stores is not an error. Fails when the stores can't all be
// listed; certificates in those that were listed have been visited nevertheless.
Result<> FindCertificates(KeySet keySet, CERT_PUBLIC_KEY_INFO& key, const CertificateVisitor& visit);

// Visits all certificates in all system stores of the user or the computer, otherwise as FindCertificates.
Result<> VisitCertificates(KeySet keySet, const CertificateVisitor& visit);
