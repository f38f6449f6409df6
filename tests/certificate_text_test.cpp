// Certificates' fields as texts, and the validity of their keys.
#include <windows.h>

#include <wincrypt.h>

#include <gtest/gtest.h>

#include "csp/CertificateText.h"
#include "framework/Handles.h"

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
    const wchar_t* texts[] = {L"", L"D5", L"C4D5", L"B3C4 D5", L"A2B3 C4D5", L"0FA2 B3C4 D5"};
    for (DWORD size = 0; size <= sizeof bytes; ++size) EXPECT_EQ(SerialNumberText({size, bytes}), texts[size]);
}

FILETIME Time(WORD year) {
    const SYSTEMTIME time{year, 3, 0, 1, 23, 5, 0, 0};
    FILETIME file{};
    EXPECT_TRUE(SystemTimeToFileTime(&time, &file));
    return file;
}

TEST(CertificateText, TimesAreLocalAndLong) {
    const FILETIME time = Time(2026);
    FILETIME localFile;
    SYSTEMTIME local;
    ASSERT_TRUE(FileTimeToLocalFileTime(&time, &localFile) && FileTimeToSystemTime(&localFile, &local));
    wchar_t date[80], clock[80];
    ASSERT_TRUE(GetDateFormatEx(LOCALE_NAME_USER_DEFAULT, DATE_LONGDATE, &local, nullptr, date, 80, nullptr));
    ASSERT_TRUE(GetTimeFormatEx(LOCALE_NAME_USER_DEFAULT, 0, &local, nullptr, clock, 80));
    EXPECT_EQ(TimeText(time), std::wstring(date) + L" " + clock);
    EXPECT_EQ(TimeText({0xFFFFFFFF, 0xFFFFFFFF}), L"");
}

TEST(UsagePeriod, BothEndsBelongToAPeriod) {
    const FILETIME early = Time(2020), from = Time(2024), mid = Time(2025), to = Time(2026), late = Time(2030);
    using Case = std::tuple<FILETIME, std::optional<UsagePeriod>, bool>;  // at this time: out of date
    const Case cases[] = {{from, {}, false},
                          {to, {}, false},
                          {early, {}, true},
                          {late, {}, true},
                          {late, UsagePeriod{early, late}, true},
                          {mid, UsagePeriod{mid, mid}, false},
                          {mid, UsagePeriod{from, from}, true},
                          {mid, UsagePeriod{to, {}}, true},
                          {mid, UsagePeriod{from, {}}, false}};
    CERT_INFO certificate{};
    certificate.NotBefore = from;
    certificate.NotAfter = to;
    for (const Case& c : cases)
        EXPECT_EQ(IsOutOfDate(std::get<0>(c), certificate, std::get<1>(c)), std::get<2>(c)) << &c - cases;
}

}  // namespace
