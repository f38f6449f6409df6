#include "console/ContainerFacts.h"

#include "csp/CryptoValues.h"
#include "csp/ProviderParameters.h"

namespace {

constexpr std::wstring_view kQualified = L"\\\\.\\";

Result<std::wstring> ReadName(HCRYPTPROV container, DWORD parameter) {
    constexpr std::size_t kUsualName = 512;  // bytes
    return ReadBytes(kUsualName, ProviderQuery(container, parameter)).Then([](const Bytes& name) {
        return Result<std::wstring>(FromAnsi(name));
    });
}

UniqueCertificate ReadCertificate(HCRYPTKEY key) {
    constexpr std::size_t kUsualCertificate = 2048;  // bytes
    const Result<Bytes> encoded = ReadBytes(kUsualCertificate, KeyQuery(key, KP_CERTIFICATE));
    if (!encoded) return {};
    return UniqueCertificate(
        CertCreateCertificateContext(kCertificateEncoding, encoded->data(), static_cast<DWORD>(encoded->size())));
}

}  // namespace

std::wstring ContainerFacts::Carrier() const {
    if (!qualifiedName.starts_with(kQualified)) return {};
    const std::size_t end = qualifiedName.find(L'\\', kQualified.size());
    if (end == std::wstring::npos) return {};
    return qualifiedName.substr(kQualified.size(), end - kQualified.size());
}

Result<ContainerFacts> ReadContainerFacts(HCRYPTPROV container) {
    ContainerFacts facts;
    const struct {
        DWORD parameter;
        std::wstring& name;
    } names[] = {{PP_CONTAINER, facts.name},
                 {PP_UNIQUE_CONTAINER, facts.uniqueName},
                 {kParameterQualifiedName, facts.qualifiedName}};
    for (const auto& [parameter, name] : names)
        if (const Result<> read = ReadName(container, parameter).Into(name); !read) return read.Failed();
    for (const DWORD keySpec : {AT_KEYEXCHANGE, AT_SIGNATURE}) {
        UniqueCryptKey key;
        if (CryptGetUserKey(container, keySpec, key.put())) facts.keys.push_back({keySpec, ReadCertificate(key.get())});
    }
    return facts;
}

UniqueCertificate ReadKeyCertificate(HCRYPTPROV container, DWORD keySpec) {
    UniqueCryptKey key;
    if (!CryptGetUserKey(container, keySpec, key.put())) return {};
    return ReadCertificate(key.get());
}
