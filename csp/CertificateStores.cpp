#include "csp/CertificateStores.h"

#include <vector>

#include "csp/CryptoValues.h"

Result<CertificateFile> OpenCertificateFile(const std::wstring& path) {
    CertificateFile file;
    file.store.reset(CertOpenStore(CERT_STORE_PROV_FILENAME_W, kCertificateEncoding, 0, CERT_STORE_OPEN_EXISTING_FLAG,
                                   path.c_str()));
    if (!file.store) return LastFailure();
    file.only.reset(CertEnumCertificatesInStore(file.store.get(), nullptr));
    if (!file.only) return Failure{static_cast<DWORD>(CRYPT_E_NOT_FOUND)};
    // The enumeration releases the certificate that it continues from, so it is given a duplicate.
    const UniqueCertificate second(
        CertEnumCertificatesInStore(file.store.get(), CertDuplicateCertificateContext(file.only.get())));
    if (second) file.only.reset();
    return file;
}

namespace {

using StoreNames = std::vector<std::wstring>;

BOOL WINAPI AddStoreName(const void* store, DWORD, CERT_SYSTEM_STORE_INFO*, void*, void* argument) noexcept {
    try {
        static_cast<StoreNames*>(argument)->emplace_back(static_cast<const wchar_t*>(store));
        return TRUE;
    } catch (...) {  // an exception must not pass through the system's enumeration
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
}

// Called for each store of an owner, which is open during the call.
using StoreVisitor = std::function<void(const std::wstring& name, HCERTSTORE store)>;

Result<> VisitStores(KeySet keySet, const StoreVisitor& visit) {
    const DWORD location = StoreLocation(keySet);
    StoreNames names;
    const Result<> listed = Try(CertEnumSystemStore(location, nullptr, &names, &AddStoreName));
    for (const std::wstring& name : names) {
        const UniqueCertificateStore store(
            CertOpenStore(CERT_STORE_PROV_SYSTEM_W, kCertificateEncoding, 0,
                          location | CERT_STORE_READONLY_FLAG | CERT_STORE_OPEN_EXISTING_FLAG, name.c_str()));
        if (store) visit(name, store.get());
    }
    if (!listed && listed.Failed().Is(ERROR_FILE_NOT_FOUND)) return {};  // the owner has no stores yet
    return listed;
}

// Visits the certificates that `next` returns, which receives the previous one and releases it.
template <class Next>
void VisitEach(const std::wstring& store, const CertificateVisitor& visit, Next next) {
    UniqueCertificate certificate;
    for (certificate.reset(next(nullptr)); certificate; certificate.reset(next(certificate.release())))
        visit(store, *certificate.get());
}

}  // namespace

Result<> FindCertificates(KeySet keySet, CERT_PUBLIC_KEY_INFO& key, const CertificateVisitor& visit) {
    return VisitStores(keySet, [&](const std::wstring& name, HCERTSTORE store) {
        VisitEach(name, visit, [&](PCCERT_CONTEXT previous) {
            return CertFindCertificateInStore(store, kCertificateEncoding, 0, CERT_FIND_PUBLIC_KEY, &key, previous);
        });
    });
}

Result<> VisitCertificates(KeySet keySet, const CertificateVisitor& visit) {
    return VisitStores(keySet, [&](const std::wstring& name, HCERTSTORE store) {
        VisitEach(name, visit, [&](PCCERT_CONTEXT previous) { return CertEnumCertificatesInStore(store, previous); });
    });
}
