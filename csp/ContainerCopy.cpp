#include "csp/ContainerCopy.h"

#include <algorithm>

#include "csp/ContainerExtensions.h"
#include "csp/CryptoValues.h"
#include "csp/ExtensionRecord.h"
#include "csp/ProviderParameters.h"

namespace {

constexpr ALG_ID kEphemeralAlgorithm = 0xAA25;  // a key pair for one agreement
constexpr ALG_ID kWrappingAlgorithm = 0x661F;   // how an agreement key wraps others

// The object identifier of a parameter set, always terminated: CryptSetKeyParam takes it without a length.
BytesOutcome ParameterSet(HCRYPTKEY key, DWORD parameter) {
    BytesOutcome identifier =
        AskLengthFirst([=](BYTE* data, DWORD* length) { return CryptGetKeyParam(key, parameter, data, length, 0); });
    if (identifier.done) identifier.bytes.push_back('\0');
    return identifier;
}

BOOL SetWrapping(HCRYPTKEY key) noexcept {
    return CryptSetKeyParam(key, KP_ALGID, reinterpret_cast<const BYTE*>(&kWrappingAlgorithm), 0);
}

// Wine's CryptSetKeyParam fails for a null pointer without calling the provider.
bool IsWine() noexcept {
    const HMODULE system = GetModuleHandleW(L"ntdll.dll");
    return system && GetProcAddress(system, "wine_get_version");
}

// Completes a pregenerated key with a secret number that the provider chooses when it is given no data: under Wine a
// number of no bytes, elsewhere a null pointer.
BOOL Complete(HCRYPTKEY key) noexcept {
    const CRYPT_DATA_BLOB none{};
    return CryptSetKeyParam(key, KP_X, IsWine() ? reinterpret_cast<const BYTE*>(&none) : nullptr, 0);
}

// A context's part in the agreement.
struct Side {
    HCRYPTPROV provider;
    UniqueCryptKey ephemeral{};
    Bytes publicBlob{};
    UniqueCryptKey agreement{};
};

class Transfer {
  public:
    Transfer(HCRYPTPROV from, HCRYPTPROV to) noexcept : from_{from}, to_{to} {}

    HRESULT Run(HCRYPTKEY key, UniqueCryptKey& moved) {
        if (MakeFirst() && MakeSecond() && Agree(from_, to_) && Agree(to_, from_)) {
            from_.ephemeral.reset();
            to_.ephemeral.reset();
            Move(key, moved);
        }
        return calls_.Result();
    }

  private:
    bool MakeFirst() {
        return calls_.Did(CryptGenKey(from_.provider, kEphemeralAlgorithm, CRYPT_EXPORTABLE, from_.ephemeral.put())) &&
               calls_.Did(ParameterSet(from_.ephemeral.get(), kKeyParameterDigestSet), digestSet_) &&
               calls_.Did(ParameterSet(from_.ephemeral.get(), kKeyParameterAgreementSet), agreementSet_) &&
               ExportPublic(from_);
    }

    // With the parameter sets of the first, since only keys of the same can agree.
    bool MakeSecond() {
        constexpr DWORD flags = CRYPT_EXPORTABLE | CRYPT_PREGEN;
        return calls_.Did(CryptGenKey(to_.provider, kEphemeralAlgorithm, flags, to_.ephemeral.put())) &&
               calls_.Did(CryptSetKeyParam(to_.ephemeral.get(), kKeyParameterDigestSet, digestSet_.data(), 0)) &&
               calls_.Did(CryptSetKeyParam(to_.ephemeral.get(), kKeyParameterAgreementSet, agreementSet_.data(), 0)) &&
               calls_.Did(Complete(to_.ephemeral.get())) && ExportPublic(to_);
    }

    bool ExportPublic(Side& side) {
        return calls_.Did(ExportKey(side.ephemeral.get(), 0, PUBLICKEYBLOB), side.publicBlob);
    }

    bool Agree(Side& own, const Side& other) {
        return calls_.Did(ImportKey(own.provider, other.publicBlob, own.ephemeral.get(), own.agreement)) &&
               calls_.Did(SetWrapping(own.agreement.get()));
    }

