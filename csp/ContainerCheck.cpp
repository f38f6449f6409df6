#include "csp/ContainerCheck.h"

#include <iterator>
#include <optional>
#include <span>
#include <string>

#include "csp/CertificateStores.h"
#include "csp/CertificateText.h"
#include "csp/ContainerExtensions.h"
#include "csp/CryptoValues.h"
#include "csp/ExtensionRecord.h"
#include "csp/KeyLink.h"
#include "csp/ProviderParameters.h"
#include "framework/Handles.h"
#include "framework/Text.h"
#include "resources/resource.h"

namespace {

constexpr UINT kNoText = 0;

// The functions that return bool add their rows to the report; false means that they found an error.

// Names, integrity and loading of the keys.

bool CheckName(HCRYPTPROV container, DWORD parameter, UINT label, CheckReport& report) {
    constexpr std::size_t kUsualName = 512;  // bytes
    const Result<Bytes> name = ReadBytes(kUsualName, ProviderQuery(container, parameter));
    if (!name) {
        report.Failure(label, name.Failed().code);
        return false;
    }
    report.Row(label, FromAnsi(*name));
    return true;
}

bool CheckIntegrity(HCRYPTPROV container, CheckReport& report) {
    const Result<DWORD> integrity = ReadParameter<DWORD>(container, kParameterIntegrity);
    if (!integrity) {
        report.Failure(IDS_CHECK_INTEGRITY, integrity.Failed().code);
        return false;
    }
    if (*integrity == 0) report.Row(IDS_CHECK_INTEGRITY, IDS_CHECK_SUCCEED);
    if (*integrity & kCorrupted) report.Row(IDS_CHECK_INTEGRITY, IDS_CHECK_CORRUPTED);
    if (*integrity & kUnknownCorruption) report.Row(IDS_CHECK_INTEGRITY, IDS_CHECK_UNKNOWN_CORRUPTION);
    return *integrity == 0;
}

bool CheckKeysLoading(HCRYPTPROV container, CheckReport& report) {
    const Result<DWORD> loaded = ReadParameter<DWORD>(container, kParameterKeysLoading);
    if (!loaded) {
        report.Failure(IDS_CHECK_KEYS_LOADING, loaded.Failed().code);
        return false;
    }
    report.Row(IDS_CHECK_KEYS_LOADING, IDS_CHECK_SUCCEED);
    return true;
}

// Rows on a certificate.

void ReportTime(UINT label, const std::optional<FILETIME>& time, CheckReport& report) {
    if (time) report.Row(label, TimeText(*time));
}

// Name, subject, issuer, validity, usage period if there is one, serial number.
void ReportFields(const CERT_CONTEXT& certificate, const std::optional<UsagePeriod>& usage, CheckReport& report) {
    const CERT_INFO& info = *certificate.pCertInfo;
    report.Row(IDS_CERTIFICATE_NAME, CertificateName(certificate, NameForm::Display));
    report.Row(IDS_CERTIFICATE_SUBJECT, CertificateName(certificate, NameForm::Simple));
    report.Row(IDS_CERTIFICATE_ISSUER, CertificateName(certificate, NameForm::Simple, NameOf::Issuer));
    report.Row(IDS_CERTIFICATE_VALID_FROM, TimeText(info.NotBefore));
    report.Row(IDS_CERTIFICATE_VALID_TO, TimeText(info.NotAfter));
    if (usage) {
        ReportTime(IDS_CERTIFICATE_KEY_FROM, usage->notBefore, report);
        ReportTime(IDS_CERTIFICATE_KEY_TO, usage->notAfter, report);
    }
    report.Row(IDS_CERTIFICATE_SERIAL_NUMBER, SerialNumberText(info.SerialNumber));
}

// A certificate in a system store: its name and its link.
void ReportInstalled(const CERT_CONTEXT& certificate, CheckReport& report) {
    constexpr std::size_t kUsualLink = 512;  // of the link with its texts, in bytes
    report.Continuation(L"  " + CertificateName(certificate, NameForm::Simple));
    if (const auto link = ReadKeyLink(certificate, kUsualLink)) {
        report.Continuation(L"\t    " + link->container + L"; " + link->provider + L"; " +
                            NumberText(link->providerType));
    } else {
        report.Continuation(IDS_CHECK_NO_KEY_LINK);
    }
}

// The system stores that hold certificates with the same public key, with the name and the link of each.
void ReportStores(const CERT_CONTEXT& certificate, KeySet keySet, CheckReport& report) {
    bool found = false;
    const auto reportStore = [&](const std::wstring& store, const CERT_CONTEXT& installed) {
        if (found) {
            report.Continuation(store);
        } else {
            report.Row(IDS_CHECK_CERTIFICATE_IN_STORE, store);
        }
        found = true;
        ReportInstalled(installed, report);
    };
    const Result<> listed = FindCertificates(keySet, certificate.pCertInfo->SubjectPublicKeyInfo, reportStore);
    if (found) return;
    if (listed) {
        report.Row(IDS_CHECK_CERTIFICATE_IN_STORE, IDS_CHECK_NOT_INSTALLED);
    } else {
        report.Failure(IDS_CHECK_CERTIFICATE_IN_STORE, listed.Failed().code);
    }
}

// One key with its certificate.

constexpr wchar_t kTestText[] = L"Hello World";
constexpr DWORD kTestSize = sizeof kTestText - sizeof(wchar_t);  // in bytes, without the terminator

// The functions of the class are the steps of the check, in their order. Each adds its rows to the report and sets
// good_ to false when it finds an error.
class KeyCheck {
  public:
    KeyCheck(HCRYPTPROV container, DWORD keySpec, KeySet keySet, CheckReport& report)
        : container_(container), keySpec_(keySpec), keySet_(keySet), report_(report) {}

