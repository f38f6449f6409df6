// Certificates for the commands: their names and dates as texts, and new ones. All functions throw CommandFailure if
// libgcrypt or the system fails, and WrongUsage for invalid texts.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "softcsp/common/Bytes.h"
#include "softcsp/container/Container.h"
#include "softcsp/encoding/Certificates.h"
#include "softcsp/tool/Command.h"

namespace softcsp {

struct FreeCertificate {
    void operator()(const CERT_CONTEXT* certificate) const { CertFreeCertificateContext(certificate); }
};
using Certificate = std::unique_ptr<const CERT_CONTEXT, FreeCertificate>;

// Null if the bytes are not a certificate.
Certificate OpenCertificate(ByteView der);

// "CN=…, O=…", in a form that can be used for another certificate.
std::wstring NameText(const CERT_NAME_BLOB& name);
// A subject with this common name of any characters.
std::wstring SubjectOf(const std::wstring& commonName);
// The common name of a subject; empty if it has none.
std::wstring CommonNameOf(const std::wstring& subject);
// The subject of the key's certificate, or else one with the container's name.
std::wstring SubjectOf(const Container& container, const ContainerKey& key);

// Whether the certificate is for the key.
bool Matches(const CERT_CONTEXT& certificate, const ContainerKey& key);

// The private key usage period; empty if there is none.
std::optional<UsagePeriod> UsageOf(const CERT_CONTEXT& certificate);

// Writes "2026-01-31 00:00:00 UTC", parses "2026-01-31".
std::wstring TimeText(const FILETIME& time);
FILETIME ParseDay(const std::wstring& text);

constexpr Option kNotBefore{L"--not-before", 1};
constexpr Option kNotAfter{L"--not-after", 1};
constexpr Option kSubject{L"--subject", 1};

// What the three options above demand, without the key. Without options: from yesterday, for a year.
CertificateRequest ReadRequest(const Options& options, const std::wstring& subject);

KeyPair MakeKeyPair(const ParameterSet& curve);

struct Authority {
    std::wstring subject;
    KeyPair pair;
    Bytes certificate;
};
// A root and authorities beneath it, each issued by the previous one, with names derived from `commonName`, valid as
// long as the request.
std::vector<Authority> MakeAuthorities(const std::wstring& commonName, std::size_t count,
                                       const CertificateRequest& request);

// For the pair's public key, issued by the last of the authorities, self-signed without any.
Bytes Issue(CertificateRequest request, const KeyPair& pair, const ParameterSet& digest,
            const std::vector<Authority>& authorities = {});

}  // namespace softcsp
