#include "csp/ContainerCopy.h"

#include <algorithm>

#include "csp/ContainerExtensions.h"
#include "csp/ExtensionRecord.h"
#include "csp/ProviderParameters.h"

namespace {

constexpr ALG_ID kEphemeralAlgorithm = 0xAA25;   // a key pair for one agreement
constexpr ALG_ID kWrappingAlgorithm = 0x661F;    // how an agreement key wraps others
constexpr ALG_ID kSessionKeyAlgorithm = 0x661E;  // the key under which private keys are wrapped

constexpr Failure kMissing{static_cast<DWORD>(E_FAIL)};

Result<Bytes> ExportKey(HCRYPTKEY key, HCRYPTKEY wrapping, DWORD blobType) {
    return ReadBytes(KeyBlobQuery(key, wrapping, blobType));
}

// Imports a blob as an exportable key. `by` unwraps it; for a public key the result is the key that `by` agrees on with
// it.
Result<> ImportKey(HCRYPTPROV provider, const Bytes& blob, HCRYPTKEY by, UniqueCryptKey& key) noexcept {
    return Try(CryptImportKey(provider, blob.data(), static_cast<DWORD>(blob.size()), by, CRYPT_EXPORTABLE, key.put()));
}

Result<> WriteKeyParameter(HCRYPTKEY key, DWORD parameter, const void* value) noexcept {
    return Try(CryptSetKeyParam(key, parameter, static_cast<const BYTE*>(value), 0));
}

Result<> WriteProviderParameter(HCRYPTPROV provider, DWORD parameter, const void* value) noexcept {
    return Try(CryptSetProvParam(provider, parameter, static_cast<const BYTE*>(value), 0));
}

// The object identifier of a key's parameter set, always terminated: CryptSetKeyParam reads it without a length.
Result<Bytes> ReadParameterSet(HCRYPTKEY key, DWORD parameter) {
    Result<Bytes> identifier = ReadBytes(KeyQuery(key, parameter));
    if (identifier) identifier->push_back('\0');
    return identifier;
}

Result<> SetWrapping(HCRYPTKEY key) noexcept {
    return WriteKeyParameter(key, KP_ALGID, &kWrappingAlgorithm);
}

// Wine's CryptSetKeyParam fails for a null pointer without calling the provider.
bool IsWine() noexcept {
    const HMODULE system = GetModuleHandleW(L"ntdll.dll");
    return system && GetProcAddress(system, "wine_get_version");
}

// Completes a pregenerated key with a secret number that the provider chooses when it receives no data: under Wine a
// number of no bytes, elsewhere a null pointer.
Result<> CompleteKey(HCRYPTKEY key) noexcept {
    const CRYPT_DATA_BLOB none{};
    return WriteKeyParameter(key, KP_X, IsWine() ? &none : nullptr);
}

// Moves a session key from one provider context to another, wrapped under a key that two ephemeral key pairs agree on.
class KeyTransfer {
  public:
    KeyTransfer(HCRYPTPROV from, HCRYPTPROV to) noexcept : from_{from}, to_{to} {}

    // `moved`, empty before, owns the key in the other context.
    Result<> Run(HCRYPTKEY key, UniqueCryptKey& moved) {
        if (!key || !from_.provider || !to_.provider || moved) return kMissing;
        return CreateFirst()
            .Then([&] { return CreateSecond(); })
            .Then([&] { return Agree(from_, to_); })
            .Then([&] { return Agree(to_, from_); })
            .Then([&] { return Move(key, moved); });
    }

  private:
    // One context's part of the agreement.
    struct Side {
        HCRYPTPROV provider;
        UniqueCryptKey ephemeral{};
        Bytes publicBlob{};
        UniqueCryptKey agreement{};
    };

    Result<> CreateFirst() {
        const Result<> created =
            Try(CryptGenKey(from_.provider, kEphemeralAlgorithm, CRYPT_EXPORTABLE, from_.ephemeral.put()));
        if (!created) return created;
        const HCRYPTKEY key = from_.ephemeral.get();
        return ReadParameterSet(key, kKeyParameterDigestSet)
            .Into(digestSet_)
            .Then([&] { return ReadParameterSet(key, kKeyParameterAgreementSet).Into(agreementSet_); })
            .Then([&] { return ExportPublic(from_); });
    }

