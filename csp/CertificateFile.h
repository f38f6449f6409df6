// A file with certificates, opened as a store.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <optional>
#include <string>

#include "framework/Handles.h"

struct CertificateFile {
    UniqueCertificateStore store;
    UniqueCertificate only;  // none: the file holds several
};

// The system recognises a certificate, a PKCS #7 message and a serialized store, each binary or Base64. Nothing when
// the file can't be opened as one of these, or has no certificate: the system opens files of anything as empty stores.
std::optional<CertificateFile> OpenCertificateFile(const std::wstring& path);
