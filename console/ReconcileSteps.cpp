#include "console/ReconcileSteps.h"

#include <algorithm>
#include <set>
#include <tuple>
#include <utility>

#include "console/ContainerFacts.h"
#include "csp/CertificateInstallation.h"
#include "csp/CertificateStores.h"
#include "csp/ProviderParameters.h"
#include "resources/console.h"

namespace {

// The bits of a key's public key; empty when it can't be exported.
Bytes ReadPublicKey(HCRYPTPROV container, DWORD keySpec) {
    constexpr std::size_t kUsualSize = 512;  // with the structure around it, in bytes
    const Result<Bytes> exported = ReadBytes(kUsualSize, [&](BYTE* data, DWORD* length) {
        return CryptExportPublicKeyInfo(container, keySpec, kCertificateEncoding,
                                        reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(data), length);
    });
    if (!exported || exported->size() < sizeof(CERT_PUBLIC_KEY_INFO)) return {};
    const CRYPT_BIT_BLOB& key = reinterpret_cast<const CERT_PUBLIC_KEY_INFO*>(exported->data())->PublicKey;
    return {key.pbData, key.pbData + key.cbData};
}

UniqueCertificate Duplicate(const CERT_CONTEXT& certificate) {
    return UniqueCertificate(CertDuplicateCertificateContext(&certificate));
}

}  // namespace

Result<HeldContainer> ReadHeldContainer(HCRYPTPROV container, const ContainerPlace& place) {
    Result<ContainerFacts> facts = ReadContainerFacts(container);
    if (!facts) return facts.Failed();
    HeldContainer held{place, {facts->name, facts->uniqueName, facts->qualifiedName, place.name}, {}};
    for (KeyFacts& key : facts->keys) {
        held.keys.push_back({key.keySpec, ReadPublicKey(container, key.keySpec), std::move(key.certificate)});
    }
    return held;
}

Result<> ReadStoredCertificates(const std::vector<KeySet>& owners, std::vector<StoredCertificate>& certificates) {
    std::set<std::tuple<std::wstring, Bytes>> ofComputer;
    Result<> result;
    for (const KeySet keySet : {KeySet::Computer, KeySet::User}) {
        if (std::find(owners.begin(), owners.end(), keySet) == owners.end()) continue;
        const Result<> listed =
            VisitCertificates(keySet, [&](const std::wstring& store, const CERT_CONTEXT& certificate) {
                std::tuple identity(
                    store, Bytes(certificate.pbCertEncoded, certificate.pbCertEncoded + certificate.cbCertEncoded));
                if (keySet == KeySet::User && ofComputer.contains(identity)) return;
                certificates.push_back({keySet, store, Duplicate(certificate), ReadKeyLink(certificate)});
                if (keySet == KeySet::Computer) ofComputer.insert(std::move(identity));
            });
        if (result) result = listed;
    }
    return result;
}

LinkTarget FollowToContainer(const KeyLink& link, const CERT_CONTEXT& certificate, Session& session) {
    CCryptProvContext context;
    const Result<> opened = session.Open(context, {link.provider, link.providerType, link.keySet, link.container});
    if (!opened && opened.Failed().Is(static_cast<DWORD>(NTE_BAD_KEYSET))) return LinkTarget::Missing;
    if (!opened) {
        session.GetOutput().Fail(IDS_OPEN_FAILED, link.container, opened.Failed());
        return LinkTarget::Unknown;
    }
    return FindMatchingKey(context.Get(), certificate) != 0 ? LinkTarget::SameKey : LinkTarget::OtherKey;
}

namespace {

// The certificate isn't in the store, or somebody has added it since.
struct KeepExisting final : ReplaceQuestion {
    bool Replace() override { return false; }
};

Result<> Commit(HCERTSTORE store) {
    return Try(CertControlStore(store, CERT_STORE_CTRL_COMMIT_FORCE_FLAG, CERT_STORE_CTRL_COMMIT, nullptr));
}

Result<> LinkStored(const StoredCertificate& stored, const LinkRequest& request) {
    const UniqueCertificateStore store(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, kCertificateEncoding, 0,
                                                     StoreLocation(stored.keySet) | CERT_STORE_OPEN_EXISTING_FLAG,
                                                     stored.store.c_str()));
    if (!store) return LastFailure();
    const UniqueCertificate found(CertFindCertificateInStore(store.get(), kCertificateEncoding, 0, CERT_FIND_EXISTING,
                                                             stored.certificate.get(), nullptr));
    if (!found) return LastFailure();
    if (const LinkAttempt linked = LinkCertificate(*found.get(), request); !linked.result) return linked.result;
    return Commit(store.get());
}

Result<> InstallHeld(const CERT_CONTEXT& certificate, const LinkRequest& request) {
    // A new user has no personal store; it is created.
    const UniqueCertificateStore store(
        CertOpenStore(CERT_STORE_PROV_SYSTEM_W, kCertificateEncoding, 0, StoreLocation(request.keySet), L"My"));
    if (!store) return LastFailure();
    const UniqueCertificate linked(
        CertCreateCertificateContext(kCertificateEncoding, certificate.pbCertEncoded, certificate.cbCertEncoded));
    if (!linked) return LastFailure();
    if (const LinkAttempt attempt = LinkCertificate(*linked.get(), request); !attempt.result) return attempt.result;
    KeepExisting question;
    if (const Result<> added = AddToStore(store.get(), *linked.get(), question); !added) return added;
    return Commit(store.get());
}

}  // namespace

Result<> CarryOut(const Finding& finding, const std::vector<HeldContainer>& containers, Session& session) {
    const KeyPlace& key = finding.keys.front();
    const ContainerPlace& place = containers[key.container].place;
    CCryptProvContext context;
    if (const Result<> opened = session.Open(context, place); !opened) return opened;
    const LinkRequest request{context.Get(), key.keySpec, place.keySet, false};
    return finding.repair == Repair::Link ? LinkStored(*finding.stored, request)
                                          : InstallHeld(*finding.certificate, request);
}