    // With the parameter sets of the first key pair: only keys with the same sets can agree.
    Result<> CreateSecond() {
        const Result<> created =
            Try(CryptGenKey(to_.provider, kEphemeralAlgorithm, CRYPT_EXPORTABLE | CRYPT_PREGEN, to_.ephemeral.put()));
        if (!created) return created;
        const HCRYPTKEY key = to_.ephemeral.get();
        return WriteKeyParameter(key, kKeyParameterDigestSet, digestSet_.data())
            .Then([&] { return WriteKeyParameter(key, kKeyParameterAgreementSet, agreementSet_.data()); })
            .Then([&] { return CompleteKey(key); })
            .Then([&] { return ExportPublic(to_); });
    }

    static Result<> ExportPublic(Side& side) {
        return ExportKey(side.ephemeral.get(), 0, PUBLICKEYBLOB).Into(side.publicBlob);
    }

    static Result<> Agree(Side& own, const Side& other) {
        return ImportKey(own.provider, other.publicBlob, own.ephemeral.get(), own.agreement).Then([&] {
            return SetWrapping(own.agreement.get());
        });
    }

    // The wrapping algorithm of the key itself is set after its export. It doesn't affect this transfer, but what the
    // key wraps later; providers rely on this order.
    Result<> Move(HCRYPTKEY key, UniqueCryptKey& moved) {
        from_.ephemeral.reset();
        to_.ephemeral.reset();
        Bytes wrapped;
        return ExportKey(key, from_.agreement.get(), SIMPLEBLOB)
            .Into(wrapped)
            .Then([&] { return SetWrapping(key); })
            .Then([&] { return ImportKey(to_.provider, wrapped, to_.agreement.get(), moved); });
    }

    Side from_, to_;
    Bytes digestSet_, agreementSet_;  // object identifiers, terminated
};

class SourceReader {
  public:
    SourceReader(HCRYPTPROV source, ContainerCopy& copy) noexcept : source_(source), copy_(copy) {}

    Result<> Run() {
        return ReadSet(kParameterDigestSet, copy_.digestSet)
            .Then([&] { return ReadSet(kParameterCipherSet, copy_.cipherSet); })
            .Then([&] { return ReadExtensions(); })
            .Then([&] { return CreateSessionKey(); })
            .Then([&] { return ReadKey(AT_KEYEXCHANGE, copy_.exchange); })
            .Then([&] { return ReadKey(AT_SIGNATURE, copy_.signature); });
    }

  private:
    Result<> ReadSet(DWORD parameter, std::string& identifier) const {
        constexpr std::size_t kUsualIdentifier = 64;  // bytes
        const Result<Bytes> read = ReadBytes(kUsualIdentifier, ProviderQuery(source_, parameter));
        if (!read) return read.Failed();
        identifier.assign(read->begin(), read->end());
        if (!identifier.empty() && identifier.back() == '\0') identifier.pop_back();
        return {};
    }

    Result<> ReadExtensions() {
        copy_.extensions.clear();
        Vestra::CSaveContainerExtensionsEnum saving(copy_.extensions);
        const Result<> listed = EnumContainerExtensions(source_, saving);
        if (listed && saving.Failed()) return kMissing;
        return listed;
    }

    Result<> CreateSessionKey() {
        return Try(CryptGenKey(source_, kSessionKeyAlgorithm, CRYPT_EXPORTABLE, sessionKey_.put())).Then([&] {
            return KeyTransfer(source_, copy_.verification.Get()).Run(sessionKey_.get(), copy_.sessionKey);
        });
    }

    // A key that the container doesn't have is skipped. Only the first call can report that: the same code from a later
    // call is a failure, since the key exists.
    Result<> ReadKey(DWORD keySpec, CopiedKey& copied) const {
        if (!copied.blob.empty() || !copied.certificate.empty()) return kMissing;
        UniqueCryptKey key;
        if (const Result<> opened = Try(CryptGetUserKey(source_, keySpec, key.put())); !opened)
            return opened.Failed().Is(static_cast<DWORD>(NTE_NO_KEY)) ? Result<>() : opened;
        CopiedKey read;
        const Result<> done = ExportKey(key.get(), sessionKey_.get(), PRIVATEKEYBLOB).Into(read.blob).Then([&] {
            return ReadCertificate(key.get()).Into(read.certificate);
        });
        if (done) copied = std::move(read);
        return done;
    }