    // True when there is no such key, or no error was found.
    bool Run() {
        if (!AddReference() || !OpenKey() || !ExportPublicKey() || !ImportPublicKey()) return good_;
        Sign();
        Verify();
        if (keySpec_ == AT_KEYEXCHANGE) Agree();
        ReportPermissions();
        ReportAlgorithm();
        ReportParameterSet(kKeyParameterAgreementSet);
        ReportParameterSet(kKeyParameterDigestSet);
        CheckCertificate();
        return good_;
    }

  private:
    UINT Label() const { return keySpec_ == AT_KEYEXCHANGE ? IDS_CHECK_EXCHANGE_KEY : IDS_CHECK_SIGNATURE_KEY; }

    bool Fail(UINT label, Failure failure) {
        report_.Failure(label, failure.code);
        good_ = false;
        return false;
    }

    // Reports a step that succeeds or fails, without another value.
    bool ReportStep(UINT label, const Result<>& result) {
        if (!result) return Fail(label, result.Failed());
        report_.Row(label, IDS_CHECK_SUCCEED);
        return true;
    }

    bool AddReference() {
        const Result<> added = reference_.AddReference(container_);
        return added || Fail(Label(), added.Failed());
    }

    bool OpenKey() {
        const bool available = CryptGetUserKey(container_, keySpec_, key_.put()) != FALSE;
        report_.Row(Label(), available ? IDS_CHECK_AVAILABLE : IDS_CHECK_NOT_AVAILABLE);
        return available;
    }

    bool ExportPublicKey() {
        return ReportStep(IDS_CHECK_PUBLIC_KEY_EXPORT,
                          ReadBytes(KeyBlobQuery(key_.get(), 0, PUBLICKEYBLOB)).Into(publicBlob_));
    }

    // Imports the public key. `own` 0: as a public key, otherwise as the key that `own` agrees on with it.
    Result<> Import(HCRYPTKEY own, UniqueCryptKey& imported) const {
        return Try(CryptImportKey(container_, publicBlob_.data(), static_cast<DWORD>(publicBlob_.size()), own, 0,
                                  imported.put()));
    }

    bool ImportPublicKey() { return ReportStep(IDS_CHECK_PUBLIC_KEY_IMPORT, Import(0, publicKey_)); }

    Result<> HashTestText(UniqueCryptHash& hash) const {
        return Try(CryptCreateHash(container_, kDigestAlgorithm, 0, 0, hash.put())).Then([&] {
            return Try(CryptHashData(hash.get(), reinterpret_cast<const BYTE*>(kTestText), kTestSize, 0));
        });
    }

    void Sign() {
        UniqueCryptHash hash;
        ReportStep(IDS_CHECK_SIGNING, HashTestText(hash).Then([&] {
            return ReadBytes([&](BYTE* data, DWORD* length) {
                       return CryptSignHashW(hash.get(), keySpec_, nullptr, 0, data, length);
                   })
                .Into(signature_);
        }));
    }

    void Verify() {
        UniqueCryptHash hash;
        ReportStep(IDS_CHECK_VERIFYING, HashTestText(hash).Then([&] {
            return Try(CryptVerifySignatureW(hash.get(), signature_.data(), static_cast<DWORD>(signature_.size()),
                                             publicKey_.get(), nullptr, 0));
        }));
    }

    void Agree() {
        UniqueCryptKey agreed;
        ReportStep(IDS_CHECK_AGREEMENT, Import(key_.get(), agreed));
    }

    void ReportPermissions() {
        if (const Result<DWORD> permissions = ReadValue<DWORD>(KeyQuery(key_.get(), KP_PERMISSIONS)))
            report_.Row(IDS_CHECK_KEY_EXPORT, *permissions & CRYPT_EXPORT ? IDS_CHECK_ALLOWED : IDS_CHECK_DISALLOWED);
    }

