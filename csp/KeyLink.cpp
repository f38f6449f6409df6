#include "csp/KeyLink.h"

#include "csp/CryptoValues.h"

namespace {

std::wstring Text(const wchar_t* text) {
    return text ? std::wstring(text) : std::wstring();
}

// A name that the provider tells of itself or of its container.
NameOutcome ReadName(HCRYPTPROV provider, DWORD parameter) {
    const BytesOutcome name = AskLengthFirst(
        [&](BYTE* data, DWORD* length) { return CryptGetProvParam(provider, parameter, data, length, 0); });
    if (!name.done) return {name, {}};
    std::wstring text = FromAnsi(name.bytes);
    if (text.empty()) return {{false, ERROR_INVALID_DATA}, {}};  // it would lead to another container than this
    return {name, std::move(text)};
}

}  // namespace

std::optional<KeyLink> ReadKeyLink(const CERT_CONTEXT& certificate, std::size_t room) {
    const auto property = AskWithRoom(room, [&](BYTE* data, DWORD* length) {
        return CertGetCertificateContextProperty(&certificate, CERT_KEY_PROV_INFO_PROP_ID, data, length);
    });
    if (!property.done || property.bytes.size() < sizeof(CRYPT_KEY_PROV_INFO)) return {};
    const auto* link = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(property.bytes.data());
    return KeyLink{Text(link->pwszContainerName), Text(link->pwszProvName), link->dwProvType,
                   link->dwFlags & CRYPT_MACHINE_KEYSET ? KeySet::Computer : KeySet::User, link->dwKeySpec};
}

Outcome WriteKeyLink(const CERT_CONTEXT& certificate, const KeyLink& link) {
    CRYPT_KEY_PROV_INFO record{};  // the system copies what it points to
    record.pwszContainerName = const_cast<wchar_t*>(link.container.c_str());
    record.pwszProvName = const_cast<wchar_t*>(link.provider.c_str());
    record.dwProvType = link.providerType;
    record.dwFlags = FlagOf(link.keySet);
    record.dwKeySpec = link.keySpec;
    return Taken(CertSetCertificateContextProperty(&certificate, CERT_KEY_PROV_INFO_PROP_ID, 0, &record));
}

NameOutcome UniqueContainerName(HCRYPTPROV container) {
    return ReadName(container, PP_UNIQUE_CONTAINER);
}

KeyLinkOutcome MakeKeyLink(HCRYPTPROV container, HCRYPTKEY key, const std::wstring& uniqueName, KeySet keySet) {
    NameOutcome provider = ReadName(container, PP_NAME);
    if (!provider.done) return {provider, {}};
    DWORD type = 0, length = sizeof type;
    Outcome outcome = Taken(CryptGetProvParam(container, PP_PROVTYPE, reinterpret_cast<BYTE*>(&type), &length, 0));
    if (!outcome.done) return {outcome, {}};
    ALG_ID algorithm = 0;
    length = sizeof algorithm;
    outcome = Taken(CryptGetKeyParam(key, KP_ALGID, reinterpret_cast<BYTE*>(&algorithm), &length, 0));
    if (!outcome.done) return {outcome, {}};
    const DWORD keySpec = GET_ALG_CLASS(algorithm) == ALG_CLASS_SIGNATURE ? AT_SIGNATURE : AT_KEYEXCHANGE;
    return {outcome, {uniqueName, std::move(provider.name), type, keySet, keySpec}};
}

namespace {

// Reads the container's public key with room for `room` bytes at first (AskWithRoom) and compares it.
MatchOutcome Match(HCRYPTPROV container, DWORD keySpec, const CERT_CONTEXT& certificate, std::size_t room) {
    const auto exported = AskWithRoom(room, [&](BYTE* data, DWORD* length) {
        return CryptExportPublicKeyInfo(container, keySpec, kCertificateEncoding,
                                        reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(data), length);
    });
    if (!exported.done) return {exported, false};
    if (exported.bytes.size() < sizeof(CERT_PUBLIC_KEY_INFO)) return {{false, ERROR_INVALID_DATA}, false};
    auto* key = reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(const_cast<BYTE*>(exported.bytes.data()));
    return {exported,
            CertComparePublicKeyInfo(kCertificateEncoding, key, &certificate.pCertInfo->SubjectPublicKeyInfo) != FALSE};
}

}  // namespace

MatchOutcome MatchKey(HCRYPTPROV container, DWORD keySpec, const CERT_CONTEXT& certificate) {
    constexpr std::size_t kUsualSize = 512;  // of a public key with the structure around it, in bytes
    return Match(container, keySpec, certificate, kUsualSize);
}

DWORD FindMatchingKey(HCRYPTPROV container, const CERT_CONTEXT& certificate) {
    for (const DWORD keySpec : {AT_SIGNATURE, AT_KEYEXCHANGE}) {
        const MatchOutcome outcome = Match(container, keySpec, certificate, 0);
        if (outcome.done && outcome.match) return keySpec;
    }
    return 0;
}
