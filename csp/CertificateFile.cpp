#include "csp/CertificateFile.h"

#include "csp/CertificateEncoding.h"

std::optional<CertificateFile> OpenCertificateFile(const std::wstring& path) {
    CertificateFile file;
    file.store.reset(CertOpenStore(CERT_STORE_PROV_FILENAME_W, kCertificateEncoding, 0, CERT_STORE_OPEN_EXISTING_FLAG,
                                   path.c_str()));
    if (!file.store) return {};
    file.only.reset(CertEnumCertificatesInStore(file.store.get(), nullptr));
    if (!file.only) return {};
    // The listing takes the certificate that it goes on from.
    const UniqueCertificate second(
        CertEnumCertificatesInStore(file.store.get(), CertDuplicateCertificateContext(file.only.get())));
    if (second) file.only.reset();
    return file;
}
