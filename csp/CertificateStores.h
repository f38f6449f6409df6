// The search of the system's certificate stores.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <functional>
#include <optional>
#include <string>

#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"
#include "framework/Handles.h"

// A file with certificates, opened as a store.

struct CertificateFile {
    UniqueCertificateStore store;
    UniqueCertificate only;  // none: the file holds several
};

// The system recognises a certificate, a PKCS #7 message and a serialized store, each binary or Base64. Nothing when
// the file can't be opened as one of these, or has no certificate: the system opens files of anything as empty stores.
std::optional<CertificateFile> OpenCertificateFile(const std::wstring& path);

// Takes each certificate that was found with the name of its store. The certificate holds for the call only.
using CertificateVisitor = std::function<void(const std::wstring& store, const CERT_CONTEXT& certificate)>;

// Goes through all system stores of the current user or the computer in the system's order and gives every certificate
// of this public key. A store that can't be opened is passed over. The outcome is the listing's of the stores.
Outcome FindCertificates(KeySet keySet, CERT_PUBLIC_KEY_INFO& key, const CertificateVisitor& visit);
