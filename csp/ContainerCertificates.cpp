#include "csp/ContainerCertificates.h"

#include <functional>
#include <span>
#include <string_view>

#include "csp/ContainerExtensions.h"
#include "csp/CryptoValues.h"
#include "csp/KeyLink.h"

namespace {

UniqueCertificateStore OpenMemoryStore() {
    return UniqueCertificateStore(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
}

class KeyCertificateReader {
  public:
    KeyCertificateReader(HCRYPTPROV container, KeySet keySet, ContainerProblems& problems)
        : container_(container), keySet_(keySet), problems_(problems) {}

    KeyCertificates Read() {
        KeyCertificates read{OpenMemoryStore(), {}, false};
        if (!read.store || !UniqueContainerName(container_).Into(uniqueName_)) {
            problems_.Report(ContainerProblem::NoParameters);
            return read;
        }
        UniqueCryptKey exchange, signature;
        CryptGetUserKey(container_, AT_KEYEXCHANGE, exchange.put());
        CryptGetUserKey(container_, AT_SIGNATURE, signature.put());
        if (!exchange && !signature) {
            problems_.Report(ContainerProblem::NoKeys);
            return read;
        }
        UniqueCertificate first = ReadLinked(exchange.get(), AT_KEYEXCHANGE, read.store.get());
        UniqueCertificate second = ReadLinked(signature.get(), AT_SIGNATURE, read.store.get());
        read.both = first && second;
        read.selected = std::move(first ? first : second);
        if (!read.selected) problems_.Report(ContainerProblem::NoCertificates);
        return read;
    }

  private:
    // The certificate of a key, linked with the key and added to the store. Empty without a key, or after a problem.
    UniqueCertificate ReadLinked(HCRYPTKEY key, DWORD keySpec, HCERTSTORE store) {
        if (!key) return {};
        const bool signature = keySpec == AT_SIGNATURE;
        const Result<KeyLink> link = MakeKeyLink(container_, key, uniqueName_, keySet_);
        if (!link) return Skip(ContainerProblem::NoParameters);
        UniqueCertificate certificate = ReadKeyCertificate(key);
        if (!certificate)
            return Skip(signature ? ContainerProblem::NoSignatureCertificate : ContainerProblem::NoExchangeCertificate);
        if (!MatchKey(container_, keySpec, *certificate.get()).ValueOr(false))
            problems_.Report(signature ? ContainerProblem::OtherSignatureKey : ContainerProblem::OtherExchangeKey);
        if (!WriteKeyLink(*certificate.get(), *link) ||
            !CertAddCertificateContextToStore(store, certificate.get(), CERT_STORE_ADD_ALWAYS, nullptr))
            return Skip(ContainerProblem::NoLink);
        return certificate;
    }

    UniqueCertificate Skip(ContainerProblem problem) {
        problems_.Report(problem);
        return {};
    }

    HCRYPTPROV container_;
    KeySet keySet_;
    ContainerProblems& problems_;
    std::wstring uniqueName_;
};

Authority AuthorityOf(std::string_view identifier) {
    if (identifier == kIntermediateExtension) return Authority::Intermediate;
    for (const std::string_view root : kRootExtensions)
        if (identifier == root) return Authority::Root;
    return Authority::None;
}

// Adds the certificates of one extension record. Extensions of authorities must hold certificates; one of another kind
// may hold anything, so a failure to decode it is no error.
Result<> AddCertificates(std::span<const BYTE> bytes, const ExtensionCertificateVisitor& add) {
    const auto record = ReadExtensionRecord(bytes.data(), bytes.size());
    if (!record) return Failure{ERROR_INVALID_DATA};
    if (record->value.empty()) return {};
    const Authority authority = AuthorityOf(record->identifier);
    const Result<Bytes> decoded = DecodeExtension(*record);
    if (!decoded) return authority == Authority::None ? Result<>() : decoded.Failed();
    for (const auto encoded : SequenceBlobs(*decoded))
        if (const Result<> added = add(authority, encoded); !added) return added;
    return {};
}

}  // namespace

// ERROR_NO_MORE_ITEMS means success only when the listing returns it: `visit` may fail with the same code.
Result<> VisitExtensionCertificates(HCRYPTPROV container, FaultyExtension faulty,
                                    const ExtensionCertificateVisitor& visit) {
    const auto end = [](Failure failure) { return failure.Is(ERROR_NO_MORE_ITEMS) ? Result<>() : failure; };
    ContainerExtensions extensions(container, ContainerExtensions::BufferSize::Largest);
    if (const Result<> begun = extensions.Begin(); !begun) return end(begun.Failed());
    Result<std::span<const BYTE>> bytes = extensions.Next();
    for (; bytes; bytes = extensions.Next()) {
        const Result<> added = AddCertificates(*bytes, visit);
        if (!added && faulty == FaultyExtension::EndListing) return added;
    }
    return end(bytes.Failed());
}

namespace {

Result<> AddEncoded(HCERTSTORE store, std::span<const BYTE> encoded, DWORD disposition) {
    return Try(CertAddEncodedCertificateToStore(store, kCertificateEncoding, encoded.data(),
                                                static_cast<DWORD>(encoded.size()), disposition, nullptr));
}

}  // namespace

KeyCertificates ReadKeyCertificates(HCRYPTPROV container, KeySet keySet, ContainerProblems& problems) {
    return KeyCertificateReader(container, keySet, problems).Read();
}

Result<> ReadExtensionCertificates(HCRYPTPROV container, UniqueCertificateStore& store) {
    store = OpenMemoryStore();
    if (!store) return LastFailure();
    return VisitExtensionCertificates(container, FaultyExtension::Skip, [&](Authority, std::span<const BYTE> encoded) {
        // Skipping only this certificate: a failure would skip the following ones of the same extension, too.
        static_cast<void>(AddEncoded(store.get(), encoded, CERT_STORE_ADD_REPLACE_EXISTING));
        return Result<>();
    });
}

Result<> InstallExtensionCertificates(HCRYPTPROV container, KeySet keySet) {
    const DWORD location = StoreLocation(keySet);
    UniqueCertificateStore intermediates, roots;  // each opened for its first certificate
    const auto add = [&](Authority authority, std::span<const BYTE> encoded) -> Result<> {
        if (authority == Authority::None) return {};
        const bool root = authority == Authority::Root;
        UniqueCertificateStore& store = root ? roots : intermediates;
        if (!store) store.reset(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, location, root ? L"root" : L"ca"));
        if (!store) return LastFailure();
        const Result<> added = AddEncoded(store.get(), encoded, CERT_STORE_ADD_NEW);
        if (!added && added.Failed().Is(static_cast<DWORD>(CRYPT_E_EXISTS))) return {};
        return added;
    };
    return VisitExtensionCertificates(container, FaultyExtension::EndListing, add);
}
