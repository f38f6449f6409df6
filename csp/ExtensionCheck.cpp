#include "csp/ExtensionCheck.h"

#include <cstring>
#include <span>
#include <string>

#include "csp/AnsiText.h"
#include "csp/CertificateEncoding.h"
#include "csp/CertificateRows.h"
#include "csp/CheckTexts.h"
#include "csp/ContainerExtensions.h"
#include "csp/ExtensionRecord.h"
#include "framework/Handles.h"

namespace {

// The part of `block` that `bytes` and `size` name; empty when it isn't all there.
std::span<const BYTE> Within(std::span<const BYTE> block, const void* bytes, std::size_t size) {
    const auto begin = reinterpret_cast<ULONG_PTR>(block.data());
    const auto at = reinterpret_cast<ULONG_PTR>(bytes);
    if (at < begin || at - begin > block.size() || size > block.size() - (at - begin)) return {};
    return block.subspan(at - begin, size);
}

// Gives each certificate of a decoded sequence. The record's identifier chose the decoder, and it may have made
// something else altogether, so nothing is taken that doesn't lie in the decoded block.
template <class Visit>
void ForEachCertificate(std::span<const BYTE> decoded, Visit&& visit) {
    if (decoded.size() < sizeof(CRYPT_SEQUENCE_OF_ANY)) return;
    const auto* sequence = reinterpret_cast<const CRYPT_SEQUENCE_OF_ANY*>(decoded.data());
    const auto blobs = Within(decoded, sequence->rgValue, sequence->cValue * sizeof(CRYPT_DER_BLOB));
    for (std::size_t at = 0; at + sizeof(CRYPT_DER_BLOB) <= blobs.size(); at += sizeof(CRYPT_DER_BLOB)) {
        CRYPT_DER_BLOB blob;
        std::memcpy(&blob, blobs.data() + at, sizeof blob);
        const auto bytes = Within(decoded, blob.pbData, blob.cbData);
        const UniqueCertificate certificate(
            CertCreateCertificateContext(kCertificateEncoding, bytes.data(), static_cast<DWORD>(bytes.size())));
        if (certificate) visit(*certificate.get());
    }
}

void ShowExtension(std::span<const BYTE> bytes, CheckReport& report) {
    const auto record = ReadExtensionRecord(bytes.data(), bytes.size());
    if (!record || record->value.empty()) return;
    const BytesOutcome decoded = AskLengthFirst([&](BYTE* data, DWORD* length) {
        return CryptDecodeObject(kCertificateEncoding, record->identifier.data(), record->value.data(),
                                 static_cast<DWORD>(record->value.size()), 0, data, length);
    });
    if (!decoded.done) return;
    report.Row(record->critical > 0 ? kTextCritical : kTextNoncritical, FromAnsi(record->identifier));
    ForEachCertificate(decoded.bytes, [&](const CERT_CONTEXT& certificate) {
        ReportDetails(certificate, ReadUsagePeriod(*certificate.pCertInfo), report);
    });
}

}  // namespace

bool CheckExtensions(HCRYPTPROV container, CheckReport& report) {
    ContainerExtensions extensions(container);
    const Outcome listing = extensions.Begin();
    if (!listing.done) {
        if (listing.error == ERROR_NO_MORE_ITEMS) return true;
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
