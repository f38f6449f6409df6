// Certificates' fields as texts, and the validity of their keys.
#include <windows.h>

#include <wincrypt.h>

#include <gtest/gtest.h>

#include "csp/CertificateText.h"
#include "framework/Handles.h"
#include "tests/support/ImportPatch.h"

namespace {

TEST(CertificateText, NamesInEachForm) {
    BYTE encoded[512];
    CERT_NAME_BLOB name{sizeof encoded, encoded};
    ASSERT_TRUE(CertStrToNameW(X509_ASN_ENCODING, L"CN=Иванов Иван, O=Org", CERT_X500_NAME_STR, nullptr, encoded,
                               &name.cbData, nullptr));
    const UniqueCertificate certificate(
        CertCreateSelfSignCertificate(0, &name, 0, nullptr, nullptr, nullptr, nullptr, nullptr));
    ASSERT_TRUE(certificate);
    EXPECT_EQ(CertificateName(*certificate.get(), NameForm::Display), L"Иванов Иван");
    EXPECT_EQ(CertificateName(*certificate.get(), NameForm::Simple, NameOf::Issuer), L"Иванов Иван, Org");
    EXPECT_EQ(CertificateName(*certificate.get(), NameForm::X500), L"CN=Иванов Иван, O=Org");
}

TEST(CertificateText, SerialNumbersInGroups) {
    BYTE bytes[] = {0xD5, 0xC4, 0xB3, 0xA2, 0x0F};  // the least significant first
    EXPECT_EQ(SerialNumberText({0, bytes}), L"");
    EXPECT_EQ(SerialNumberText({5, bytes}), L"0FA2 B3C4 D5");
}

FILETIME Time(WORD year) {
    const SYSTEMTIME time{year, 3, 0, 1, 23, 5, 0, 0};
    FILETIME file{};
    EXPECT_TRUE(SystemTimeToFileTime(&time, &file));
    return file;
}

// The system turns a time into a local one by the rules for its own date, not by today's.
TEST(CertificateText, TimesAreLocalAndLong) {
    static constexpr SYSTEMTIME kLocal{2026, 3, 0, 2, 2, 5, 0, 0};
    const ImportPatch zone(
        nullptr, "SystemTimeToTzSpecificLocalTime",
        +[](const TIME_ZONE_INFORMATION*, const SYSTEMTIME* time, SYSTEMTIME* local) -> BOOL {
            EXPECT_EQ(time->wHour, 23);
            return *local = kLocal, TRUE;
        });
    wchar_t date[80], clock[80];
    ASSERT_TRUE(GetDateFormatEx(LOCALE_NAME_USER_DEFAULT, DATE_LONGDATE, &kLocal, nullptr, date, 80, nullptr));
    ASSERT_TRUE(GetTimeFormatEx(LOCALE_NAME_USER_DEFAULT, 0, &kLocal, nullptr, clock, 80));
    EXPECT_EQ(TimeText(Time(2026)), std::wstring(date) + L" " + clock);
    EXPECT_EQ(TimeText({0xFFFFFFFF, 0xFFFFFFFF}), L"");
}

TEST(UsagePeriod, BothEndsBelongToAPeriod) {
    const FILETIME early = Time(2020), from = Time(2024), mid = Time(2025), to = Time(2026), late = Time(2030);
    const struct {
        const char* name;
        FILETIME now;
        std::optional<UsagePeriod> usage;
        bool outOfDate;
    } cases[] = {{"first moment", from, {}, false},
                 {"last moment", to, {}, false},
                 {"before", early, {}, true},
                 {"after, within the key's", late, UsagePeriod{early, late}, true},
                 {"the key's only moment", mid, UsagePeriod{mid, mid}, false},
                 {"after the key's", mid, UsagePeriod{from, from}, true},
                 {"before the key's", mid, UsagePeriod{to, {}}, true}};
    CERT_INFO certificate{};
    certificate.NotBefore = from;
    certificate.NotAfter = to;
    for (const auto& c : cases) EXPECT_EQ(IsOutOfDate(c.now, certificate, c.usage), c.outOfDate) << c.name;
}

}  // namespace
