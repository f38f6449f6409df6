// The container check against containers of the software provider.

#include "applet/services/ErrorText.h"
#include "csp/CertificateText.h"
#include "csp/ContainerCheck.h"
#include "csp/ProviderParameters.h"
#include "tests/support/Certificates.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/Provider.h"
#include "tests/support/Report.h"
#include "tests/support/Services.h"
#include "tests/support/SystemCalls.h"

namespace {

using Rows = ReportTexts;

Rows operator+(Rows left, const Rows& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// A day that the tests give certificates, as the report shows it.
std::wstring Day(WORD year) {
    const SYSTEMTIME day{year, 1, 0, 1, 0, 0, 0, 0};
    FILETIME time;
    EXPECT_TRUE(SystemTimeToFileTime(&day, &time));
    return TimeText(time);
}

const std::wstring kSucceeded = L"Check container succeed|no errors were detected";

class ContainerCheck : public testing::Test {
  protected:
    // Checks a container of this name.
    static Rows Check(bool good, KeySet keySet = KeySet::User) {
        CCryptProvContext context;
        EXPECT_TRUE(context.Acquire(0, L"checked", kProvider75, kProviderType75)) << std::hex << GetLastError();
        RecordedReport report;
        EXPECT_EQ(CheckContainer(context.Get(), keySet, report), good);
        EXPECT_EQ(report.rows.front(), good ? kSucceeded : L"Check container failed|");
        return report.rows;
    }
    // These rows follow one another in the report.
    static void ExpectRows(const Rows& report, const Rows& expected) {
        const auto found = std::search(report.begin(), report.end(), expected.begin(), expected.end());
        EXPECT_TRUE(found != report.end()) << Lines(expected) << "in\n" << Lines(report);
    }
    const SpokenLanguage language{kEnglish};
};

TEST_F(ContainerCheck, OfBothKeysWithACertificateChain) {
    const ToolContainer container(L"checked", L"--keys xs --exportable --chain 1 --subject CN=Owner");
    Rows rows = Check(true);
    for (std::wstring& row : rows)  // these differ each time
        for (const std::wstring label : {L"  valid from|", L"  valid to|", L"  serial number|"})
            if (row.starts_with(label)) row.resize(label.size());
    ExpectRows(rows, {L"Exchange key|available", L"  public key export|succeed", L"  public key import|succeed",
                      L"  signing|succeed", L"  verifying|succeed", L"  exchange key agreement|succeed",
                      L"  key export|allowed", L"  algorithm|GOST R 34.10-2001", L"  |1.2.643.2.2.36.0",
                      L"  |1.2.643.2.2.30.1", L"  certificate in container|match private key",
                      L"  certificate in store|not installed", L"  certificate name|Owner", L"  subject|Owner",
                      L"  issuer|Owner Root CA", L"  valid from|", L"  valid to|", L"  serial number|",
                      L"Signature key|available"});
    ExpectRows(rows, {L"  keys loading|succeed", L"Container extensions|", L"  noncritical|1.2.643.2.2.37.3.2",
                      L"  certificate name|Owner Root CA", L"  subject|Owner Root CA", L"  issuer|Owner Root CA",
                      L"  valid from|", L"  valid to|", L"  serial number|"});
}

// A key's check ends with a failed export or import. An incomplete certificate counts as none.
TEST_F(ContainerCheck, OfWhatAContainerMayLackOrHaveWrong) {
    const std::wstring crc = ErrorMessageText(ERROR_CRC);
    const Rows noSignature = {L"Signature key|not available"},
               noCertificate = {L"  certificate in container|not available"};
    const struct {
        const wchar_t *options, *change;
        bool good;
        Rows rows;
        std::string_view fault{};  // a function that fails, or how certificates are spoiled
    } cases[] = {
        {L"--keys none", L"", true, Rows{L"Exchange key|not available"} + noSignature},
        {L"--certs none", L"", true, noCertificate + noSignature},
        {L"", L"certificate-x=other", false, {L"  certificate in container|does not match private key"}},
        {L"", L"damage=1", false, {L"  container integrity check|corrupted"}},
        {L"--usage 2020-01-01 2021-01-01", L"", false, {L"Private key usage period|expired"}},
        {L"--not-before 2020-01-01 --not-after 2090-01-01 --usage 2021-01-01 2089-01-01",
         L"",
         true,
         {L"  valid from|" + Day(2020), L"  valid to|" + Day(2090), L"  key valid from|" + Day(2021),
          L"  key valid to|" + Day(2089)}},
        {L"", L"", false, Rows{L"  public key export|" + crc} + noSignature, "CryptExportKey"},
        {L"", L"", false, Rows{L"  public key import|" + crc} + noSignature, "CryptImportKey"},
        {L"", L"", true, {L"  algorithm|0xAA24"}, "CryptFindOIDInfo"},
        {L"", L"", true, noCertificate, "cut"},
        {L"", L"", true, noCertificate, "overlong"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.options + std::wstring(c.change)) + std::string(c.fault));
        const ToolContainer container(L"checked", c.options);
        if (*c.change) container.Set(c.change);
        const SystemCalls spoiled = SpoiledCertificates(c.fault), calls([&](const SystemCalls::Call&call) {
            return call.name == c.fault ? SystemCalls::Fail(ERROR_CRC) : call();
        });
        ExpectRows(Check(c.good), c.rows);
    }
}

TEST_F(ContainerCheck, OfUnusualIntegrity) {
    const ToolContainer container(L"checked", L"--keys none");
    const std::wstring integrity = L"  container integrity check|";
    const std::pair<DWORD, Rows> cases[] = {{0x40000001, {integrity + L"corrupted", integrity + L"unknown corruption"}},
                                            {0x80000002, {}}};
    for (const auto& [bits, rows] : cases) {
        const std::string_view value(reinterpret_cast<const char*>(&bits), sizeof bits);
        const SystemCalls calls = FakedParameter(
            kParameterIntegrity, [&](BYTE* data, DWORD* length, DWORD) { return Give(value, data, length); });
        ExpectRows(Check(false), Rows{L"  FQCN|\\\\.\\REGISTRY\\checked"} + rows + Rows{L"Exchange key|not available"});
    }
}

// As far as they can be read.
TEST_F(ContainerCheck, OfUnusualExtensions) {
    const ToolContainer container(L"checked", L"--keys none");
    const std::string chain = "1.2.643.2.2.37.3.1", empty("\x30\0", 2), one("\x30\x02\x30\0", 4);  // sequences
    const auto record = &ExtensionRecordOf;
    const Rows header = {L"Container extensions|"}, plain = {L"  noncritical|1.2.643.2.2.37.3.1"},
               critical = {L"  critical|1.2.643.2.2.37.3.1"};
    const struct {
        const char* name;
        std::vector<std::string> records;
        Rows rows;
    } cases[] = {
        {"critical by 1 and 2", {record(1, one, chain), record(2, empty, chain)}, header + critical + critical},
        {"longer than the previous one is the end",
         {record(0, one, chain), record(0, empty, chain), record(2, one, chain)},
         header + plain + plain},
        {"no value",
         {record(0, one, chain), record(0, "", chain + ".123"), record(1, empty, chain)},
         header + plain + critical},
        {"malformed", {record(0, "\x30\x05", chain), record(1, empty, chain)}, header + critical},
        {"unknown, cut", {record(0, empty, "1.2.3.4"), record(0, empty, chain).substr(0, 9)}, header},
    };
    constexpr std::size_t kBefore = 9;  // rows
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const SystemCalls calls = FakedExtensions(c.records);
        const Rows rows = Check(true);
        EXPECT_EQ(Lines({rows.begin() + kBefore, rows.end()}), Lines(c.rows));
    }
    const SystemCalls calls =
        FakedParameter(kParameterExtensions, [](BYTE*, DWORD*, DWORD) { return DWORD{ERROR_CRC}; });
    ExpectRows(Check(false), {L"Container extensions|" + ErrorMessageText(ERROR_CRC)});
}

