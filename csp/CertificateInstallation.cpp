#include "csp/CertificateInstallation.h"

#include "csp/KeyLink.h"

namespace {

Result<> WriteCertificate(HCRYPTKEY key, const CERT_CONTEXT& certificate) {
    // The provider reads as many bytes as the certificate's own header announces. The system has checked that the
    // encoded certificate holds them.
    return Try(CryptSetKeyParam(key, KP_CERTIFICATE, certificate.pbCertEncoded, 0));
}

// The system prefers the link that it keeps for a key identifier to the certificate's own link, so an outdated one must
// be removed. It is the current user's also when the certificate goes into a store of the computer. Systems that keep
// no such links fail here; the failure is ignored.
void RemoveKeyIdentifier(const CERT_CONTEXT& certificate) {
    Result<Bytes> identifier = ReadBytes([&](BYTE* data, DWORD* length) {
        return CertGetCertificateContextProperty(&certificate, CERT_KEY_IDENTIFIER_PROP_ID, data, length);
    });
    if (!identifier) return;
    const CRYPT_HASH_BLOB blob{static_cast<DWORD>(identifier->size()), identifier->data()};
    CryptSetKeyIdentifierProperty(&blob, 0, CRYPT_KEYID_DELETE_FLAG, nullptr, nullptr, nullptr);
}

}  // namespace

LinkAttempt LinkCertificate(const CERT_CONTEXT& certificate, const LinkRequest& request) {
    const Result<std::wstring> name = UniqueContainerName(request.container);
    if (!name) return {name.Failed(), LinkStep::ReadContainer};

    UniqueCryptKey key;
    if (request.keySpec == 0) return {Failure{static_cast<DWORD>(NTE_NO_KEY)}, LinkStep::OpenKey, *name};
    const Result<> opened = Try(CryptGetUserKey(request.container, request.keySpec, key.put()));
    if (!opened) return {opened, LinkStep::OpenKey, *name};

    const Result<KeyLink> link = MakeKeyLink(request.container, key.get(), *name, request.keySet);
    if (!link) return {link.Failed(), LinkStep::ReadKey, *name};

    Result<> written = WriteKeyLink(certificate, *link);
    if (written && request.writeToContainer) written = WriteCertificate(key.get(), certificate);
    return {written, LinkStep::Write, *name};
}

Result<> AddToStore(HCERTSTORE store, const CERT_CONTEXT& certificate, ReplaceQuestion& question) {
    RemoveKeyIdentifier(certificate);
    const auto add = [&](DWORD disposition) {
        return Try(CertAddCertificateContextToStore(store, &certificate, disposition, nullptr));
    };
    const Result<> added = add(CERT_STORE_ADD_NEW);
    if (added || !added.Failed().Is(static_cast<DWORD>(CRYPT_E_EXISTS))) return added;
    if (!question.Replace()) return Failure{ERROR_CANCELLED};
    return add(CERT_STORE_ADD_REPLACE_EXISTING);
}

Result<UniqueCertificateStore> OpenPersonalStore(KeySet keySet) noexcept {
    const DWORD location = StoreLocation(keySet);
    UniqueCertificateStore store(
        CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, location | CERT_STORE_OPEN_EXISTING_FLAG, L"My"));
    if (!store) return LastFailure();
    return store;
}
