// The container check against containers of the software provider: exactly these rows, in this order.
#include <windows.h>

#include <wincrypt.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "csp/CertificateText.h"
#include "csp/ContainerCheck.h"
#include "csp/CryptProvContext.h"
#include "csp/ProviderParameters.h"
#include "resources/resource.h"
#include "tests/support/Certificates.h"
#include "tests/support/CryptCalls.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/Provider.h"

namespace {

constexpr UINT kTwoSpaces = 2;  // stands for the label of continued rows

struct Line {
    Line(UINT lineLabel, UINT value, DWORD code = 0) : label(lineLabel), id(value), error(code) {}
    Line(UINT lineLabel, std::wstring_view value) : label(lineLabel), text(value) {}
    bool operator==(const Line&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Line& line) {
        return out << line.label << " #" << line.id << " !" << line.error << " " << testing::PrintToString(line.text);
    }
    UINT label, id = 0;
    std::wstring text;
    DWORD error = 0;
};
using Lines = std::vector<Line>;

Lines operator+(Lines left, const Lines& right) {
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
const std::wstring kDays[] = {Day(2020), Day(2021), Day(2089), Day(2090)};

// The rows as they come. Other times and serial numbers differ each time; of them only "*" is kept.
struct Rows final : CheckReport {
    void Row(UINT label, UINT value) override { lines.emplace_back(label, value); }
    void Row(UINT label, std::wstring_view value) override {
        const bool differs = (label >= IDS_CERTIFICATE_VALID_FROM && label <= IDS_CERTIFICATE_SERIAL_NUMBER) ||
                             label >= IDS_CERTIFICATE_KEY_FROM;
        const bool known = value.empty() || std::ranges::count(kDays, value) > 0;
        lines.emplace_back(label, differs && !known ? L"*" : value);
    }
    void Failure(UINT label, DWORD error) override { lines.emplace_back(label, 0u, error); }
    void Continuation(std::wstring_view value) override { lines.emplace_back(kTwoSpaces, value); }
    void Continuation(UINT value) override { lines.emplace_back(kTwoSpaces, value); }
    void Verdict(UINT label, UINT value) override { lines.emplace(lines.begin(), label, value); }
    bool Has(const Line& line) const { return std::find(lines.begin(), lines.end(), line) != lines.end(); }
    Lines lines;
};

// A container made by the software provider's tool, opened, and gone at the end.
struct TestContainer {
    explicit TestContainer(const std::wstring& options, const std::wstring& change = {}) {
        EXPECT_EQ(RunTool(L"create " + name + L" " + options), 0u);
        EXPECT_TRUE(change.empty() || RunTool(L"set " + name + L" " + change) == 0);
        EXPECT_TRUE(context.Acquire(0, name.c_str(), kProvider75, kProviderType75)) << std::hex << GetLastError();
    }
    ~TestContainer() {
        context.Release();
        RunTool(L"remove " + name);
    }
    const std::wstring name = L"check-" + std::to_wstring(GetCurrentProcessId());
    CCryptProvContext context;
};

Lines Check(const TestContainer& container, KeySet keySet = KeySet::User) {
    Rows rows;
    const bool good = CheckContainer(container.context.Get(), keySet, rows);
    EXPECT_EQ(rows.lines.front().label == IDS_CHECK_SUCCEEDED, good);
    return rows.lines;
}

const Lines kSucceeded = {{IDS_CHECK_SUCCEEDED, IDS_CHECK_NO_ERRORS}}, kFailed = {{IDS_CHECK_FAILED, 0}},
            kIntact = {{IDS_CHECK_INTEGRITY, IDS_CHECK_SUCCEED}},
            kNoExchangeKey = {{IDS_CHECK_EXCHANGE_KEY, IDS_CHECK_NOT_AVAILABLE}},
            kNoSignatureKey = {{IDS_CHECK_SIGNATURE_KEY, IDS_CHECK_NOT_AVAILABLE}},
            kLoaded = {{IDS_CHECK_KEYS_LOADING, IDS_CHECK_SUCCEED}},
            kNoCertificate = {{IDS_CHECK_CERTIFICATE_IN_CONTAINER, IDS_CHECK_NOT_AVAILABLE}},
            kNotInstalled = {{IDS_CHECK_CERTIFICATE_IN_STORE, IDS_CHECK_NOT_INSTALLED}},
            kExpired = {{IDS_CHECK_USAGE_PERIOD, IDS_CHECK_EXPIRED}};

Lines Usage(WORD from, WORD to) {
    return {{IDS_CERTIFICATE_KEY_FROM, Day(from)}, {IDS_CERTIFICATE_KEY_TO, Day(to)}};
}

// The verdict and the rows on the container itself, with those on its integrity.
Lines Head(const Lines& verdict, const TestContainer& container, const Lines& integrity = kIntact) {
    const std::wstring unique = L"REGISTRY\\" + container.name, full = L"\\\\.\\" + unique;
    const Lines names = {
        {IDS_CHECK_NAME, container.name}, {IDS_CHECK_UNIQUE_NAME, unique}, {IDS_CHECK_QUALIFIED_NAME, full}};
    return verdict + Lines{{IDS_CONTAINER, 0}} + names + integrity;
}

Lines Key(UINT label, UINT exportable, const wchar_t* algorithm = L"GOST R 34.10-2001") {
    const bool exchange = label == IDS_CHECK_EXCHANGE_KEY;
    Lines lines = {{label, IDS_CHECK_AVAILABLE}};
    for (const UINT step : {IDS_CHECK_PUBLIC_KEY_EXPORT, IDS_CHECK_PUBLIC_KEY_IMPORT, IDS_CHECK_SIGNING,
                            IDS_CHECK_VERIFYING, IDS_CHECK_AGREEMENT})
        if (exchange || step != IDS_CHECK_AGREEMENT) lines.emplace_back(step, IDS_CHECK_SUCCEED);
    const wchar_t* agreementSet = exchange ? L"1.2.643.2.2.36.0" : L"1.2.643.2.2.35.1";
    return lines + Lines{{IDS_CHECK_KEY_EXPORT, exportable}, {IDS_CHECK_ALGORITHM, algorithm}} +
           Lines{{kTwoSpaces, agreementSet}, {kTwoSpaces, L"1.2.643.2.2.30.1"}};
}

Lines Details(const wchar_t* subject, const wchar_t* issuer, const Lines& usage = {}, std::wstring_view from = L"*",
              std::wstring_view to = L"*") {
    const Lines names = {
        {IDS_CERTIFICATE_NAME, subject}, {IDS_CERTIFICATE_SUBJECT, subject}, {IDS_CERTIFICATE_ISSUER, issuer}};
    return names + Lines{{IDS_CERTIFICATE_VALID_FROM, from}, {IDS_CERTIFICATE_VALID_TO, to}} + usage +
           Lines{{IDS_CERTIFICATE_SERIAL_NUMBER, L"*"}};
}

Lines Certificate(UINT match, const Lines& details, const Lines& stores = kNotInstalled) {
    return Lines{{IDS_CHECK_CERTIFICATE_IN_CONTAINER, match}} + stores + details;
}

TEST(ContainerCheck, OfBothKeysWithACertificateChain) {
    const TestContainer container(L"--keys xs --exportable --chain 2 --subject CN=Owner");
    const Lines own = Certificate(IDS_CHECK_MATCHES_KEY, Details(L"Owner", L"Owner CA 1"));
    const Lines root = {{IDS_CHECK_EXTENSIONS, 0}, {IDS_CHECK_NONCRITICAL, L"1.2.643.2.2.37.3.2"}},
                middle = {{IDS_CHECK_NONCRITICAL, L"1.2.643.2.2.37.3.1"}};
    EXPECT_EQ(Check(container), Head(kSucceeded, container) + Key(IDS_CHECK_EXCHANGE_KEY, IDS_CHECK_ALLOWED) + own +
                                    Key(IDS_CHECK_SIGNATURE_KEY, IDS_CHECK_ALLOWED) + own + kLoaded + root +
                                    Details(L"Owner Root CA", L"Owner Root CA") + middle +
                                    Details(L"Owner CA 1", L"Owner Root CA"));
}

TEST(ContainerCheck, OfWhatAContainerMayLackOrHaveWrong) {
    const Lines exchange = Key(IDS_CHECK_EXCHANGE_KEY, IDS_CHECK_DISALLOWED),
                signature = Key(IDS_CHECK_SIGNATURE_KEY, IDS_CHECK_DISALLOWED),
                matching = Certificate(IDS_CHECK_MATCHES_KEY, Details(L"A", L"A")),
                other = Certificate(IDS_CHECK_OTHER_KEY, Details(L"A", L"A"));
    const auto dated = [](const Lines& usage, std::wstring_view from, std::wstring_view to) {
        return Certificate(IDS_CHECK_MATCHES_KEY, Details(L"A", L"A", usage, from, to));
    };
    struct Case {
        const wchar_t *options, *change;
        Lines verdict, keys, integrity = kIntact;
    };
    const Case cases[] = {
        {L"--keys none", L"", kSucceeded, kNoExchangeKey + kNoSignatureKey},
        {L"--keys s --certs none", L"", kSucceeded, kNoExchangeKey + signature + kNoCertificate},
        {L"", L"certificate-x=other", kFailed, exchange + other + kNoSignatureKey},
        {L"",
         L"damage=1",
         kFailed,
         exchange + matching + kNoSignatureKey,
         {{IDS_CHECK_INTEGRITY, IDS_CHECK_CORRUPTED}}},
        {L"--usage 2020-01-01 2021-01-01", L"", kFailed,
         exchange + dated(Usage(2020, 2021), L"*", L"*") + kExpired + kNoSignatureKey},
        {L"--not-before 2020-01-01 --not-after 2090-01-01 --usage 2021-01-01 2089-01-01", L"", kSucceeded,
         exchange + dated(Usage(2021, 2089), Day(2020), Day(2090)) + kNoSignatureKey},
        {L"--not-before 2020-01-01 --not-after 2021-01-01", L"", kFailed,
         exchange + dated({}, Day(2020), Day(2021)) + kExpired + kNoSignatureKey},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.options) + c.change));
        const TestContainer container(c.options + std::wstring(L" --subject CN=A"), c.change);
        EXPECT_EQ(Check(container), Head(c.verdict, container, c.integrity) + c.keys + kLoaded);
    }
}

