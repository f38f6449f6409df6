#include "console/Reconciliation.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "csp/ProviderParameters.h"

namespace {

constexpr wchar_t kPersonalStore[] = L"My";

Bytes KeyOf(const CERT_CONTEXT& certificate) {
    const CRYPT_BIT_BLOB& key = certificate.pCertInfo->SubjectPublicKeyInfo.PublicKey;
    return {key.pbData, key.pbData + key.cbData};
}

Bytes EncodedOf(const CERT_CONTEXT& certificate) {
    return {certificate.pbCertEncoded, certificate.pbCertEncoded + certificate.cbCertEncoded};
}

// A container's name in the form in which it is compared: without regard to case, and to which one of several providers
// of a type it was found with.
std::wstring NameKey(std::wstring name, DWORD type, KeySet keySet) {
    CharUpperBuffW(name.data(), static_cast<DWORD>(name.size()));
    return std::to_wstring(type) + (keySet == KeySet::Computer ? L"C" : L"U") + name;
}

bool SameStore(const std::wstring& one, const wchar_t* other) {
    return CompareStringOrdinal(one.c_str(), -1, other, -1, TRUE) == CSTR_EQUAL;
}

class Reconciliation {
  public:
    Reconciliation(const std::vector<HeldContainer>& containers, const std::vector<StoredCertificate>& certificates,
                   const FollowLink& follow)
        : containers_(containers), certificates_(certificates), follow_(follow) {
        for (std::size_t i = 0; i < containers_.size(); ++i) AddContainer(i);
        for (const StoredCertificate& stored : certificates_) {
            stored_.insert({stored.keySet, EncodedOf(*stored.certificate.get())});
        }
    }

    std::vector<Finding> Find() {
        for (const StoredCertificate& stored : certificates_) Look(stored);
        for (const std::size_t container : distinct_) {
            for (const HeldKey& key : containers_[container].keys) {
                if (key.certificate) Look(container, key);
            }
        }
        for (const auto& [key, places] : holders_) LookForSeveral(key, places);
        return std::move(findings_);
    }

  private:
    // The container may be listed by several providers; the first one counts.
    void AddContainer(std::size_t position) {
        const HeldContainer& container = containers_[position];
        const auto keyOf = [&](const std::wstring& name) {
            return NameKey(name, container.place.providerType, container.place.keySet);
        };
        const bool known = std::any_of(container.names.begin(), container.names.end(),
                                       [&](const std::wstring& name) { return byName_.contains(keyOf(name)); });
        if (known) return;
        for (const std::wstring& name : container.names) byName_.emplace(keyOf(name), position);
        distinct_.push_back(position);
        for (const HeldKey& key : container.keys) {
            if (!key.publicKey.empty()) holders_[key.publicKey].push_back({position, key.keySpec});
        }
    }

    std::vector<KeyPlace> HoldersOf(const CERT_CONTEXT& certificate) const {
        const auto found = holders_.find(KeyOf(certificate));
        return found == holders_.end() ? std::vector<KeyPlace>() : found->second;
    }

    void Look(const StoredCertificate& stored) {
        const CERT_CONTEXT& certificate = *stored.certificate.get();
        std::vector<KeyPlace> holders = HoldersOf(certificate);
        if (!holders.empty()) known_.emplace(KeyOf(certificate), &stored);
        if (!stored.link) {
            // Certificates of others are kept in other stores, and have no link there.
            if (!holders.empty() && SameStore(stored.store, kPersonalStore)) Add(Mismatch::NoLink, stored, holders);
            return;
        }
        switch (TargetOf(*stored.link, certificate)) {
            case LinkTarget::Missing: Add(Mismatch::NoContainer, stored, holders); break;
            case LinkTarget::OtherKey: Add(Mismatch::OtherKeyLinked, stored, holders); break;
            case LinkTarget::SameKey:
            case LinkTarget::Unknown: break;
        }
    }

    LinkTarget TargetOf(const KeyLink& link, const CERT_CONTEXT& certificate) const {
        const auto found = byName_.find(NameKey(link.container, link.providerType, link.keySet));
        if (found == byName_.end()) return follow_(link, certificate);
        const std::vector<HeldKey>& keys = containers_[found->second].keys;
        const Bytes wanted = KeyOf(certificate);
        if (std::any_of(keys.begin(), keys.end(), [&](const HeldKey& key) { return key.publicKey == wanted; })) {
            return LinkTarget::SameKey;
        }
        const bool unread =
            std::any_of(keys.begin(), keys.end(), [](const HeldKey& key) { return key.publicKey.empty(); });
        return unread ? LinkTarget::Unknown : LinkTarget::OtherKey;
    }

    // The link is certain when one key alone is the certificate's, of the same owner.
    void Add(Mismatch mismatch, const StoredCertificate& stored, std::vector<KeyPlace> holders) {
        const bool certain =
            holders.size() == 1 && containers_[holders.front().container].place.keySet == stored.keySet;
        findings_.push_back(
            {mismatch, stored.certificate.get(), &stored, std::move(holders), certain ? Repair::Link : Repair::None});
    }

    void Look(std::size_t position, const HeldKey& key) {
        const CERT_CONTEXT& certificate = *key.certificate.get();
        if (key.publicKey.empty()) return;
        const KeyPlace place{position, key.keySpec};
        if (KeyOf(certificate) != key.publicKey) {
            findings_.push_back({Mismatch::OtherKeyHeld, &certificate, nullptr, {place}});
            return;
        }
        const KeySet keySet = containers_[position].place.keySet;
        if (stored_.contains({keySet, EncodedOf(certificate)})) return;
        const bool certain = holders_.at(key.publicKey).size() == 1;
        findings_.push_back(
            {Mismatch::NotInStore, &certificate, nullptr, {place}, certain ? Repair::Install : Repair::None});
    }

    // Only where a certificate is concerned: keys without one may be kept in several containers.
    void LookForSeveral(const Bytes& key, const std::vector<KeyPlace>& places) {
        if (places.size() < 2) return;
        const auto stored = known_.find(key);
        const CERT_CONTEXT* certificate =
            stored == known_.end() ? CertificateHeldWith(key, places) : stored->second->certificate.get();
        if (certificate) findings_.push_back({Mismatch::SeveralContainers, certificate, nullptr, places});
    }

    const CERT_CONTEXT* CertificateHeldWith(const Bytes& publicKey, const std::vector<KeyPlace>& places) const {
        for (const KeyPlace& place : places) {
            for (const HeldKey& key : containers_[place.container].keys) {
                const bool same = key.publicKey == publicKey && key.certificate;
                if (same && KeyOf(*key.certificate.get()) == publicKey) return key.certificate.get();
            }
        }
        return nullptr;
    }

    const std::vector<HeldContainer>& containers_;
    const std::vector<StoredCertificate>& certificates_;
    const FollowLink& follow_;
    std::vector<std::size_t> distinct_;
    std::map<std::wstring, std::size_t> byName_;
    std::map<Bytes, std::vector<KeyPlace>> holders_;   // by the public key
    std::set<std::pair<KeySet, Bytes>> stored_;        // all certificates in the stores
    std::map<Bytes, const StoredCertificate*> known_;  // by the public key: those whose key a container has
    std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> FindMismatches(const std::vector<HeldContainer>& containers,
                                    const std::vector<StoredCertificate>& certificates, const FollowLink& follow) {
    return Reconciliation(containers, certificates, follow).Find();
}
