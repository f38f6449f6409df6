// Names, dates and bytes of certificates as people read and type them.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <memory>
#include <string>

#include "softcsp/common/Bytes.h"
#include "softcsp/container/Container.h"
#include "softcsp/encoding/Certificates.h"

namespace softcsp {

struct FreeCertificate {
    void operator()(const CERT_CONTEXT* certificate) const { CertFreeCertificateContext(certificate); }
};
using Certificate = std::unique_ptr<const CERT_CONTEXT, FreeCertificate>;

// Null when the bytes are no certificate.
Certificate OpenCertificate(ByteView der);

// "CN=…, O=…", as it can be given back to make another certificate with it.
std::wstring NameText(const CERT_NAME_BLOB& name);
// A subject with this common name, whatever characters are in it.
std::wstring SubjectOf(const std::wstring& commonName);
// The common name of a subject; empty when it has none. Throws WrongUsage when it is no name.
std::wstring CommonNameOf(const std::wstring& subject);
// Of the key's certificate, or else one with the container's name.
std::wstring SubjectOf(const Container& container, const ContainerKey& key);

// Whether the certificate is one of the key.
bool Matches(const CERT_CONTEXT& certificate, const ContainerKey& key);

// The private key usage period; nothing when there is none.
std::optional<DecodedUsagePeriod> UsageOf(const CERT_CONTEXT& certificate);

// "2026-01-31 00:00:00 UTC" and back from "2026-01-31"; throws WrongUsage when it is no day.
std::wstring TimeText(const FILETIME& time);
FILETIME ParseDay(const std::wstring& text);

// Two digits each, the first byte first.
std::wstring HexText(ByteView bytes);
// Nothing when it isn't that.
std::optional<Bytes> ParseHex(std::wstring_view text);

}  // namespace softcsp
