#include "console/Describe.h"

#include <algorithm>

#include "applet/services/Strings.h"
#include "csp/CertificateText.h"
#include "csp/CryptoValues.h"
#include "framework/Text.h"
#include "resources/console.h"

Value PlaceValue(const ContainerPlace& place) {
    Value value;
    value.Add(L"name", place.name);
    value.Add(L"owner", place.keySet == KeySet::Computer ? L"computer" : L"user");
    value.Add(L"provider", place.provider);
    value.Add(L"providerType", place.providerType);
    return value;
}

std::wstring Thumbprint(const CERT_CONTEXT& certificate) {
    const Result<Bytes> hash = ReadBytes([&](BYTE* data, DWORD* length) {
        return CertGetCertificateContextProperty(&certificate, CERT_SHA1_HASH_PROP_ID, data, length);
    });
    constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    std::wstring text;
    if (hash)
        for (const BYTE byte : *hash) {
            text += kDigits[byte >> 4];
            text += kDigits[byte & 0x0F];
        }
    return text;
}

Value CertificateValue(const CERT_CONTEXT& certificate) {
    const CERT_INFO& info = *certificate.pCertInfo;
    Value value;
    value.Add(L"subject", CertificateName(certificate, NameForm::X500));
    value.Add(L"issuer", CertificateName(certificate, NameForm::X500, NameOf::Issuer));
    value.Add(L"serialNumber", SerialNumberText(info.SerialNumber));
    value.Add(L"validFrom", TimeValue(info.NotBefore));
    value.Add(L"validTo", TimeValue(info.NotAfter));
    value.Add(L"thumbprint", Thumbprint(certificate));
    if (const auto usage = ReadUsagePeriod(info)) {
        if (usage->notBefore) value.Add(L"keyValidFrom", TimeValue(*usage->notBefore));
        if (usage->notAfter) value.Add(L"keyValidTo", TimeValue(*usage->notAfter));
    }
    return value;
}

const wchar_t* KeyName(DWORD keySpec) noexcept {
    return keySpec == AT_SIGNATURE ? L"signature" : L"exchange";
}

std::wstring KeyText(DWORD keySpec) {
    return LoadStringLang(keySpec == AT_SIGNATURE ? IDS_KEY_SIGNATURE : IDS_KEY_EXCHANGE);
}

void ShowRow(Output& output, UINT label, const std::wstring& value) {
    constexpr std::size_t kColumn = 26;  // characters before the value
    const std::wstring text = LoadStringLang(label);
    std::wstring line = text.starts_with(L"  ") ? text : L"  " + text;  // the panel's labels are indented
    line.append(kColumn - std::min(kColumn - 1, line.size()), L' ');
    output.Line(line + VisibleText(value));
}

void ShowCertificateRows(const CERT_CONTEXT& certificate, Output& output) {
    const CERT_INFO& info = *certificate.pCertInfo;
    ShowRow(output, IDS_CERTIFICATE_SUBJECT, CertificateName(certificate, NameForm::X500));
    ShowRow(output, IDS_CERTIFICATE_ISSUER, CertificateName(certificate, NameForm::X500, NameOf::Issuer));
    ShowRow(output, IDS_CERTIFICATE_VALID_FROM, TimeText(info.NotBefore));
    ShowRow(output, IDS_CERTIFICATE_VALID_TO, TimeText(info.NotAfter));
    if (const auto usage = ReadUsagePeriod(info)) {
        if (usage->notBefore) ShowRow(output, IDS_CERTIFICATE_KEY_FROM, TimeText(*usage->notBefore));
        if (usage->notAfter) ShowRow(output, IDS_CERTIFICATE_KEY_TO, TimeText(*usage->notAfter));
    }
    ShowRow(output, IDS_CERTIFICATE_SERIAL_NUMBER, SerialNumberText(info.SerialNumber));
    ShowRow(output, IDS_ROW_THUMBPRINT, Thumbprint(certificate));
}
