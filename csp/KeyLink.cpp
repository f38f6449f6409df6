#include "csp/KeyLink.h"

namespace {

std::wstring Text(const wchar_t* text) {
    return text ? std::wstring(text) : std::wstring();
}

// The name of a provider or of its container.
Result<std::wstring> ReadName(HCRYPTPROV provider, DWORD parameter) {
    Result<std::wstring> name = ReadAnsiText(ProviderQuery(provider, parameter));
    if (name && name->empty()) return Failure{ERROR_INVALID_DATA};  // in a link it would mean another container
    return name;
}

// Exports the container's public key, with `usualSize` as in ReadBytes, and compares it with the certificate's.
Result<bool> Match(HCRYPTPROV container, DWORD keySpec, const CERT_CONTEXT& certificate, std::size_t usualSize) {
    Result<Bytes> exported = ReadBytes(usualSize, [&](BYTE* data, DWORD* length) {
        return CryptExportPublicKeyInfo(container, keySpec, kCertificateEncoding,
                                        reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(data), length);
    });
    if (!exported) return exported.Failed();
    if (exported->size() < sizeof(CERT_PUBLIC_KEY_INFO)) return Failure{ERROR_INVALID_DATA};
    auto* key = reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(exported->data());
    return CertComparePublicKeyInfo(kCertificateEncoding, key, &certificate.pCertInfo->SubjectPublicKeyInfo) != FALSE;
}

}  // namespace

std::optional<KeyLink> ReadKeyLink(const CERT_CONTEXT& certificate, std::size_t usualSize) {
    const Result<Bytes> property = ReadBytes(usualSize, [&](BYTE* data, DWORD* length) {
        return CertGetCertificateContextProperty(&certificate, CERT_KEY_PROV_INFO_PROP_ID, data, length);
    });
    if (!property || property->size() < sizeof(CRYPT_KEY_PROV_INFO)) return {};
    const auto* link = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(property->data());
    return KeyLink{Text(link->pwszContainerName), Text(link->pwszProvName), link->dwProvType,
                   link->dwFlags & CRYPT_MACHINE_KEYSET ? KeySet::Computer : KeySet::User, link->dwKeySpec};
}

Result<> WriteKeyLink(const CERT_CONTEXT& certificate, const KeyLink& link) {
    CRYPT_KEY_PROV_INFO record{};  // the system copies the texts
    record.pwszContainerName = const_cast<wchar_t*>(link.container.c_str());
    record.pwszProvName = const_cast<wchar_t*>(link.provider.c_str());
    record.dwProvType = link.providerType;
    record.dwFlags = FlagOf(link.keySet);
    record.dwKeySpec = link.keySpec;
    return Try(CertSetCertificateContextProperty(&certificate, CERT_KEY_PROV_INFO_PROP_ID, 0, &record));
}

Result<std::wstring> UniqueContainerName(HCRYPTPROV container) {
    return ReadName(container, PP_UNIQUE_CONTAINER);
}

Result<KeyLink> MakeKeyLink(HCRYPTPROV container, HCRYPTKEY key, const std::wstring& uniqueName, KeySet keySet) {
    Result<std::wstring> provider = ReadName(container, PP_NAME);
    if (!provider) return provider.Failed();
    const Result<DWORD> type = ReadValue<DWORD>(ProviderQuery(container, PP_PROVTYPE));
    if (!type) return type.Failed();
    const Result<ALG_ID> algorithm = ReadValue<ALG_ID>(KeyQuery(key, KP_ALGID));
    if (!algorithm) return algorithm.Failed();
    const DWORD keySpec = GET_ALG_CLASS(*algorithm) == ALG_CLASS_SIGNATURE ? AT_SIGNATURE : AT_KEYEXCHANGE;
    return KeyLink{uniqueName, *std::move(provider), *type, keySet, keySpec};
}

UniqueCertificate DecodeCertificate(std::span<const BYTE> encoded) noexcept {
    return UniqueCertificate(
        CertCreateCertificateContext(kCertificateEncoding, encoded.data(), static_cast<DWORD>(encoded.size())));
}

UniqueCertificate ReadKeyCertificate(HCRYPTKEY key) {
    const Result<Bytes> encoded = ReadBytes(KeyQuery(key, KP_CERTIFICATE));
    return encoded ? DecodeCertificate(*encoded) : UniqueCertificate();
}

Result<bool> MatchKey(HCRYPTPROV container, DWORD keySpec, const CERT_CONTEXT& certificate) {
    constexpr std::size_t kUsualSize = 512;  // of a public key with the structure around it, in bytes
    return Match(container, keySpec, certificate, kUsualSize);
}

DWORD FindMatchingKey(HCRYPTPROV container, const CERT_CONTEXT& certificate) {
    for (const DWORD keySpec : {AT_SIGNATURE, AT_KEYEXCHANGE})
        if (Match(container, keySpec, certificate, 0).ValueOr(false)) return keySpec;
    return 0;
}