    void ReportAlgorithm() {
        Result<ALG_ID> algorithm = ReadValue<ALG_ID>(KeyQuery(key_.get(), KP_ALGID));
        if (!algorithm) return;
        const auto* info = CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &*algorithm, 0);
        if (info && info->pwszName) {
            report_.Row(IDS_CHECK_ALGORITHM, info->pwszName);
            return;
        }
        report_.Row(IDS_CHECK_ALGORITHM, FillPlaces(L"0x%X", {unsigned{*algorithm}}));
    }

    void ReportParameterSet(DWORD parameter) {
        if (const Result<std::wstring> set = ReadAnsiText(KeyQuery(key_.get(), parameter))) report_.Continuation(*set);
    }

    void CheckCertificate() {
        const UniqueCertificate certificate = ReadKeyCertificate(key_.get());
        if (!certificate) {
            report_.Row(IDS_CHECK_CERTIFICATE_IN_CONTAINER, IDS_CHECK_NOT_AVAILABLE);
            return;
        }
        CheckMatch(*certificate.get());
        ReportStores(*certificate.get(), keySet_, report_);
        const auto usage = ReadUsagePeriod(*certificate.get()->pCertInfo);
        ReportFields(*certificate.get(), usage, report_);
        CheckValidity(*certificate.get()->pCertInfo, usage);
    }

    void CheckMatch(const CERT_CONTEXT& certificate) {
        const Result<bool> matches = MatchKey(container_, keySpec_, certificate);
        if (!matches) {
            Fail(IDS_CHECK_CERTIFICATE_IN_CONTAINER, matches.Failed());
            return;
        }
        report_.Row(IDS_CHECK_CERTIFICATE_IN_CONTAINER, *matches ? IDS_CHECK_MATCHES_KEY : IDS_CHECK_OTHER_KEY);
        if (!*matches) good_ = false;
    }

    void CheckValidity(const CERT_INFO& certificate, const std::optional<UsagePeriod>& usage) {
        FILETIME now;
        GetSystemTimeAsFileTime(&now);
        if (!IsOutOfDate(now, certificate, usage)) return;
        report_.Row(IDS_CHECK_USAGE_PERIOD, IDS_CHECK_EXPIRED);
        good_ = false;
    }

    HCRYPTPROV container_;
    DWORD keySpec_;
    KeySet keySet_;
    CheckReport& report_;
    bool good_ = true;
    CCryptProvContext reference_;  // declared before the keys, which must be destroyed first
    UniqueCryptKey key_;
    UniqueCryptKey publicKey_;
    Bytes publicBlob_;
    Bytes signature_;
};

// The extensions.

void ReportExtension(std::span<const BYTE> bytes, CheckReport& report) {
    const auto record = ReadExtensionRecord(bytes.data(), bytes.size());
    if (!record || record->value.empty()) return;
    const Result<Bytes> decoded = DecodeExtension(*record);
    if (!decoded) return;
    report.Row(record->critical > 0 ? IDS_CHECK_CRITICAL : IDS_CHECK_NONCRITICAL, FromAnsi(record->identifier));
    for (const auto encoded : SequenceBlobs(*decoded)) {
        const UniqueCertificate certificate = DecodeCertificate(encoded);
        if (certificate) ReportFields(*certificate.get(), ReadUsagePeriod(*certificate.get()->pCertInfo), report);
    }
}

// Extensions that can't be listed are an error: the verdict "no errors" would claim more than was checked. The content
// of an extension is never an error.
bool CheckExtensions(HCRYPTPROV container, CheckReport& report) {
    ContainerExtensions extensions(container);
    if (const Result<> begun = extensions.Begin(); !begun) {
        if (begun.Failed().Is(ERROR_NO_MORE_ITEMS)) return true;
        report.Failure(IDS_CHECK_EXTENSIONS, begun.Failed().code);
        return false;
    }
    bool first = true;
    for (auto bytes = extensions.Next(); bytes; bytes = extensions.Next()) {
        if (first) report.Row(IDS_CHECK_EXTENSIONS, kNoText);
        first = false;
        ReportExtension(*bytes, report);
    }
    return true;
}

}  // namespace

bool CheckContainer(HCRYPTPROV container, KeySet keySet, CheckReport& report) {
    bool good = true;
    report.Row(IDS_CONTAINER, kNoText);
    good &= CheckName(container, PP_CONTAINER, IDS_CHECK_NAME, report);
    good &= CheckName(container, PP_UNIQUE_CONTAINER, IDS_CHECK_UNIQUE_NAME, report);
    good &= CheckName(container, kParameterQualifiedName, IDS_CHECK_QUALIFIED_NAME, report);
    good &= CheckIntegrity(container, report);
    for (const DWORD keySpec : {AT_KEYEXCHANGE, AT_SIGNATURE})
        good &= KeyCheck(container, keySpec, keySet, report).Run();
    good &= CheckKeysLoading(container, report);
    good &= CheckExtensions(container, report);
    report.Verdict(good ? IDS_CHECK_SUCCEEDED : IDS_CHECK_FAILED, good ? IDS_CHECK_NO_ERRORS : kNoText);
    return good;
}
