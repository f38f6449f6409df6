#include "csp/ContainerCertificates.h"

#include <functional>
#include <span>
#include <string_view>

#include "csp/ContainerExtensions.h"
#include "csp/CryptoValues.h"
#include "csp/KeyLink.h"

namespace {

UniqueCertificateStore MemoryStore() {
    return UniqueCertificateStore(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
}

class KeyReading {
  public:
    KeyReading(HCRYPTPROV container, KeySet keySet, KeyCertificates& read, ContainerNotices& notices)
        : container_(container), keySet_(keySet), read_(read), notices_(notices) {}

    bool Run() {
        read_.store = MemoryStore();
        NameOutcome unique = UniqueContainerName(container_);
        if (!read_.store || !unique.done) return Fail(ContainerNotice::NoParameters);
        uniqueName_ = std::move(unique.name);
        UniqueCryptKey exchange, signature;
        CryptGetUserKey(container_, AT_KEYEXCHANGE, exchange.put());
        CryptGetUserKey(container_, AT_SIGNATURE, signature.put());
        if (!exchange && !signature) return Fail(ContainerNotice::NoKeys);
        read_.selected = Take(exchange.get(), AT_KEYEXCHANGE);
        UniqueCertificate second = Take(signature.get(), AT_SIGNATURE);
        read_.both = read_.selected && second;
        if (!read_.selected) read_.selected = std::move(second);
        return read_.selected || Fail(ContainerNotice::NoCertificates);
    }

  private:
    bool Fail(ContainerNotice notice) {
        notices_.Tell(notice);
        return false;
    }

    UniqueCertificate PassOver(ContainerNotice notice) {
        notices_.Tell(notice);
        return {};
    }

    // The key's certificate, put into the store with its link.
    UniqueCertificate Take(HCRYPTKEY key, DWORD keySpec) {
        if (!key) return {};
        const bool signature = keySpec == AT_SIGNATURE;
        const KeyLinkOutcome link = MakeKeyLink(container_, key, uniqueName_, keySet_);
        if (!link.done) return PassOver(ContainerNotice::NoParameters);
        UniqueCertificate certificate = CertificateOf(key);
        if (!certificate)
            return PassOver(signature ? ContainerNotice::NoSignatureCertificate
                                      : ContainerNotice::NoExchangeCertificate);
        if (!MatchKey(container_, keySpec, *certificate.get()).match)
            notices_.Tell(signature ? ContainerNotice::OtherSignatureKey : ContainerNotice::OtherExchangeKey);
        if (!WriteKeyLink(*certificate.get(), link.link).done ||
            !CertAddCertificateContextToStore(read_.store.get(), certificate.get(), CERT_STORE_ADD_ALWAYS, nullptr))
            return PassOver(ContainerNotice::NoLink);
        return certificate;
    }

    static UniqueCertificate CertificateOf(HCRYPTKEY key) {
        const BytesOutcome encoded = AskLengthFirst(
            [&](BYTE* data, DWORD* length) { return CryptGetKeyParam(key, KP_CERTIFICATE, data, length, 0); });
        if (!encoded.done) return {};
        return UniqueCertificate(CertCreateCertificateContext(kCertificateEncoding, encoded.bytes.data(),
                                                              static_cast<DWORD>(encoded.bytes.size())));
    }

    HCRYPTPROV container_;
    KeySet keySet_;
    KeyCertificates& read_;
    ContainerNotices& notices_;
    std::wstring uniqueName_;
};

// The extensions that hold certificates of authorities.
constexpr std::string_view kIntermediate = "1.2.643.2.2.37.3.1";
constexpr std::string_view kRoots[] = {"1.2.643.2.2.37.3.2", "1.2.643.2.2.37.3.3"};

enum class Authority { None, Intermediate, Root };

Authority AuthorityOf(std::string_view identifier) {
    if (identifier == kIntermediate) return Authority::Intermediate;
    for (const std::string_view root : kRoots)
        if (identifier == root) return Authority::Root;
    return Authority::None;
}

using Adding = std::function<Outcome(Authority authority, std::span<const BYTE> encoded)>;

// An extension of another kind may hold anything; one of these must hold certificates.
Outcome AddCertificates(std::span<const BYTE> bytes, const Adding& add) {
    const auto record = ReadExtensionRecord(bytes.data(), bytes.size());
    if (!record) return {false, ERROR_INVALID_DATA};
    if (record->value.empty()) return {true};
    const Authority authority = AuthorityOf(record->identifier);
    const BytesOutcome decoded = DecodeExtension(*record);
    if (!decoded.done) return authority == Authority::None ? Outcome{true} : Outcome{decoded};
    for (const auto encoded : SequenceBlobs(decoded.bytes)) {
        const Outcome added = add(authority, encoded);
        if (!added.done) return added;
    }
    return {true};
}

// What becomes of an extension whose certificates can't be decoded or added.
enum class Faulty { IsSkipped, EndsTheListing };

// ERROR_NO_MORE_ITEMS is success only where the listing itself gives it.
Outcome Listed(const Outcome& end) {
    return IsCode(end.error, ERROR_NO_MORE_ITEMS) ? Outcome{true} : end;
}

// Gives every certificate of every extension.
Outcome ForEachCertificate(HCRYPTPROV container, Faulty faulty, const Adding& add) {
    ContainerExtensions extensions(container, ContainerExtensions::Room::Largest);
    if (const Outcome begun = extensions.Begin(); !begun.done) return Listed(begun);
    while (const auto bytes = extensions.Next()) {
        const Outcome added = AddCertificates(*bytes, add);
        if (!added.done && faulty == Faulty::EndsTheListing) return added;
    }
    return Listed(extensions.End());
}

Outcome AddEncoded(HCERTSTORE store, std::span<const BYTE> encoded, DWORD disposition) {
    return Taken(CertAddEncodedCertificateToStore(store, kCertificateEncoding, encoded.data(),
                                                  static_cast<DWORD>(encoded.size()), disposition, nullptr));
}

}  // namespace

bool ReadKeyCertificates(HCRYPTPROV container, KeySet keySet, KeyCertificates& certificates,
                         ContainerNotices& notices) {
    certificates = {};
    KeyCertificates read;
    if (!KeyReading(container, keySet, read, notices).Run()) return false;
    certificates = std::move(read);
    return true;
}

Outcome ReadExtensionCertificates(HCRYPTPROV container, UniqueCertificateStore& store) {
    store = MemoryStore();
    if (!store) return {false, GetLastError()};
    return ForEachCertificate(container, Faulty::IsSkipped, [&](Authority, std::span<const BYTE> encoded) {
        AddEncoded(store.get(), encoded, CERT_STORE_ADD_REPLACE_EXISTING);
        return Outcome{true};  // those that follow are added all the same
    });
}

Outcome InstallExtensionCertificates(HCRYPTPROV container, KeySet keySet) {
    const DWORD location = StoreLocation(keySet);
    UniqueCertificateStore intermediates, roots;  // opened when the first one comes
    const auto add = [&](Authority authority, std::span<const BYTE> encoded) -> Outcome {
        if (authority == Authority::None) return {true};
        const bool root = authority == Authority::Root;
        UniqueCertificateStore& store = root ? roots : intermediates;
        if (!store) store.reset(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, location, root ? L"root" : L"ca"));
        if (!store) return {false, GetLastError()};
        const Outcome added = AddEncoded(store.get(), encoded, CERT_STORE_ADD_NEW);
        return added.error == static_cast<DWORD>(CRYPT_E_EXISTS) ? Outcome{true} : added;
    };
    return ForEachCertificate(container, Faulty::EndsTheListing, add);
}