TEST(ContainerCheck, ShowsTheNumberOfAnUnknownAlgorithm) {
    const TestContainer container(L"--keys s --certs none");
    const ImportPatch unknown(
        nullptr, "CryptFindOIDInfo", +[](DWORD, void*, DWORD) WINAPI -> PCCRYPT_OID_INFO { return nullptr; });
    EXPECT_EQ(Check(container), Head(kSucceeded, container) + kNoExchangeKey +
                                    Key(IDS_CHECK_SIGNATURE_KEY, IDS_CHECK_DISALLOWED, L"0x2E23") + kNoCertificate +
                                    kLoaded);
}

// A key's check ends with a failed export or import. A certificate that isn't all there is none.
TEST(ContainerCheck, OfAKeyWhoseCallsFail) {
    const TestContainer container(L"--subject CN=A");
    const Line exported{IDS_CHECK_PUBLIC_KEY_EXPORT, IDS_CHECK_SUCCEED};
    const std::pair<std::string_view, Lines> cases[] = {
        {"CryptExportKey", {{IDS_CHECK_PUBLIC_KEY_EXPORT, 0, ERROR_CRC}}},
        {"CryptImportKey", {exported, {IDS_CHECK_PUBLIC_KEY_IMPORT, 0, ERROR_CRC}}},
    };
    for (const auto& [name, rows] : cases) {
        const CryptCalls calls(
            [&](const CryptCalls::Call& call) { return call.name == name ? CryptCalls::Fail(ERROR_CRC) : call(); });
        const Lines key = Lines{{IDS_CHECK_EXCHANGE_KEY, IDS_CHECK_AVAILABLE}} + rows;
        EXPECT_EQ(Check(container), Head(kFailed, container) + key + kNoSignatureKey + kLoaded);
    }
    for (const wchar_t* how : {L"cut", L"overlong"}) {
        const CryptCalls calls = SpoiledCertificates(how);
        EXPECT_EQ(Check(container), Head(kSucceeded, container) + Key(IDS_CHECK_EXCHANGE_KEY, IDS_CHECK_DISALLOWED) +
                                        kNoCertificate + kNoSignatureKey + kLoaded);
    }
}

