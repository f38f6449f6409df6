// The container check against containers of the software provider: exactly these rows, in this order.
#include <windows.h>

#include <wincrypt.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "csp/CertificateText.h"
#include "csp/ContainerCheck.h"
#include "csp/ProviderParameters.h"
#include "tests/support/Certificates.h"
#include "tests/support/CryptCalls.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/Provider.h"
#include "tests/support/Report.h"
#include "tests/support/Services.h"

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

// Other times, and serial numbers, differ each time: a value that isn't empty becomes "*".
std::wstring Masked(const std::wstring& row) {
    const std::size_t value = row.find(L'|') + 1;
    const std::wstring label = row.substr(0, value), rest = row.substr(value);
    const bool time = label.find(L"valid ") != label.npos, number = label == L"  serial number|";
    if ((!time && !number) || rest.empty()) return row;
    for (const WORD year : {WORD{2020}, WORD{2021}, WORD{2089}, WORD{2090}})
        if (rest == Day(year)) return row;
    return label + L"*";
}

class ContainerCheck : public testing::Test {
  protected:
    // Checks a container of this name.
    static Rows Check(KeySet keySet = KeySet::User) {
        CCryptProvContext context;
        EXPECT_TRUE(context.Acquire(0, L"checked", kProvider75, kProviderType75)) << std::hex << GetLastError();
        RecordedReport report;
        const bool good = CheckContainer(context.Get(), keySet, report);
        EXPECT_EQ(report.rows.front() == kSucceeded.front(), good) << testing::PrintToString(report.rows.front());
        std::ranges::transform(report.rows, report.rows.begin(), &Masked);
        return report.rows;
    }
    static void ExpectReport(const Rows& report, const Rows& expected) { EXPECT_EQ(Lines(report), Lines(expected)); }
    // The rows of a whole report on a container without extensions.
    static Rows Report(bool good, const Rows& keys, const Rows& integrity = kIntact) {
        return (good ? kSucceeded : kFailed) + kNames + integrity + keys + kLoaded;
    }
    static Rows Key(const wchar_t* label, const wchar_t* exportable = L"disallowed",
                    const wchar_t* algorithm = L"GOST R 34.10-2001") {
        const bool exchange = label == kExchange;
        const Rows steps = {label + std::wstring(L"|available"), L"  public key export|succeed",
                            L"  public key import|succeed", L"  signing|succeed", L"  verifying|succeed"};
        const Rows agreement = exchange ? Rows{L"  exchange key agreement|succeed"} : Rows();
        return steps + agreement +
               Rows{L"  key export|" + std::wstring(exportable), L"  algorithm|" + std::wstring(algorithm),
                    exchange ? L"|1.2.643.2.2.36.0" : L"|1.2.643.2.2.35.1", L"|1.2.643.2.2.30.1"};
    }
    static Rows Fields(const std::wstring& subject, const std::wstring& issuer, const std::wstring& from = L"*",
                       const std::wstring& to = L"*", const Rows& usage = {}) {
        return Rows{L"  certificate name|" + subject, L"  subject|" + subject, L"  issuer|" + issuer,
                    L"  valid from|" + from, L"  valid to|" + to} +
               usage + Rows{L"  serial number|*"};
    }
    static Rows Usage(WORD from, WORD to) { return {L"  key valid from|" + Day(from), L"  key valid to|" + Day(to)}; }
    static Rows Certificate(const Rows& fields, const wchar_t* match = L"match private key",
                            const Rows& stores = {L"  certificate in store|not installed"}) {
        return Rows{L"  certificate in container|" + std::wstring(match)} + stores + fields;
    }

    static constexpr wchar_t kExchange[] = L"Exchange key", kSignature[] = L"Signature key";
    static inline const Rows kSucceeded = {L"Check container succeed|no errors were detected"},
                             kFailed = {L"Check container failed|"},
                             kNames = {L"Private key container|", L"  name|checked", L"  unique name|REGISTRY\\checked",
                                       L"  FQCN|\\\\.\\REGISTRY\\checked"},
                             kIntact = {L"  container integrity check|succeed"},
                             kNoExchange = {L"Exchange key|not available"},
                             kNoSignature = {L"Signature key|not available"}, kNoKeys = kNoExchange + kNoSignature,
                             kNoCertificate = {L"  certificate in container|not available"},
                             kLoaded = {L"  keys loading|succeed"}, kExpired = {L"Private key usage period|expired"};
    const SpokenLanguage language{kEnglish};
};

TEST_F(ContainerCheck, OfBothKeysWithACertificateChain) {
    const ToolContainer container(L"checked", L"--keys xs --exportable --chain 2 --subject CN=Owner");
    const Rows own = Certificate(Fields(L"Owner", L"Owner CA 1")),
               chain = Rows{L"Container extensions|", L"  noncritical|1.2.643.2.2.37.3.2"} +
                       Fields(L"Owner Root CA", L"Owner Root CA") + Rows{L"  noncritical|1.2.643.2.2.37.3.1"} +
                       Fields(L"Owner CA 1", L"Owner Root CA");
    ExpectReport(Check(), Report(true, Key(kExchange, L"allowed") + own + Key(kSignature, L"allowed") + own) + chain);
}

