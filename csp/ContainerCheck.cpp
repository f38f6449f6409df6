#include "csp/ContainerCheck.h"

#include <cstdio>
#include <iterator>
#include <optional>
#include <span>
#include <string>

#include "csp/CertificateStores.h"
#include "csp/CertificateText.h"
#include "csp/CheckTexts.h"
#include "csp/ContainerExtensions.h"
#include "csp/CryptoValues.h"
#include "csp/ExtensionRecord.h"
#include "csp/KeyLink.h"
#include "csp/ProviderParameters.h"
#include "framework/Handles.h"

namespace {

constexpr std::size_t kUsualName = 512;  // bytes

// Each of these writes its rows; false: it found an error.

bool ShowName(HCRYPTPROV container, DWORD parameter, UINT label, CheckReport& report) {
    const BytesOutcome name = AskWithRoom(kUsualName, [&](BYTE* data, DWORD* length) {
        return CryptGetProvParam(container, parameter, data, length, 0);
    });
    if (name.done) {
        report.Row(label, FromAnsi(name.bytes));
    } else {
        report.Failure(label, name.error);
    }
    return name.done;
}

bool CheckIntegrity(HCRYPTPROV container, CheckReport& report) {
    const auto integrity = ReadParameter<DWORD>(container, kParameterIntegrity);
    if (!integrity) {
        report.Failure(kTextIntegrity, GetLastError());
        return false;
    }
    if (*integrity == 0) report.Row(kTextIntegrity, kTextSucceed);
    if (*integrity & kCorrupted) report.Row(kTextIntegrity, kTextCorrupted);
    if (*integrity & kUnknownCorruption) report.Row(kTextIntegrity, kTextUnknownCorruption);
    return *integrity == 0;
}

bool CheckKeysLoading(HCRYPTPROV container, CheckReport& report) {
    if (!ReadParameter<DWORD>(container, kParameterKeysLoading)) {
        report.Failure(kTextKeysLoading, GetLastError());
        return false;
    }
    report.Row(kTextKeysLoading, kTextSucceed);
    return true;
}

}  // namespace

bool CheckContainer(HCRYPTPROV container, KeySet keySet, CheckReport& report) {
    bool good = true;
    report.Row(kTextContainer, kTextNone);
    good &= ShowName(container, PP_CONTAINER, kTextName, report);
    good &= ShowName(container, PP_UNIQUE_CONTAINER, kTextUniqueName, report);
    good &= ShowName(container, kParameterQualifiedName, kTextQualifiedName, report);
    good &= CheckIntegrity(container, report);
    for (const DWORD keySpec : {AT_KEYEXCHANGE, AT_SIGNATURE}) good &= CheckKey(container, keySpec, keySet, report);
    good &= CheckKeysLoading(container, report);
    good &= CheckExtensions(container, report);
    report.Verdict(good ? kTextCheckSucceeded : kTextCheckFailed, good ? kTextNoErrors : kTextNone);
    return good;
}

namespace {

constexpr std::size_t kUsualLink = 512;  // size with its texts, in bytes

void ReportTime(UINT label, const std::optional<FILETIME>& time, CheckReport& report) {
    if (time) report.Row(label, TimeText(*time));
}

void ReportInstalled(const CERT_CONTEXT& certificate, CheckReport& report) {
    report.Continuation(L"  " + CertificateName(certificate, NameForm::Simple));
    if (const auto link = ReadKeyLink(certificate, kUsualLink)) {
        report.Continuation(L"\t    " + link->container + L"; " + link->provider + L"; " +
                            std::to_wstring(link->providerType));
    } else {
        report.Continuation(kTextNoKeyLink);
    }
}

}  // namespace

void ReportDetails(const CERT_CONTEXT& certificate, const std::optional<UsagePeriod>& usage, CheckReport& report) {
    const CERT_INFO& info = *certificate.pCertInfo;
    report.Row(kTextCertificateName, CertificateName(certificate, NameForm::Display));
    report.Row(kTextSubject, CertificateName(certificate, NameForm::Simple));
    report.Row(kTextIssuer, CertificateName(certificate, NameForm::Simple, NameOf::Issuer));
    report.Row(kTextValidFrom, TimeText(info.NotBefore));
    report.Row(kTextValidTo, TimeText(info.NotAfter));
    if (usage) {
        ReportTime(kTextKeyValidFrom, usage->notBefore, report);
        ReportTime(kTextKeyValidTo, usage->notAfter, report);
    }
    report.Row(kTextSerialNumber, SerialNumberText(info.SerialNumber));
}

void ReportStores(const CERT_CONTEXT& certificate, KeySet keySet, CheckReport& report) {
    bool found = false;
    const Outcome listing = FindCertificates(keySet, certificate.pCertInfo->SubjectPublicKeyInfo,
                                             [&](const std::wstring& store, const CERT_CONTEXT& hit) {
                                                 if (found) {
                                                     report.Continuation(store);
                                                 } else {
                                                     report.Row(kTextCertificateInStore, store);
                                                 }
                                                 found = true;
                                                 ReportInstalled(hit, report);
                                             });
    if (found) return;
    if (listing.done) {
        report.Row(kTextCertificateInStore, kTextNotInstalled);
    } else {
        report.Failure(kTextCertificateInStore, listing.error);
    }
}

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

namespace {

void ShowExtension(std::span<const BYTE> bytes, CheckReport& report) {
    const auto record = ReadExtensionRecord(bytes.data(), bytes.size());
    if (!record || record->value.empty()) return;
    const BytesOutcome decoded = DecodeExtension(*record);
    if (!decoded.done) return;
    report.Row(record->critical > 0 ? kTextCritical : kTextNoncritical, FromAnsi(record->identifier));
    for (const auto encoded : SequenceBlobs(decoded.bytes)) {
        const UniqueCertificate certificate(
            CertCreateCertificateContext(kCertificateEncoding, encoded.data(), static_cast<DWORD>(encoded.size())));
        if (certificate) ReportDetails(*certificate.get(), ReadUsagePeriod(*certificate.get()->pCertInfo), report);
    }
}

}  // namespace

bool CheckExtensions(HCRYPTPROV container, CheckReport& report) {
    ContainerExtensions extensions(container);
    const Outcome listing = extensions.Begin();
    if (!listing.done) {
        if (IsCode(listing.error, ERROR_NO_MORE_ITEMS)) return true;
        report.Failure(kTextExtensions, listing.error);
        return false;
    }
    bool first = true;
    while (const auto bytes = extensions.Next()) {
        if (first) report.Row(kTextExtensions, kTextNone);
        first = false;
        ShowExtension(*bytes, report);
    }
    return true;
}
