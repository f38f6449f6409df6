#include "csp/KeyTransfer.h"

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
