#include "csp/KeyCheck.h"

#include <cstdio>
#include <iterator>
#include <optional>
#include <string>

#include "csp/AnsiText.h"
#include "csp/CertificateEncoding.h"
#include "csp/CertificateRows.h"
#include "csp/CheckTexts.h"
#include "csp/KeyMatch.h"
#include "csp/Outcome.h"
#include "csp/ProviderParameters.h"
#include "csp/UsagePeriod.h"
#include "framework/Handles.h"

namespace {

constexpr ALG_ID kDigestAlgorithm = 0x801E;  // GOST R 34.11-94
constexpr wchar_t kTestText[] = L"Hello World";
constexpr DWORD kTestSize = sizeof kTestText - sizeof(wchar_t);  // in bytes, without the terminator

// The steps in their order; each writes its rows and, when something is wrong, leaves good_ false.
class KeyCheck {
  public:
    KeyCheck(HCRYPTPROV container, DWORD keySpec, KeySet keySet, CheckReport& report)
        : container_(container), keySpec_(keySpec), keySet_(keySet), report_(report) {}

    bool Run() {
        if (!Reference() || !Open() || !ExportPublicKey() || !ImportPublicKey()) return good_;
        Sign();
        Verify();
        if (keySpec_ == AT_KEYEXCHANGE) Agree();
        ShowPermissions();
        ShowAlgorithm();
        ShowParameterSet(kKeyParameterAgreementSet);
        ShowParameterSet(kKeyParameterDigestSet);
        CheckCertificate();
        return good_;
    }

  private:
    UINT Label() const { return keySpec_ == AT_KEYEXCHANGE ? kTextExchangeKey : kTextSignatureKey; }

    bool Fail(UINT label, DWORD error) {
        report_.Failure(label, error);
        good_ = false;
        return false;
    }

    // The row of a call that succeeds or not.
    bool Tell(UINT label, const Outcome& outcome) {
        if (!outcome.done) return Fail(label, outcome.error);
        report_.Row(label, kTextSucceed);
        return true;
    }

    bool Reference() {
        const Outcome outcome = Taken(CryptContextAddRef(container_, nullptr, 0));
        if (!outcome.done) return Fail(Label(), outcome.error);
        reference_.reset(container_);
        return true;
    }

    bool Open() {
        const bool there = CryptGetUserKey(container_, keySpec_, key_.put());
        report_.Row(Label(), there ? kTextAvailable : kTextNotAvailable);
        return there;
    }

    bool ExportPublicKey() {
        BytesOutcome exported = AskLengthFirst(
            [&](BYTE* data, DWORD* length) { return CryptExportKey(key_.get(), 0, PUBLICKEYBLOB, 0, data, length); });
        publicBlob_ = std::move(exported.bytes);
        return Tell(kTextPublicKeyExport, exported);
    }

    // The blob's key; `agreeing`: what the key agrees with it, otherwise 0.
    Outcome Import(HCRYPTKEY agreeing, UniqueCryptKey& imported) const {
        return Taken(CryptImportKey(container_, publicBlob_.data(), static_cast<DWORD>(publicBlob_.size()), agreeing, 0,
                                    imported.put()));
    }

    bool ImportPublicKey() { return Tell(kTextPublicKeyImport, Import(0, publicKey_)); }

    Outcome HashTestText(UniqueCryptHash& hash) const {
        const Outcome created = Taken(CryptCreateHash(container_, kDigestAlgorithm, 0, 0, hash.put()));
        if (!created.done) return created;
        return Taken(CryptHashData(hash.get(), reinterpret_cast<const BYTE*>(kTestText), kTestSize, 0));
    }

    void Sign() {
        UniqueCryptHash hash;
        Outcome outcome = HashTestText(hash);
        if (outcome.done) {
            BytesOutcome sign = AskLengthFirst([&](BYTE* data, DWORD* length) {
                return CryptSignHashW(hash.get(), keySpec_, nullptr, 0, data, length);
            });
            signature_ = std::move(sign.bytes);
            outcome = sign;
        }
        Tell(kTextSigning, outcome);
    }