TEST_F(ContainerCheck, NamesTheStoresThatHoldTheCertificate) {
    // Names of the test's own: those of the usual stores are in the letter case of whoever created them.
    constexpr wchar_t kLinked[] = L"VestraTest 1", kWithoutLink[] = L"VestraTest 2";
    const ToolContainer container(L"checked", L"--keys s --subject CN=VestraTest");
    CCryptProvContext context;
    UniqueCryptKey key;
    EXPECT_TRUE(context.Acquire(0, L"checked", kProvider75, kProviderType75));
    EXPECT_TRUE(CryptGetUserKey(context.Get(), AT_SIGNATURE, key.put()));
    const TestBytes encoded = KeyParameter(key.get(), KP_CERTIFICATE);
    std::wstring longName(600, L'n'), provider = kProvider75;  // longer than the buffer that is offered first
    CRYPT_KEY_PROV_INFO link{longName.data(), provider.data(), 75, 0, 0, nullptr, AT_SIGNATURE};
    for (const wchar_t* store : {kWithoutLink, kLinked}) {
        UniqueCertificate added;
        EXPECT_TRUE(CertAddEncodedCertificateToStore(SystemStore(store).get(), X509_ASN_ENCODING, encoded.data(),
                                                     static_cast<DWORD>(encoded.size()),
                                                     CERT_STORE_ADD_REPLACE_EXISTING, added.put()));
        EXPECT_TRUE(CertSetCertificateContextProperty(added.get(), CERT_KEY_PROV_INFO_PROP_ID, 0,
                                                      store == kLinked ? &link : nullptr));
    }
    DWORD flags = ~DWORD{0};  // that all stores are opened with
    const SystemCalls calls([&](const SystemCalls::Call& call) {
        if (call.name == "CertOpenStore") flags &= static_cast<DWORD>(call.a[3]);
        return call();
    });
    ExpectRows(Check(true), {L"  certificate in store|VestraTest 1", L"  |  VestraTest",
                             L"  |\t    " + longName + L"; " + provider + L"; 75", L"  |VestraTest 2",
                             L"  |  VestraTest", L"  |       does not have private key link"});
    EXPECT_EQ(flags, CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_READONLY_FLAG | CERT_STORE_OPEN_EXISTING_FLAG);
    ExpectRows(Check(true, KeySet::Computer), {L"  certificate in store|not installed"});
    for (const wchar_t* store : {kLinked, kWithoutLink})
        RegDeleteTreeW(HKEY_CURRENT_USER, (L"Software\\Microsoft\\SystemCertificates\\" + std::wstring(store)).c_str());
}

