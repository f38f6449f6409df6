#include "csp/CertificateRows.h"

#include <string>

#include "csp/CertificateStores.h"
#include "csp/CertificateText.h"
#include "csp/CheckTexts.h"
#include "csp/KeyLink.h"

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
