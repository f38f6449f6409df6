#include "csp/KeyLink.h"

#include "csp/Outcome.h"

namespace {

constexpr std::size_t kUsualSize = 512;  // of the property with its texts, in bytes

std::wstring Text(const wchar_t* text) {
    return text ? std::wstring(text) : std::wstring();
}

}  // namespace

std::optional<KeyLink> ReadKeyLink(const CERT_CONTEXT& certificate) {
    const auto property = AskWithRoom(kUsualSize, [&](BYTE* data, DWORD* length) {
        return CertGetCertificateContextProperty(&certificate, CERT_KEY_PROV_INFO_PROP_ID, data, length);
    });
    if (!property.done || property.bytes.size() < sizeof(CRYPT_KEY_PROV_INFO)) return {};
    const auto* link = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(property.bytes.data());
    return KeyLink{Text(link->pwszContainerName), Text(link->pwszProvName), link->dwProvType,
                   link->dwFlags & CRYPT_MACHINE_KEYSET ? KeySet::Computer : KeySet::User};
}