// Answers one parameter of the provider while the result lives; with a code, 0 for success.
CryptCalls Fake(DWORD parameter, const std::function<DWORD(BYTE* data, DWORD* length, DWORD flags)>& answer) {
    return CryptCalls([=](const CryptCalls::Call& call) {
        if (call.name != "CryptGetProvParam" || static_cast<DWORD>(call.a[1]) != parameter) return call();
        const DWORD code = answer(call.At<BYTE*>(2), call.At<DWORD*>(3), static_cast<DWORD>(call.a[4]));
        return code ? CryptCalls::Fail(code) : TRUE;
    });
}

// The length alone without a buffer, ERROR_MORE_DATA without room.
DWORD Give(std::string_view value, BYTE* data, DWORD* length) {
    const DWORD room = std::exchange(*length, static_cast<DWORD>(value.size()));
    if (data && room < value.size()) return ERROR_MORE_DATA;
    if (data) value.copy(reinterpret_cast<char*>(data), value.size());
    return 0;
}

TEST(ContainerCheck, TellsTheIntegrityByItsBits) {
    const TestContainer container(L"--keys none");
    struct Case {
        DWORD error, bits;
        Lines verdict, rows;
    };
    const Line corrupted{IDS_CHECK_INTEGRITY, IDS_CHECK_CORRUPTED},
        unknown{IDS_CHECK_INTEGRITY, IDS_CHECK_UNKNOWN_CORRUPTION};
    const Case cases[] = {
        {0, 0, kSucceeded, kIntact},         {0, 1, kFailed, {corrupted}},
        {0, 0x40000000, kFailed, {unknown}}, {0, 0x40000001, kFailed, {corrupted, unknown}},
        {0, 0x80000002, kFailed, {}},        {ERROR_CRC, 0, kFailed, {{IDS_CHECK_INTEGRITY, 0, ERROR_CRC}}},
    };
    for (const Case& c : cases) {
        const CryptCalls integrity = Fake(kParameterIntegrity, [&](BYTE* data, DWORD* length, DWORD) {
            return c.error ? c.error : Give({reinterpret_cast<const char*>(&c.bits), 4}, data, length);
        });
        EXPECT_EQ(Check(container), Head(c.verdict, container, c.rows) + kNoExchangeKey + kNoSignatureKey + kLoaded);
    }
}