    void Verify() {
        UniqueCryptHash hash;
        Outcome outcome = HashTestText(hash);
        if (outcome.done)
            outcome = Taken(CryptVerifySignatureW(hash.get(), signature_.data(), static_cast<DWORD>(signature_.size()),
                                                  publicKey_.get(), nullptr, 0));
        Tell(kTextVerifying, outcome);
    }

    void Agree() {
        UniqueCryptKey agreed;
        Tell(kTextAgreement, Import(key_.get(), agreed));
    }

    // A parameter of 32 bits; nothing when the provider doesn't tell it.
    std::optional<DWORD> Number(DWORD parameter) const {
        DWORD value = 0, length = sizeof value;
        if (!CryptGetKeyParam(key_.get(), parameter, reinterpret_cast<BYTE*>(&value), &length, 0)) return {};
        return value;
    }

    BytesOutcome Value(DWORD parameter) const {
        return AskLengthFirst(
            [&](BYTE* data, DWORD* length) { return CryptGetKeyParam(key_.get(), parameter, data, length, 0); });
    }

    void ShowPermissions() {
        if (const auto permissions = Number(KP_PERMISSIONS))
            report_.Row(kTextKeyExport, *permissions & CRYPT_EXPORT ? kTextAllowed : kTextDisallowed);
    }

    void ShowAlgorithm() {
        auto algorithm = Number(KP_ALGID);
        if (!algorithm) return;
        const auto* info = CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &*algorithm, 0);
        if (info && info->pwszName) {
            report_.Row(kTextAlgorithm, info->pwszName);
            return;
        }
        wchar_t number[12];
        std::swprintf(number, std::size(number), L"0x%X", unsigned{*algorithm});
        report_.Row(kTextAlgorithm, number);
    }

    void ShowParameterSet(DWORD parameter) {
        const BytesOutcome set = Value(parameter);
        if (set.done) report_.Continuation(FromAnsi(set.bytes));
    }

    UniqueCertificate Certificate() const {
        const BytesOutcome encoded = Value(KP_CERTIFICATE);
        if (!encoded.done) return {};
        return UniqueCertificate(CertCreateCertificateContext(kCertificateEncoding, encoded.bytes.data(),
                                                              static_cast<DWORD>(encoded.bytes.size())));
    }

    void CheckCertificate() {
        const UniqueCertificate certificate = Certificate();
        if (!certificate) {
            report_.Row(kTextCertificateInContainer, kTextNotAvailable);
            return;
        }
        CheckMatch(*certificate.get());
        ReportStores(*certificate.get(), keySet_, report_);
        const auto usage = ReadUsagePeriod(*certificate.get()->pCertInfo);
        ReportDetails(*certificate.get(), usage, report_);
        CheckValidity(*certificate.get()->pCertInfo, usage);
    }

    void CheckMatch(const CERT_CONTEXT& certificate) {
        const MatchOutcome outcome = MatchKey(container_, keySpec_, certificate);
        if (!outcome.done) {
            Fail(kTextCertificateInContainer, outcome.error);
            return;
        }
        report_.Row(kTextCertificateInContainer, outcome.match ? kTextMatchesKey : kTextOtherKey);
        if (!outcome.match) good_ = false;
    }

    void CheckValidity(const CERT_INFO& certificate, const std::optional<UsagePeriod>& usage) {
        FILETIME now;
        GetSystemTimeAsFileTime(&now);
        if (!IsOutOfDate(now, certificate, usage)) return;
        report_.Row(kTextUsagePeriod, kTextExpired);
        good_ = false;
    }

    HCRYPTPROV container_;
    DWORD keySpec_;
    KeySet keySet_;
    CheckReport& report_;
    bool good_ = true;
    UniqueProviderReference reference_;  // before the keys, so that they go first
    UniqueCryptKey key_;
    UniqueCryptKey publicKey_;
    Bytes publicBlob_;
    Bytes signature_;
};

}  // namespace

bool CheckKey(HCRYPTPROV container, DWORD keySpec, KeySet keySet, CheckReport& report) {
    return KeyCheck(container, keySpec, keySet, report).Run();
}