    // Any failure of the length query means that the key has no certificate: the value is empty. The certificate must
    // be complete, since CryptSetKeyParam, which writes it into the target, has no length: the provider reads as many
    // bytes as the certificate's own header announces.
    static Result<Bytes> ReadCertificate(HCRYPTKEY key) {
        DWORD length = 0;
        if (!CryptGetKeyParam(key, KP_CERTIFICATE, nullptr, &length, 0) || length == 0) return Bytes();
        Bytes certificate(length);
        if (const Result<> read = Try(CryptGetKeyParam(key, KP_CERTIFICATE, certificate.data(), &length, 0)); !read)
            return read.Failed();
        certificate.resize(std::min<std::size_t>(length, certificate.size()));
        if (!IsOneSequence(certificate.data(), certificate.size()))
            return Failure{static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT)};
        return certificate;
    }

    HCRYPTPROV source_;
    ContainerCopy& copy_;
    UniqueCryptKey sessionKey_;  // in the source's context; the copy holds it in the verification context
};

// The record that kParameterAddExtension expects.
struct ExtensionRequest {
    const char* identifier;
    DWORD critical;
    DWORD length;  // of the value, bytes
    const BYTE* value;
};
static_assert(sizeof(ExtensionRequest) == 24);

class TargetWriter {
  public:
    TargetWriter(const ContainerCopy& copy, HCRYPTPROV target) noexcept : copy_(copy), target_(target) {}

    Result<> Run() {
        return WriteSet(kParameterDigestSet, copy_.digestSet)
            .Then([&] { return WriteSet(kParameterCipherSet, copy_.cipherSet); })
            .Then([&] { return MoveSessionKey(); })
            .Then([&] { return WriteKey(copy_.exchange); })
            .Then([&] { return WriteKey(copy_.signature); })
            .Then([&] { return WriteExtensions(); });
    }

  private:
    Result<> WriteSet(DWORD parameter, const std::string& identifier) const {
        if (identifier.empty()) return {};
        return WriteProviderParameter(target_, parameter, identifier.c_str());
    }

    // Moves a duplicate: the transfer changes the key that it moves.
    Result<> MoveSessionKey() {
        UniqueCryptKey duplicate;
        return Try(CryptDuplicateKey(copy_.sessionKey.get(), nullptr, 0, duplicate.put())).Then([&] {
            return KeyTransfer(copy_.verification.Get(), target_).Run(duplicate.get(), sessionKey_);
        });
    }

    Result<> WriteKey(const CopiedKey& copied) const {
        if (copied.blob.empty()) return {};
        UniqueCryptKey key;
        const Result<> imported = ImportKey(target_, copied.blob, sessionKey_.get(), key);
        if (!imported || copied.certificate.empty()) return imported;
        return WriteKeyParameter(key.get(), KP_CERTIFICATE, copied.certificate.data());
    }

    Result<> WriteExtensions() const {
        for (const Bytes& bytes : copy_.extensions) {
            const auto record = ReadExtensionRecord(bytes.data(), bytes.size());
            if (!record) return kMissing;
            if (const Result<> written = WriteExtension(*record); !written) return written;
        }
        return {};
    }

    Result<> WriteExtension(const ExtensionRecord& record) const {
        const ExtensionRequest request{record.identifier.data(), record.critical,
                                       static_cast<DWORD>(record.value.size()), record.value.data()};
        return WriteProviderParameter(target_, kParameterAddExtension, &request);
    }

    const ContainerCopy& copy_;
    HCRYPTPROV target_;
    UniqueCryptKey sessionKey_;  // in the target's context
};

}  // namespace

Result<> ContainerCopy::Clear() noexcept {
    digestSet.clear();
    cipherSet.clear();
    exchange = {};
    signature = {};
    extensions = {};
    const Result<> keyClosed = Try(sessionKey.close());
    const Result<> contextClosed = verification.Close();
    return keyClosed ? contextClosed : keyClosed;
}

Result<> ContainerCopy::OpenVerification(const wchar_t* provider, DWORD type) noexcept {
    sessionKey.reset();
    return verification.Acquire(CRYPT_VERIFYCONTEXT, nullptr, provider, type);
}

Result<> ReadSourceContainer(HCRYPTPROV source, ContainerCopy& copy) {
    return SourceReader(source, copy).Run();
}

Result<> WriteTargetContainer(const ContainerCopy& copy, HCRYPTPROV target) {
    return TargetWriter(copy, target).Run();
}