std::string Record(char critical, const std::string& value, const std::string& identifier) {
    return std::string{critical, 0, 0, 0, static_cast<char>(value.size()), 0, 0, 0} + value + identifier + '\0';
}

TEST(ContainerCheck, ListsTheExtensions) {
    const TestContainer container(L"--keys none");
    const std::string chain = "1.2.643.2.2.37.3.1", empty("\x30\0", 2), one("\x30\x02\x30\0", 4);  // sequences
    const Line header{IDS_CHECK_EXTENSIONS, 0}, plain{IDS_CHECK_NONCRITICAL, L"1.2.643.2.2.37.3.1"},
        critical{IDS_CHECK_CRITICAL, L"1.2.643.2.2.37.3.1"};
    struct Case {
        DWORD error;
        std::vector<std::string> records;
        Lines verdict, rows;
    };
    const Case cases[] = {
        {ERROR_NO_MORE_ITEMS, {}, kSucceeded, {}},
        {ERROR_CRC, {}, kFailed, {{IDS_CHECK_EXTENSIONS, 0, ERROR_CRC}}},
        {0, {Record(0, one, chain), Record(2, empty, chain)}, kSucceeded, {header, plain, critical}},
        {0, {Record(0, empty, chain), Record(2, one, chain)}, kSucceeded, {header, plain}},  // longer: the end
        {0, {Record(0, one, chain), Record(0, "", chain), Record(0, empty, chain)}, kSucceeded, {header, plain}},
        {0, {Record(0, "\x30\x05", chain), Record(1, empty, chain)}, kSucceeded, {header, critical}},    // malformed
        {0, {Record(0, empty, "1.2.3.4"), Record(0, empty, chain).substr(0, 9)}, kSucceeded, {header}},  // the same
        {0, {""}, kSucceeded, {header}},
        {0, {Record(1, "\x3\x2\x5\xA0", "2.5.29.15")}, kSucceeded, {header, {IDS_CHECK_CRITICAL, L"2.5.29.15"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        std::size_t next = 0;
        const CryptCalls extensions = Fake(kParameterExtensions, [&](BYTE* data, DWORD* length, DWORD flags) -> DWORD {
            if (c.error) return c.error;
            if (flags == CRYPT_FIRST) next = 0;
            if (next == c.records.size()) return ERROR_NO_MORE_ITEMS;
            return Give(c.records[data ? next++ : next], data, length);
        });
        EXPECT_EQ(Check(container), Head(c.verdict, container) + kNoExchangeKey + kNoSignatureKey + kLoaded + c.rows);
    }
}

// A system store of the user with the certificate in it, gone at the end.
struct TestStore {
    TestStore(const wchar_t* storeName, const BYTE* encoded, DWORD size, CRYPT_KEY_PROV_INFO* link) : name(storeName) {
        const UniqueCertificateStore store = SystemStore(name);
        UniqueCertificate added;
        EXPECT_TRUE(CertAddEncodedCertificateToStore(store.get(), X509_ASN_ENCODING, encoded, size,
                                                     CERT_STORE_ADD_REPLACE_EXISTING, added.put()));
        EXPECT_TRUE(!link || CertSetCertificateContextProperty(added.get(), CERT_KEY_PROV_INFO_PROP_ID, 0, link));
    }
    ~TestStore() {
        CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_DELETE_FLAG, name);
    }
    const wchar_t* name;
};

TEST(ContainerCheck, NamesTheStoresThatHoldTheCertificate) {
    const TestContainer container(L"--keys s --subject CN=A");
    UniqueCryptKey key;
    BYTE encoded[2048];
    DWORD size = sizeof encoded;
    ASSERT_TRUE(CryptGetUserKey(container.context.Get(), AT_SIGNATURE, key.put()));
    ASSERT_TRUE(CryptGetKeyParam(key.get(), KP_CERTIFICATE, encoded, &size, 0));
    std::wstring longName(600, L'n'), provider = kProvider75;  // more than the room that is offered first
    CRYPT_KEY_PROV_INFO link{longName.data(), provider.data(), 75, 0, 0, nullptr, AT_SIGNATURE};
    const TestStore first(L"VestraCheckA", encoded, size, &link), second(L"VestraCheckB", encoded, size, nullptr);
    const auto expected = [&](const Lines& stores) {
        return Head(kSucceeded, container) + kNoExchangeKey + Key(IDS_CHECK_SIGNATURE_KEY, IDS_CHECK_DISALLOWED) +
               Certificate(IDS_CHECK_MATCHES_KEY, Details(L"A", L"A"), stores) + kLoaded;
    };
    const Lines found = {{IDS_CHECK_CERTIFICATE_IN_STORE, L"VestraCheckA"},
                         {kTwoSpaces, L"  A"},
                         {kTwoSpaces, L"\t    " + longName + L"; " + provider + L"; 75"},
                         {kTwoSpaces, L"VestraCheckB"},
                         {kTwoSpaces, L"  A"},
                         {kTwoSpaces, IDS_CHECK_NO_KEY_LINK}};
    static DWORD flags;
    flags = ~DWORD{0};
    static const ImportPatch* opening;
    const ImportPatch open(
        nullptr, "CertOpenStore",
        +[](LPCSTR kind, DWORD encoding, HCRYPTPROV_LEGACY legacy, DWORD given, const void* name) {
            flags &= given;
            return opening->Original<decltype(CertOpenStore)>()(kind, encoding, legacy, given, name);
        });
    opening = &open;
    EXPECT_EQ(Check(container), expected(found));
    EXPECT_EQ(flags, CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_READONLY_FLAG | CERT_STORE_OPEN_EXISTING_FLAG);
    EXPECT_EQ(Check(container, KeySet::Computer), expected(kNotInstalled));
}

// What a container need not have, and what only decorates the report.
constexpr std::string_view kHarmless[] = {
    "CryptGetUserKey",      "CryptGetKeyParam",    "CertCreateCertificateContext",      "CertEnumSystemStore",
    "CertOpenStore",        "CryptFindOIDInfo",    "CertFindCertificateInStore",        "CertFindExtension",
    "GetDateFormatW",       "GetTimeFormatW",      "CertGetCertificateContextProperty", "CryptDecodeObject",
    "FileTimeToSystemTime", "MultiByteToWideChar", "SystemTimeToTzSpecificLocalTime"};

TEST(ContainerCheck, SurvivesEveryFailingCall) {
    const TestContainer container(L"--usage 2020-01-01 2090-01-01 --chain 1");
    FaultInjection injection;
    std::optional<Rows> rows;
    Lines clean;
    std::size_t loading = Fault::kNone;  // the point of the keys' loading; the extensions come behind it
    bool good = false;
    const auto scenario = [&] {
        good = false;
        good = CheckContainer(container.context.Get(), KeySet::User, rows.emplace());
    };
    injection.Survive("check", scenario, [&](const Fault& fault) -> std::string {
        if (clean.empty()) clean = rows->lines;
        // Stores that can't be listed are left out of the report.
        const bool listing = std::string_view(fault.function).find("AddStoreName") != std::string_view::npos;
        if (fault.memory) return good && !listing ? "a failure reads as success" : "";
        if (good != (rows->lines.front() == kSucceeded.front())) return "verdict and result differ";
        if (fault.point == Fault::kNone) return good && rows->lines == clean ? "" : "not what it was without a fault";
        const bool harmless = std::ranges::count(kHarmless, fault.function) && !fault.onwards;
        if (rows->Has({IDS_CHECK_KEYS_LOADING, 0, fault.error}) && !fault.onwards) loading = fault.point;
        if (harmless || fault.point > loading) return "";  // any failure may end the listing of the extensions
        if (good) return "a failure reads as success";
        const auto told = std::ranges::find_if(rows->lines, [](const Line& line) { return line.error != 0; });
        if (told != rows->lines.end() && (told->error == fault.error || fault.onwards)) return "";
        return rows->Has({IDS_CHECK_CERTIFICATE_IN_CONTAINER, IDS_CHECK_OTHER_KEY}) ? "" : "no row tells the failure";
    });
}

}  // namespace