// What a container need not have, and what only decorates the report.
constexpr std::string_view kHarmless[] = {
    "CryptGetUserKey",      "CryptGetKeyParam",    "CertCreateCertificateContext",      "CertEnumSystemStore",
    "CertOpenStore",        "CryptFindOIDInfo",    "CertFindCertificateInStore",        "CertFindExtension",
    "GetDateFormatW",       "GetTimeFormatW",      "CertGetCertificateContextProperty", "CryptDecodeObject",
    "FileTimeToSystemTime", "MultiByteToWideChar", "SystemTimeToTzSpecificLocalTime"};

TEST_F(ContainerCheck, SurvivesEveryFailingCall) {
    const ToolContainer container(L"checked", L"--usage 2020-01-01 2090-01-01 --chain 1");
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(0, L"checked", kProvider75, kProviderType75));
    FaultInjection injection;
    std::optional<RecordedReport> report;
    Rows clean;
    std::size_t loading = Fault::kNone;  // the point of the keys' loading; the extensions come behind it
    bool good = false;
    const auto scenario = [&] {
        good = false;
        good = CheckContainer(context.Get(), KeySet::User, report.emplace());
    };
    injection.Survive("check", scenario, [&](const Fault& fault) -> std::string {
        const auto has = [&](const std::wstring& row) { return std::ranges::count(report->rows, row) > 0; };
        if (clean.empty()) clean = report->rows;
        // Stores that can't be listed are left out of the report.
        const bool listing = std::string_view(fault.function).find("AddStoreName") != std::string_view::npos;
        if (fault.memory) return good && !listing ? "a failure reads as success" : "";
        if (good != (report->rows.front() == kSucceeded)) return "verdict and result differ";
        if (fault.point == Fault::kNone) return good && report->rows == clean ? "" : "not what it was without a fault";
        const bool harmless = std::ranges::count(kHarmless, fault.function) && !fault.onwards;
        const std::wstring failed = ErrorMessageText(fault.error);
        if (has(L"  keys loading|" + failed) && !fault.onwards) loading = fault.point;
        if (harmless || fault.point > loading) return "";  // any failure may end the listing of the extensions
        if (good) return "a failure reads as success";
        const auto told = std::ranges::find_if(
            report->rows, [](const std::wstring& row) { return row.find(L"|Error 0x") != row.npos; });
        if (told != report->rows.end() && (told->ends_with(L"|" + failed) || fault.onwards)) return "";
        return has(L"  certificate in container|does not match private key") ? "" : "no row tells the failure";
    });
}

}  // namespace