    // The key itself is told how to wrap only once it is on its way. That is late for this transfer and in time for
    // what the key is to wrap afterwards; providers have come to know it in this order.
    bool Move(HCRYPTKEY key, UniqueCryptKey& moved) {
        Bytes wrapped;
        return calls_.Did(ExportKey(key, from_.agreement.get(), SIMPLEBLOB), wrapped) && calls_.Did(SetWrapping(key)) &&
               calls_.Did(ImportKey(to_.provider, wrapped, to_.agreement.get(), moved));
    }

    FirstFailure calls_;
    Side from_, to_;
    Bytes digestSet_, agreementSet_;  // object identifiers, terminated
};

}  // namespace

HRESULT TransferKey(HCRYPTKEY key, HCRYPTPROV from, HCRYPTPROV to, UniqueCryptKey& moved) {
    if (!key || !from || !to || moved) return E_FAIL;
    return Transfer(from, to).Run(key, moved);
}

namespace {

constexpr ALG_ID kSessionKeyAlgorithm = 0x661E;
constexpr std::size_t kUsualIdentifier = 64;  // bytes

class Reading {
  public:
    Reading(HCRYPTPROV source, ContainerCopy& copy) noexcept : source_(source), copy_(copy) {}

    HRESULT Run() {
        UniqueCryptKey sessionKey;
        if (ReadSet(kParameterDigestSet, copy_.digestSet) && ReadSet(kParameterCipherSet, copy_.cipherSet) &&
            calls_.Went(ReadExtensions()) &&
            calls_.Did(CryptGenKey(source_, kSessionKeyAlgorithm, CRYPT_EXPORTABLE, sessionKey.put())) &&
            calls_.Went(TransferKey(sessionKey.get(), source_, copy_.verification.get(), copy_.sessionKey)) &&
            calls_.Went(ReadKey(AT_KEYEXCHANGE, sessionKey.get(), copy_.exchange)))
            calls_.Went(ReadKey(AT_SIGNATURE, sessionKey.get(), copy_.signature));
        return calls_.Result();
    }

  private:
    bool ReadSet(DWORD parameter, std::string& identifier) {
        Bytes bytes;
        if (!calls_.Did(AskWithRoom(kUsualIdentifier,
                                    [&](BYTE* data, DWORD* length) {
                                        return CryptGetProvParam(source_, parameter, data, length, 0);
                                    }),
                        bytes))
            return false;
        identifier.assign(bytes.begin(), bytes.end());
        if (!identifier.empty() && identifier.back() == '\0') identifier.pop_back();
        return true;
    }

    HRESULT ReadExtensions() {
        copy_.extensions.clear();
        Vestra::CSaveContainerExtensionsEnum saving(copy_.extensions);
        const HRESULT result = EnumContainerExtensions(source_, saving);
        return SUCCEEDED(result) && saving.Failed() ? E_FAIL : result;
    }

    // A key that the container doesn't have is left out. Only the first call can report that: the same code from a
    // later one is a failure, since the key is there.
    HRESULT ReadKey(DWORD keySpec, HCRYPTKEY sessionKey, CopiedKey& copied) const {
        if (!copied.blob.empty() || !copied.certificate.empty()) return E_FAIL;
        FirstFailure calls;
        UniqueCryptKey key;
        if (!calls.Did(CryptGetUserKey(source_, keySpec, key.put())))
            return calls.Result() == NTE_NO_KEY ? S_OK : calls.Result();
        CopiedKey read;
        if (calls.Did(ExportKey(key.get(), sessionKey, PRIVATEKEYBLOB), read.blob) &&
            ReadCertificate(key.get(), read.certificate, calls))
            copied = std::move(read);
        return calls.Result();
    }

    // Any failure of the length query means that the key has no certificate. CryptSetKeyParam, which writes it into the
    // target, takes no length: the provider reads as many bytes as the certificate's own header says.
    static bool ReadCertificate(HCRYPTKEY key, Bytes& certificate, FirstFailure& calls) {
        DWORD length = 0;
        if (!CryptGetKeyParam(key, KP_CERTIFICATE, nullptr, &length, 0) || length == 0) return true;
        certificate.resize(length);
        if (!calls.Did(CryptGetKeyParam(key, KP_CERTIFICATE, certificate.data(), &length, 0))) return false;
        certificate.resize(std::min<std::size_t>(length, certificate.size()));
        return calls.Went(IsOneSequence(certificate.data(), certificate.size()) ? S_OK : CRYPT_E_ASN1_CORRUPT);
    }