TEST_F(ContainerCheck, OfWhatAContainerMayLackOrHaveWrong) {
    const struct {
        const char* name;
        const wchar_t *options, *change;
        bool good;
        Rows exchange, signature = kNoSignature, integrity = kIntact;
    } cases[] = {
        {"no keys", L"--keys none", L"", true, kNoExchange},
        {"signature key", L"--keys s --certs none", L"", true, kNoExchange, Key(kSignature) + kNoCertificate},
        {"another key's certificate", L"", L"certificate-x=other", false,
         Key(kExchange) + Certificate(Fields(L"A", L"A"), L"does not match private key")},
        {"damaged",
         L"",
         L"damage=1",
         false,
         Key(kExchange) + Certificate(Fields(L"A", L"A")),
         kNoSignature,
         {L"  container integrity check|corrupted"}},
        {"key's usage ended", L"--usage 2020-01-01 2021-01-01", L"", false,
         Key(kExchange) + Certificate(Fields(L"A", L"A", L"*", L"*", Usage(2020, 2021))) + kExpired},
        {"key's usage within the certificate's",
         L"--not-before 2020-01-01 --not-after 2090-01-01 --usage 2021-01-01 2089-01-01", L"", true,
         Key(kExchange) + Certificate(Fields(L"A", L"A", Day(2020), Day(2090), Usage(2021, 2089)))},
        {"certificate ended", L"--not-before 2020-01-01 --not-after 2021-01-01", L"", false,
         Key(kExchange) + Certificate(Fields(L"A", L"A", Day(2020), Day(2021))) + kExpired},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ToolContainer container(L"checked", c.options + std::wstring(L" --subject CN=A"));
        if (*c.change) container.Set(c.change);
        ExpectReport(Check(), Report(c.good, c.exchange + c.signature, c.integrity));
    }
}

// A key's check ends with a failed export or import. A certificate that isn't all there is none.
TEST_F(ContainerCheck, OfAKeyWhoseCallsFail) {
    const ToolContainer container(L"checked", L"--subject CN=A");
    const Rows available = {L"Exchange key|available"}, exported = {L"  public key export|succeed"},
               certificate = Certificate(Fields(L"A", L"A"));
    const std::wstring crc = FailedWith(ERROR_CRC);
    const struct {
        std::string_view fault;  // a function that fails, or how certificates are spoiled
        bool good;
        Rows key;
    } cases[] = {
        {"CryptExportKey", false, available + Rows{L"  public key export|" + crc}},
        {"CryptImportKey", false, available + exported + Rows{L"  public key import|" + crc}},
        {"CryptFindOIDInfo", true, Key(kExchange, L"disallowed", L"0xAA24") + certificate},
        {"cut", true, Key(kExchange) + kNoCertificate},
        {"overlong", true, Key(kExchange) + kNoCertificate},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        const auto fault = [&] {
            return c.fault.starts_with("Crypt") ? Failing(c.fault, ERROR_CRC) : SpoiledCertificates(c.fault);
        };
        const CryptCalls calls = fault();
        ExpectReport(Check(), Report(c.good, c.key + kNoSignature));
    }
}

