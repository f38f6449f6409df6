#include "csp/ExtensionCheck.h"

#include <span>
#include <string>

#include "csp/AnsiText.h"
#include "csp/CertificateEncoding.h"
#include "csp/CertificateRows.h"
#include "csp/CertificateSequence.h"
#include "csp/CheckTexts.h"
#include "csp/ContainerExtensions.h"
#include "csp/ExtensionRecord.h"
#include "framework/Handles.h"

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
