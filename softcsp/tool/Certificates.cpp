#include "softcsp/tool/Certificates.h"

#include <cstdio>
#include <cwchar>

#include "softcsp/encoding/KeyEncoding.h"

namespace softcsp {
namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
constexpr char kUsagePeriod[] = "2.5.29.16";

ByteView View(const CRYPT_DATA_BLOB& blob) {
    return {blob.pbData, blob.cbData};
}

}  // namespace

Certificate OpenCertificate(ByteView der) {
    return Certificate(CertCreateCertificateContext(kEncoding, der.data(), static_cast<DWORD>(der.size())));
}

std::wstring NameText(const CERT_NAME_BLOB& name) {
    CERT_NAME_BLOB blob = name;
    const DWORD length = CertNameToStrW(kEncoding, &blob, CERT_X500_NAME_STR, nullptr, 0);  // with the terminator
    std::wstring text(length, L'\0');
    CertNameToStrW(kEncoding, &blob, CERT_X500_NAME_STR, text.data(), length);
    text.resize(length > 0 ? length - 1 : 0);
    return text;
}

std::wstring SubjectOf(const std::wstring& commonName) {
    std::wstring text = L"CN=\"";
    for (const wchar_t c : commonName) text += c == L'"' ? std::wstring(L"\"\"") : std::wstring(1, c);
    return text + L'"';
}

std::wstring CommonNameOf(const std::wstring& subject) {
    const Bytes encoded = EncodeName(subject);
    CERT_NAME_INFO* decoded = nullptr;
    DWORD size = 0;
    if (encoded.empty() ||
        !CryptDecodeObjectEx(kEncoding, X509_UNICODE_NAME, encoded.data(), static_cast<DWORD>(encoded.size()),
                             CRYPT_DECODE_ALLOC_FLAG, nullptr, static_cast<void*>(&decoded), &size))
        throw WrongUsage{L"no subject such as CN=Name: " + subject};
    const std::unique_ptr<CERT_NAME_INFO, decltype(&LocalFree)> info(decoded, LocalFree);
    char attribute[] = szOID_COMMON_NAME;
    const CERT_RDN_ATTR* found = CertFindRDNAttr(attribute, info.get());
    return found != nullptr ? std::wstring(reinterpret_cast<const wchar_t*>(found->Value.pbData)) : std::wstring();
}

std::wstring SubjectOf(const Container& container, const ContainerKey& key) {
    const Certificate certificate = OpenCertificate(key.certificate);
    return certificate ? NameText(certificate->pCertInfo->Subject) : SubjectOf(container.name);
}

bool Matches(const CERT_CONTEXT& certificate, const ContainerKey& key) {
    const CERT_PUBLIC_KEY_INFO& info = certificate.pCertInfo->SubjectPublicKeyInfo;
    const auto found = DecodePublicKey(View(info.Algorithm.Parameters), {info.PublicKey.pbData, info.PublicKey.cbData});
    return found && found->curve == key.curve && found->digest == key.digest && found->key == key.publicKey;
}

std::optional<UsagePeriod> UsageOf(const CERT_CONTEXT& certificate) {
    const CERT_INFO& info = *certificate.pCertInfo;
    const CERT_EXTENSION* found = CertFindExtension(kUsagePeriod, info.cExtension, info.rgExtension);
    return found != nullptr ? DecodeUsagePeriod(View(found->Value)) : std::nullopt;
}

std::wstring TimeText(const FILETIME& time) {
    SYSTEMTIME parts{};
    FileTimeToSystemTime(&time, &parts);
    wchar_t text[32];
    swprintf(text, std::size(text), L"%04d-%02d-%02d %02d:%02d:%02d UTC", parts.wYear, parts.wMonth, parts.wDay,
             parts.wHour, parts.wMinute, parts.wSecond);
    return text;
}

FILETIME ParseDay(const std::wstring& text) {
    SYSTEMTIME parts{};
    FILETIME time{};
    int end = 0;
    const int read = swscanf(text.c_str(), L"%4hu-%2hu-%2hu%n", &parts.wYear, &parts.wMonth, &parts.wDay, &end);
    if (read != 3 || static_cast<std::size_t>(end) != text.size() || !SystemTimeToFileTime(&parts, &time))
        throw WrongUsage{L"no day such as 2026-01-31: " + text};
    return time;
}

namespace {

constexpr ULONGLONG kDay = 24ULL * 60 * 60 * 10'000'000;  // in units of FILETIME

FILETIME DaysAfter(const FILETIME& time, int days) {
    ULARGE_INTEGER units{{time.dwLowDateTime, time.dwHighDateTime}};
    units.QuadPart += static_cast<ULONGLONG>(days) * kDay;
    return {units.LowPart, units.HighPart};
}

}  // namespace

CertificateRequest ReadRequest(const Options& options, const std::wstring& subject) {
    const auto from = options.Value(kNotBefore.name), to = options.Value(kNotAfter.name);
    CertificateRequest request;
    request.subject = options.Value(kSubject.name).value_or(subject);
    GetSystemTimeAsFileTime(&request.notBefore);
    request.notBefore = from ? ParseDay(*from) : DaysAfter(request.notBefore, -1);
    request.notAfter = to ? ParseDay(*to) : DaysAfter(request.notBefore, 365);
    if (CompareFileTime(&request.notBefore, &request.notAfter) >= 0)
        throw WrongUsage{L"the certificate would end before it begins"};
    CommonNameOf(request.subject);  // throws if it is not a name
    return request;
}

KeyPair MakeKeyPair(const ParameterSet& curve) {
    auto pair = KeyPair::Generate(curve);
    if (!pair) throw CommandFailure{L"can't make a key", Code(NTE_FAIL)};
    return *pair;
}

std::vector<Authority> MakeAuthorities(const std::wstring& commonName, std::size_t count,
                                       const CertificateRequest& request) {
    std::vector<Authority> authorities;
    while (authorities.size() < count) {
        const std::wstring rank = authorities.empty() ? L" Root CA" : L" CA " + std::to_wstring(authorities.size());
        Authority made{SubjectOf(commonName + rank), MakeKeyPair(DefaultParameterSet(ParameterKind::Signature)), {}};
        CertificateRequest own;
        own.subject = made.subject;
        own.notBefore = request.notBefore;
        own.notAfter = request.notAfter;
        own.authority = true;
        made.certificate = Issue(own, made.pair, DefaultParameterSet(ParameterKind::Digest), authorities);
        authorities.push_back(std::move(made));
    }
    return authorities;
}

Bytes Issue(CertificateRequest request, const KeyPair& pair, const ParameterSet& digest,
            const std::vector<Authority>& authorities) {
    request.key = {&pair.Set(), &digest, pair.Public()};
    if (!authorities.empty()) request.issuer = authorities.back().subject;
    Bytes certificate = IssueCertificate(request, authorities.empty() ? pair : authorities.back().pair);
    if (certificate.empty()) throw CommandFailure{L"can't issue a certificate for " + request.subject, GetLastError()};
    return certificate;
}

}  // namespace softcsp
