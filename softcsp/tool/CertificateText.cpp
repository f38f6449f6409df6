#include "softcsp/tool/CertificateText.h"

#include <cstdio>
#include <cwchar>

#include "softcsp/encoding/PublicKeyEncoding.h"
#include "softcsp/tool/Console.h"
#include "softcsp/tool/Options.h"

namespace softcsp {
namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
constexpr char kUsagePeriod[] = "2.5.29.16";

ByteView View(const CRYPT_DATA_BLOB& blob) {
    return {blob.pbData, blob.cbData};
}

// The encoded name; empty when the text is none.
Bytes EncodeName(const std::wstring& text) {
    DWORD size = 0;
    const auto encode = [&](BYTE* room) {
        return CertStrToNameW(kEncoding, text.c_str(), CERT_X500_NAME_STR, nullptr, room, &size, nullptr) != FALSE;
    };
    if (!encode(nullptr)) return {};
    Bytes encoded(size);
    return encode(encoded.data()) ? encoded : Bytes();
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
    DWORD size = 0;
    if (encoded.empty() || !CryptDecodeObject(kEncoding, X509_UNICODE_NAME, encoded.data(),
                                              static_cast<DWORD>(encoded.size()), 0, nullptr, &size))
        throw WrongUsage{L"no subject such as CN=Name: " + subject};
    const auto room = std::make_unique<CERT_NAME_INFO[]>(size / sizeof(CERT_NAME_INFO) + 1);
    char attribute[] = szOID_COMMON_NAME;
    if (!CryptDecodeObject(kEncoding, X509_UNICODE_NAME, encoded.data(), static_cast<DWORD>(encoded.size()), 0,
                           room.get(), &size))
        return {};
    const CERT_RDN_ATTR* found = CertFindRDNAttr(attribute, room.get());
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

std::optional<DecodedUsagePeriod> UsageOf(const CERT_CONTEXT& certificate) {
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

std::wstring HexText(ByteView bytes) {
    constexpr wchar_t digits[] = L"0123456789ABCDEF";
    std::wstring text;
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::optional<Bytes> ParseHex(std::wstring_view text) {
    if (text.size() % 2 != 0) return std::nullopt;
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const auto byte = ParseNumber(L"0x" + std::wstring(text.substr(i, 2)));
        if (!byte) return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(*byte));
    }
    return bytes;
}

}  // namespace softcsp
