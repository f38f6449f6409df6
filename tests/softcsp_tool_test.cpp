// The provider's tool, run as people and scripts run it.
#include <windows.h>

#include <msi.h>

#include <set>
#include <vector>

#include "tests/support/Certificates.h"
#include "tests/support/SoftProvider.h"

namespace {

const std::wstring kName = L"Тест инструмента", kOther = L"Второй, \\\"в кавычках\\\"";

void ExpectShown(const std::wstring& arguments, const std::vector<std::string>& parts) {
    std::string shown;
    EXPECT_EQ(RunTool(arguments, &shown), 0u);
    shown.erase(std::unique(shown.begin(), shown.end(), [](char a, char b) { return a == ' ' && b == ' '; }),
                shown.end());  // single spaces
    for (const std::string& part : parts) EXPECT_NE(shown.find(part), shown.npos) << part << " is not in\n" << shown;
}

TEST(SoftcspTool, CreatesAndChangesContainersAsAsked) {
    const ToolContainer plain(kName);
    const ToolContainer computers(kName,
                                  L"--keys xs --certs s --exportable --password 12 --chain 3"
                                  L" --subject \"CN=Пётр, O=Завод\" --usage 2020-01-01 2021-02-28"
                                  L" --not-before 2019-05-06 --not-after 2031-12-31",
                                  L"--machine ");
    EXPECT_EQ(RunTool(L"create \"" + kName + L'"'), 1u) << "exists already";
    ExpectShown(L"show --machine \"" + kName + L'"',
                {"password yes\n", " certificate no\nsignature key yes\n", " exportable yes\n",
                 "subject CN=Пётр, O=Завод\n issuer CN=", "Пётр CA 2", "valid from 2019-05-06 00:00:00 UTC\n",
                 "valid to 2031-12-31 00:00:00 UTC\n", "usage 2020-01-01 00:00:00 UTC to 2021-02-28 00:00:00 UTC\n",
                 "1.2.643.2.2.37.3.2, ", "certificates: 1\n", "1.2.643.2.2.37.3.1, ", "certificates: 2\n"});
    for (const wchar_t* change : {L"certificate-x=other", L"exportable=1", L"extension=1.2.3:7:30aF"})
        plain.Change(change);
    ExpectShown(L"show \"" + kName + L'"',
                {"password no\nformat 2\nintegrity intact\nexchange key yes\n", " exportable yes\n", "matches no\n",
                 "signature key no\n", "extension 1.2.3, critical, 2 bytes\n"});
}

std::set<std::string> PublicKeysIn(const std::wstring& file) {
    std::set<std::string> keys;
    const UniqueCertificateStore store(CertOpenStore(CERT_STORE_PROV_FILENAME_W, kCertificateEncoding, 0,
                                                     CERT_STORE_OPEN_EXISTING_FLAG, file.c_str()));
    for (PCCERT_CONTEXT one = nullptr; (one = CertEnumCertificatesInStore(store.get(), one)) != nullptr;) {
        const CRYPT_BIT_BLOB& key = one->pCertInfo->SubjectPublicKeyInfo.PublicKey;
        keys.emplace(key.pbData, key.pbData + key.cbData);
    }
    return keys;
}

TEST(SoftcspTool, WritesCertificateFilesOfEachFormat) {
    const TemporaryDirectory directory;
    const ChangedSetting rounds(softcsp::kPasswordRoundsSetting, 9);
    const ToolContainer one(kName), other(kOther, L"--password 77");
    const auto write = [&](const std::wstring& arguments, const wchar_t* file) {
        return RunTool(L"certificate --key x --out " + directory.Path() + file + L' ' + arguments);
    };
    const std::wstring both = L'"' + kOther + L"\" \"" + kName + L'"';
    EXPECT_EQ(write(L'"' + kName + L'"', L"a.cer"), 0u);
    EXPECT_EQ(write(L'"' + kOther + L"\" --format base64 --password 77", L"b.cer"), 0u);
    EXPECT_TRUE(Read(directory.Path() + L"b.cer").starts_with("-----BEGIN CERTIFICATE-----"));
    std::set<std::string> keys = PublicKeysIn(directory.Path() + L"a.cer");
    keys.merge(PublicKeysIn(directory.Path() + L"b.cer"));
    EXPECT_EQ(keys.size(), 2u);
    EXPECT_EQ(write(both + L" --password 7", L"c.p7b"), 1u) << "a wrong password";
    for (const wchar_t* file : {L"c.p7b", L"c.sst"}) {
        EXPECT_EQ(write(both + L" --password 77", file), 0u);
        EXPECT_EQ(PublicKeysIn(directory.Path() + file), keys) << testing::PrintToString(file);
    }
    for (const wchar_t* wrong : {L"create a --keys y", L"create a --chain 10", L"create a --not-before 2026-02-30"})
        EXPECT_EQ(RunTool(wrong), 2u) << "wrong usage, not a failure: " << testing::PrintToString(wrong);
}

std::wstring MachineText(const std::wstring& key, const wchar_t* value) {
    wchar_t text[MAX_PATH] = {};
    DWORD size = sizeof text;
    RegGetValueW(HKEY_LOCAL_MACHINE, (L"SOFTWARE\\" + key).c_str(), value, RRF_RT_REG_SZ, nullptr, text, &size);
    return text;
}

// As "softcsp init" registered it.
TEST(SoftcspRegistration, IsCompleteInBothViews) {
    for (const wchar_t* name : {kProvider75, kProvider71})
        for (const wchar_t* view : {L"", L"Wow6432Node\\"}) {
            SCOPED_TRACE(testing::PrintToString(view) + testing::PrintToString(name));
            const std::wstring key = std::wstring(view) + L"Microsoft\\Cryptography\\Defaults\\Provider\\" + name;
            EXPECT_EQ(MachineText(key, L"KV Module Name"), L"kvcspr.dll");
            EXPECT_EQ(MachineText(key, L"Image Path").empty(), *view != 0) << "a 64-bit library";
        }
    for (const wchar_t* file : {L"vestra.cpl", L"kvsuprt.dll", L"kvcsp.dll"})
        EXPECT_EQ(MachineText(std::wstring(L"Kelvane\\Cryptography\\CurrentVersion\\AppPath\\") + file, nullptr),
                  ProgramDirectory() + file);
    wchar_t product[39] = {};
    ASSERT_EQ(MsiEnumClientsW(L"{8D2B4E61-93A7-4C05-B1E8-2F6A0C93D417}", 0, product), 0u);
    EXPECT_EQ(MachineText(L"Kelvane\\SoftCSP\\Store\\config", product), kProvider75);
}

}  // namespace
