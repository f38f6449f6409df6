// The provider's tool, run as people and scripts run it.
#include <windows.h>
#include <wincrypt.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <vector>

#include "tests/support/Directory.h"

namespace {

const std::wstring kName = L"\"Тест инструмента\"", kOther = L"\"Второй, \\\"в кавычках\\\"\"";

std::string Told(const std::wstring& arguments) {  // what the tool says, with single spaces
    std::string said;
    EXPECT_EQ(RunTool(arguments, &said), 0u) << arguments;
    said.erase(std::unique(said.begin(), said.end(), [](char a, char b) { return a == ' ' && b == ' '; }), said.end());
    return said;
}
void ExpectTold(const std::wstring& arguments, const std::vector<std::string>& parts) {
    const std::string said = Told(arguments);
    for (const std::string& part : parts) EXPECT_NE(said.find(part), std::string::npos) << part << " in\n" << said;
}

struct SoftcspTool : testing::Test {
    ~SoftcspTool() override {
        for (const std::wstring& name : {kName, L"--machine " + kName, kOther}) RunTool(L"remove " + name);
        RunTool(L"carrier remove TEST_TOOL");
    }
};

TEST_F(SoftcspTool, MakesContainersAsAsked) {
    const std::wstring everything =
        L" --keys xs --certs s --exportable --password 12 --chain 3 --subject \"CN=Пётр, O=Завод\" --machine"
        L" --usage 2020-01-01 2021-02-28 --not-before 2019-05-06 --not-after 2031-12-31";
    ASSERT_EQ(RunTool(L"create " + kName), 0u);
    EXPECT_EQ(RunTool(L"create " + kName), 1u);
    EXPECT_EQ(RunTool(L"create " + kName + everything), 0u);
    ExpectTold(L"show " + kName,
               {"password no\nformat 2\nintegrity intact\nexchange key yes\n curve 1.2.643.2.2.36.0\n digest "
                "1.2.643.2.2.30.1\n",
                " exportable no\n", " matches yes\n subject CN=Тест инструмента\n", "signature key no\n"});
    ExpectTold(L"list --machine", {"\tkeys xs, certificates s, password\n"});
    ExpectTold(L"show --machine " + kName,
               {"password yes\n", " certificate no\nsignature key yes\n curve 1.2.643.2.2.35.1\n", " exportable yes\n",
                "subject CN=Пётр, O=Завод\n issuer CN=", "Пётр CA 2", "valid from 2019-05-06 00:00:00 UTC\n",
                "valid to 2031-12-31 00:00:00 UTC\n", "usage 2020-01-01 00:00:00 UTC to 2021-02-28 00:00:00 UTC\n",
                "1.2.643.2.2.37.3.2, ", "certificates: 1\n", "1.2.643.2.2.37.3.1, ", "certificates: 2\n"});
    EXPECT_EQ(RunTool(L"remove " + kName), 0u);
    EXPECT_EQ(RunTool(L"show " + kName), 1u);
}

TEST_F(SoftcspTool, MakesContainersFaulty) {
    ASSERT_EQ(RunTool(L"create " + kName + L" --keys xs --chain 2"), 0u);
    const std::pair<const wchar_t*, const char*> table[] = {
        {L"integrity=0x40000001", "integrity intact, reports 0x40000001\n"},
        {L"damage=1", "integrity damaged, reports"},
        {L"damage=0", "integrity intact, reports"},
        {L"certificate-x=other", "matches no\n subject CN=Тест инструмента\n issuer CN=Тест инструмента\n"},
        {L"certificate-s=none", "certificate no\nextension"},
        {L"exportable=1", "signature key yes\n curve 1.2.643.2.2.35.1\n digest 1.2.643.2.2.30.1\n exportable yes\n"},
        {L"extension=1.2.3:7:30aF", "certificates: 1\nextension 1.2.3, critical, 2 bytes\n"},
    };
    for (const auto& [change, shown] : table) {
        EXPECT_EQ(RunTool(L"set " + kName + L" " + change), 0u) << change;
        ExpectTold(L"show " + kName, {shown});
    }
    EXPECT_EQ(RunTool(L"set " + kName + L" extension=none"), 0u);
    EXPECT_EQ(Told(L"show " + kName).find("extension"), std::string::npos);
    EXPECT_EQ(RunTool(L"set " + kName + L" damage=2"), 0u);
    EXPECT_EQ(RunTool(L"show " + kName), 1u);
}

std::set<std::string> PublicKeysIn(const std::wstring& file) {
    std::set<std::string> keys;
    const HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_FILENAME_W, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0,
                                           CERT_STORE_OPEN_EXISTING_FLAG, file.c_str());
    for (PCCERT_CONTEXT one = nullptr; (one = CertEnumCertificatesInStore(store, one)) != nullptr;) {
        const CRYPT_BIT_BLOB& key = one->pCertInfo->SubjectPublicKeyInfo.PublicKey;
        keys.emplace(key.pbData, key.pbData + key.cbData);
    }
    CertCloseStore(store, 0);
    return keys;
}

TEST_F(SoftcspTool, WritesCertificateFilesOfEachFormat) {
    const TemporaryDirectory directory;
    const std::wstring& path = directory.Path();
    const std::wstring certificate = L"certificate --key x " + kOther, both = certificate + L" " + kName;
    ASSERT_EQ(RunTool(L"create " + kName), 0u);
    ASSERT_EQ(RunTool(L"create " + kOther + L" --password 77"), 0u);
    EXPECT_EQ(RunTool(L"certificate --key x " + kName + L" --out " + path + L"a.cer"), 0u);
    EXPECT_EQ(RunTool(certificate + L" --format base64 --password 77 --out " + path + L"b.cer"), 0u);
    std::set<std::string> keys = PublicKeysIn(path + L"a.cer");
    keys.merge(PublicKeysIn(path + L"b.cer"));
    EXPECT_EQ(keys.size(), 2u);
    for (const wchar_t* file : {L"c.p7b", L"c.sst"}) {
        EXPECT_EQ(RunTool(both + L" --password 7 --out " + path + file), 1u);
        EXPECT_EQ(RunTool(both + L" --password 77 --out " + path + file), 0u);
        EXPECT_EQ(PublicKeysIn(path + file), keys) << file;
    }
}

TEST_F(SoftcspTool, TellsWrongUsageFromFailure) {
    std::wistringstream wrong(
        L"unknown;create;create a b;create a --unknown;create a --keys;create a --keys y;create a --keys x --certs s;"
        L"create a --chain 10;create a --not-before 2026-02-30;create a --subject x;create a --provider none;"
        L"certificate a --key x;certificate a b --key x --out b.cer;set a b;set a damage=3;carrier;carrier add;"
        L"carrier list a;calls;calls a --start --stop;create a --machine --machine;init --rest");
    for (std::wstring arguments; std::getline(wrong, arguments, L';');) EXPECT_EQ(RunTool(arguments), 2u) << arguments;
    EXPECT_EQ(RunTool(L"calls no-such.exe --start"), 0u);
    EXPECT_EQ(Told(L"calls no-such.exe"), "open contexts 0\nopen keys 0\nopen hashes 0\n");
    EXPECT_EQ(RunTool(L"calls no-such.exe --stop"), 0u);
}

}  // namespace