    HCRYPTPROV source_;
    ContainerCopy& copy_;
    FirstFailure calls_;
};

// What kParameterAddExtension takes.
struct ExtensionRequest {
    const char* identifier;
    DWORD critical;
    DWORD length;  // of the value, bytes
    const BYTE* value;
};
static_assert(sizeof(ExtensionRequest) == 24);

class Writing {
  public:
    Writing(const ContainerCopy& copy, HCRYPTPROV target) noexcept : copy_(copy), target_(target) {}

    HRESULT Run() {
        UniqueCryptKey sessionKey;
        if (WriteSet(kParameterDigestSet, copy_.digestSet) && WriteSet(kParameterCipherSet, copy_.cipherSet) &&
            MoveSessionKey(sessionKey) && WriteKey(copy_.exchange, sessionKey.get()) &&
            WriteKey(copy_.signature, sessionKey.get()))
            WriteExtensions();
        return calls_.Result();
    }

  private:
    bool WriteSet(DWORD parameter, const std::string& identifier) {
        return identifier.empty() ||
               calls_.Did(CryptSetProvParam(target_, parameter, reinterpret_cast<const BYTE*>(identifier.c_str()), 0));
    }

    // A duplicate goes on the way, since that changes a key.
    bool MoveSessionKey(UniqueCryptKey& moved) {
        UniqueCryptKey duplicate;
        return calls_.Did(CryptDuplicateKey(copy_.sessionKey.get(), nullptr, 0, duplicate.put())) &&
               calls_.Went(TransferKey(duplicate.get(), copy_.verification.get(), target_, moved));
    }

    bool WriteKey(const CopiedKey& copied, HCRYPTKEY sessionKey) {
        UniqueCryptKey key;
        if (copied.blob.empty()) return true;
        if (!calls_.Did(ImportKey(target_, copied.blob, sessionKey, key))) return false;
        return copied.certificate.empty() ||
               calls_.Did(CryptSetKeyParam(key.get(), KP_CERTIFICATE, copied.certificate.data(), 0));
    }

    void WriteExtensions() {
        for (const Bytes& bytes : copy_.extensions) {
            const auto record = ReadExtensionRecord(bytes.data(), bytes.size());
            if (!calls_.Went(record ? S_OK : E_FAIL) || !WriteExtension(*record)) return;
        }
    }

    bool WriteExtension(const ExtensionRecord& record) {
        const ExtensionRequest request{record.identifier.data(), record.critical,
                                       static_cast<DWORD>(record.value.size()), record.value.data()};
        return calls_.Did(
            CryptSetProvParam(target_, kParameterAddExtension, reinterpret_cast<const BYTE*>(&request), 0));
    }

    const ContainerCopy& copy_;
    HCRYPTPROV target_;
    FirstFailure calls_;
};

}  // namespace

HRESULT ContainerCopy::Clear() noexcept {
    digestSet.clear();
    cipherSet.clear();
    exchange = {};
    signature = {};
    extensions = {};
    FirstFailure closing;
    closing.Did(sessionKey.close());
    closing.Did(verification.close());
    return closing.Result();
}

Outcome ContainerCopy::OpenVerification(const wchar_t* provider, DWORD type) noexcept {
    sessionKey.reset();
    verification.reset();
    HCRYPTPROV opened = 0;
    const Outcome outcome = Taken(CryptAcquireContextW(&opened, nullptr, provider, type, CRYPT_VERIFYCONTEXT));
    verification.reset(outcome.done ? opened : 0);
    return outcome;
}

HRESULT ReadSourceContainer(HCRYPTPROV source, ContainerCopy& copy) {
    return Reading(source, copy).Run();
}

HRESULT WriteTargetContainer(const ContainerCopy& copy, HCRYPTPROV target) {
    return Writing(copy, target).Run();
}
