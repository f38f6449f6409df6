// The provider's tool, run as people and scripts run it.
#include "tests/support/Certificates.h"
#include "tests/support/SoftProvider.h"

namespace {

const std::wstring kName = L"\"Тест инструмента\"", kOther = L"\"Второй, \\\"в кавычках\\\"\"";

void ExpectShown(const std::wstring& arguments, std::initializer_list<const char*> parts) {
    std::string shown;
    EXPECT_EQ(RunTool(arguments, &shown), 0u);
    shown.erase(std::unique(shown.begin(), shown.end(), [](char a, char b) { return a == ' ' && b == ' '; }),
                shown.end());  // single spaces
    for (const char* part : parts) EXPECT_NE(shown.find(part), shown.npos) << part << " is not in\n" << shown;
}

TEST(SoftcspTool, CreatesAndChangesContainersAsAsked) {
    RunTool(L"remove " + kName);
    RunTool(L"remove --machine " + kName);
    EXPECT_EQ(RunTool(L"create " + kName), 0u);
    EXPECT_EQ(RunTool(L"create " + kName), 1u) << "exists already";
    EXPECT_EQ(RunTool(L"create --machine --keys xs --certs s --exportable --password 12 --chain 3 --subject CN=Пётр"
                      L" --usage 2020-01-01 2021-02-28 --not-after 2031-12-31 " +
                      kName),
              0u);
    ExpectShown(L"show --machine " + kName,
                {"password yes\n", " certificate no\nsignature key yes\n", " exportable yes\n", "Пётр CA 2",
                 "valid to 2031-12-31 00:00:00 UTC\n", "usage 2020-01-01 00:00:00 UTC to 2021-02-28 00:00:00 UTC\n",
                 "1.2.643.2.2.37.3.2, ", "certificates: 1\n", "1.2.643.2.2.37.3.1, ", "certificates: 2\n"});
    ExpectShown(L"show " + kName, {"password no\n", " exportable no\n"});
    for (const wchar_t* wrong : {L"create a --keys y", L"create a --chain 10", L"create a --not-before 2026-02-30"})
        EXPECT_EQ(RunTool(wrong), 2u) << "wrong usage, not a failure: " << testing::PrintToString(wrong);
    EXPECT_EQ(RunTool(L"remove " + kName), 0u);
    EXPECT_EQ(RunTool(L"remove --machine " + kName), 0u);
}

TEST(SoftcspTool, WritesCertificateFiles) {
    const TemporaryDirectory directory;
    const ToolContainer container(L"Второй, \\\"в кавычках\\\"", L"--password 77");
    const std::wstring file = directory.Path() + L"b.cer";
    EXPECT_EQ(RunTool(L"certificate --key x --out " + file + L" --password 7 " + kOther), 1u) << "a wrong password";
    container.WriteCertificate(file, L"x", L"--format base64 --password 77");
    EXPECT_TRUE(Read(file).starts_with("-----BEGIN CERTIFICATE-----"));
}

}  // namespace