// The integrity, whatever bits it has, and the extensions, as far as they can be read.
TEST_F(ContainerCheck, OfUnusualAnswers) {
    const ToolContainer container(L"checked", L"--keys none");
    using Answer = std::function<CryptCalls()>;
    const auto bits = [](DWORD value) -> Answer {
        return [=] {
            return FakedParameter(kParameterIntegrity, [=](BYTE* data, DWORD* length, DWORD) {
                return Give({reinterpret_cast<const char*>(&value), sizeof value}, data, length);
            });
        };
    };
    const auto unreadable = [](DWORD parameter) -> Answer {
        return [=] { return FakedParameter(parameter, [](BYTE*, DWORD*, DWORD) { return DWORD{ERROR_CRC}; }); };
    };
    const auto extensions = [](const std::vector<std::string>& records) -> Answer {
        return [=] { return FakedExtensions(records); };
    };
    const std::string chain = "1.2.643.2.2.37.3.1", empty("\x30\0", 2), one("\x30\x02\x30\0", 4);  // sequences
    const auto record = &ExtensionRecordOf;
    const std::wstring integrity = L"  container integrity check|", crc = FailedWith(ERROR_CRC);
    const Rows header = {L"Container extensions|"}, plain = {L"  noncritical|1.2.643.2.2.37.3.1"},
               critical = {L"  critical|1.2.643.2.2.37.3.1"}, usage = {L"  critical|2.5.29.15"};
    const struct {
        const char* name;
        Answer answer;
        bool good;
        Rows integrity, extensions;
    } cases[] = {
        {"intact", bits(0), true, kIntact, {}},
        {"corrupted", bits(1), false, {integrity + L"corrupted"}, {}},
        {"unknown", bits(0x40000000), false, {integrity + L"unknown corruption"}, {}},
        {"both", bits(0x40000001), false, {integrity + L"corrupted", integrity + L"unknown corruption"}, {}},
        {"other bits", bits(0x80000002), false, {}, {}},
        {"unknown integrity", unreadable(kParameterIntegrity), false, {integrity + crc}, {}},
        {"no extensions", extensions({}), true, kIntact, {}},
        {"critical by 2", extensions({record(0, one, chain), record(2, empty, chain)}), true, kIntact,
         header + plain + critical},
        {"critical by 1", extensions({record(1, "\x3\x2\x5\xA0", "2.5.29.15")}), true, kIntact, header + usage},
        {"longer than the previous one is the end",
         extensions({record(0, one, chain), record(0, empty, chain), record(2, one, chain)}), true, kIntact,
         header + plain + plain},
        {"no value", extensions({record(0, one, chain), record(0, "", chain + ".123"), record(1, empty, chain)}), true,
         kIntact, header + plain + critical},
        {"malformed", extensions({record(0, "\x30\x05", chain), record(1, empty, chain)}), true, kIntact,
         header + critical},
        {"unknown, cut", extensions({record(0, empty, "1.2.3.4"), record(0, empty, chain).substr(0, 9)}), true, kIntact,
         header},
        {"empty", extensions({""}), true, kIntact, header},
        {"unknown extensions", unreadable(kParameterExtensions), false, kIntact, {L"Container extensions|" + crc}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const CryptCalls calls = c.answer();
        ExpectReport(Check(), Report(c.good, kNoKeys, c.integrity) + c.extensions);
    }
}

// A system store of the user with a certificate in it, gone at the end.
struct TestStore {
    TestStore(const wchar_t* storeName, const TestBytes& encoded, CRYPT_KEY_PROV_INFO* link) : name(storeName) {
        const UniqueCertificateStore store = SystemStore(name);
        UniqueCertificate added;
        EXPECT_TRUE(CertAddEncodedCertificateToStore(store.get(), X509_ASN_ENCODING, encoded.data(),
                                                     static_cast<DWORD>(encoded.size()),
                                                     CERT_STORE_ADD_REPLACE_EXISTING, added.put()));
        if (!link) return;
        EXPECT_TRUE(CertSetCertificateContextProperty(added.get(), CERT_KEY_PROV_INFO_PROP_ID, 0, link));
    }
    ~TestStore() {
        CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_DELETE_FLAG, name);
    }
    const wchar_t* name;
};

TEST_F(ContainerCheck, NamesTheStoresThatHoldTheCertificate) {
    const ToolContainer container(L"checked", L"--keys s --subject CN=A");
    const auto encoded = [] {
        CCryptProvContext context;
        UniqueCryptKey key;
        EXPECT_TRUE(context.Acquire(0, L"checked", kProvider75, kProviderType75));
        EXPECT_TRUE(CryptGetUserKey(context.Get(), AT_SIGNATURE, key.put()));
        return KeyParameter(key.get(), KP_CERTIFICATE);
    }();
    std::wstring longName(600, L'n'), provider = kProvider75;  // longer than the buffer that is offered first
    CRYPT_KEY_PROV_INFO link{longName.data(), provider.data(), 75, 0, 0, nullptr, AT_SIGNATURE};
    const TestStore first(L"VestraCheckA", encoded, &link), second(L"VestraCheckB", encoded, nullptr);
    const auto expected = [&](const Rows& stores) {
        return Report(true,
                      kNoExchange + Key(kSignature) + Certificate(Fields(L"A", L"A"), L"match private key", stores));
    };
    DWORD flags = ~DWORD{0};  // that all stores are opened with
    const CryptCalls calls([&](const CryptCalls::Call& call) {
        if (call.name == "CertOpenStore") flags &= static_cast<DWORD>(call.a[3]);
        return call();
    });
    ExpectReport(Check(), expected({L"  certificate in store|VestraCheckA", L"|  A",
                                    L"|\t    " + longName + L"; " + provider + L"; 75", L"|VestraCheckB", L"|  A",
                                    L"|       does not have private key link"}));
    EXPECT_EQ(flags, CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_READONLY_FLAG | CERT_STORE_OPEN_EXISTING_FLAG);
    ExpectReport(Check(KeySet::Computer), expected({L"  certificate in store|not installed"}));
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
        if (fault.memory) return good ? "a failure reads as success" : "";
        if (good != (report->rows.front() == kSucceeded.front())) return "verdict and result differ";
        if (fault.point == Fault::kNone) return good && report->rows == clean ? "" : "not what it was without a fault";
        const bool harmless = std::ranges::count(kHarmless, fault.function) && !fault.onwards;
        const std::wstring failed = FailedWith(fault.error);
        if (has(L"  keys loading|" + failed) && !fault.onwards) loading = fault.point;
        if (harmless || fault.point > loading) return "";  // any failure may end the listing of the extensions
        if (good) return "a failure reads as success";
        const auto told = std::ranges::find_if(
            report->rows, [](const std::wstring& row) { return row.find(L"|error ") != row.npos; });
        if (told != report->rows.end() && (told->ends_with(L"|" + failed) || fault.onwards)) return "";
        return has(L"  certificate in container|does not match private key") ? "" : "no row tells the failure";
    });
}

}  // namespace
