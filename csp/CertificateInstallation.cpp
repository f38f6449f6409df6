#include "csp/CertificateInstallation.h"

#include "csp/KeyLink.h"
#include "framework/Handles.h"

namespace {

LinkFailure Link(const CERT_CONTEXT& certificate, const LinkRequest& request, const std::wstring& uniqueName) {
    UniqueCryptKey key;
    if (request.keySpec == 0 || !CryptGetUserKey(request.container, request.keySpec, key.put()))
        return LinkFailure::NoKey;
    const KeyLinkOutcome made = MakeKeyLink(request.container, key.get(), uniqueName, request.keySet);
    if (!made.done) return LinkFailure::Parameters;
    if (!WriteKeyLink(certificate, made.link).done) return LinkFailure::Property;
    // The provider reads as many bytes as the certificate's header says; the system has found them all there.
    if (request.writeToContainer && !CryptSetKeyParam(key.get(), KP_CERTIFICATE, certificate.pbCertEncoded, 0))
        return LinkFailure::Property;
    return LinkFailure::None;
}

// The link that the system keeps for a key identifier comes before the certificate's own, so a stale one would hide it.
// The user's identifiers, also when the certificate goes into the computer's store. Not every system keeps any, and one
// that has none says so by failing.
void RemoveKeyIdentifier(const CERT_CONTEXT& certificate) {
    BytesOutcome identifier = AskLengthFirst([&](BYTE* data, DWORD* length) {
        return CertGetCertificateContextProperty(&certificate, CERT_KEY_IDENTIFIER_PROP_ID, data, length);
    });
    if (!identifier.done) return;
    const CRYPT_HASH_BLOB blob{static_cast<DWORD>(identifier.bytes.size()), identifier.bytes.data()};
    CryptSetKeyIdentifierProperty(&blob, 0, CRYPT_KEYID_DELETE_FLAG, nullptr, nullptr, nullptr);
}

}  // namespace

LinkOutcome LinkCertificate(const CERT_CONTEXT& certificate, const LinkRequest& request) {
    const NameOutcome unique = UniqueContainerName(request.container);
    if (!unique.done) return {LinkFailure::Parameters};
    return {Link(certificate, request, unique.name), unique.name};
}

Outcome AddToStore(HCERTSTORE store, const CERT_CONTEXT& certificate, ReplaceQuestion& question) {
    RemoveKeyIdentifier(certificate);
    const auto add = [&](DWORD disposition) {
        return Taken(CertAddCertificateContextToStore(store, &certificate, disposition, nullptr));
    };
    const Outcome added = add(CERT_STORE_ADD_NEW);
    if (added.done || added.error != static_cast<DWORD>(CRYPT_E_EXISTS)) return added;
    if (!question.Replace()) return {false, ERROR_CANCELLED};
    return add(CERT_STORE_ADD_REPLACE_EXISTING);
}

HCERTSTORE OpenPersonalStore(KeySet keySet) noexcept {
    const DWORD location = StoreLocation(keySet);
    return CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, location | CERT_STORE_OPEN_EXISTING_FLAG, L"My");
}
