// Keys and certificates as bytes, and what the system makes of them by what the provider registered.
#include "softcsp/encoding/Certificates.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "softcsp/encoding/Der.h"
#include "softcsp/kvcrypt.h"

namespace {

using namespace softcsp;

Bytes Hex(const std::string& text) {
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    return bytes;
}

template <class Record>
Record As(ByteView bytes) {
    Record record;
    std::memcpy(&record, bytes.data(), sizeof record);
    return record;
}

TEST(SoftcspDer, WritesIdentifiers) {
    EXPECT_EQ(der::ObjectIdentifier("1.0.18446744073709551615"), Hex("060b2881ffffffffffffffff7f"));
    EXPECT_EQ(der::ObjectIdentifier("2.999"), Hex("06028837"));
}

// Of the published example certificate (RFC 4491, 4.2): key, digest of what is signed, signature.
const Bytes kParameters = Hex("301206072a85030202240006072a850302021e01");
const Bytes kKey =
    Hex("04408495687560021a407508cd138c31892cfde505037a435cf46d2b0fe74f327e57"
        "8febcc16b9958803d09a7c85ae0fe48deaa6bb7e56c7cbb0df0f66bccaea1a60");

TEST(SoftcspPublicKey, OfThePublishedCertificateIsReadAndWritten) {
    const PublicKeyData key = DecodePublicKey(kParameters, kKey).value();
    EXPECT_EQ(EncodeKeyParameters(key), kParameters);
    EXPECT_EQ(EncodePublicKey(key), kKey);
    const Bytes digest = Hex("ce0e67ea2974e99694ea58426c23dbc52614c31939ab2aa299f24639bb4f87f0");
    const Bytes signature =
        Hex("3c2fc90944b727a9eca7d5e9fb536dd2c3aa647c442edeed3116454fbc543fdd"
            "c1de176e8d1bec71b593f3dd36935577688989176220f4dab131d5b51c33dee2");
    EXPECT_TRUE(Verify(*key.curve, key.key, As<DigestValue>(digest), As<Signature>(signature)));
    const std::string curve = "06072a850302022400", hash = "06072a850302021e01", cipher = "06072a850302021f01";
    EXPECT_TRUE(DecodePublicKey(Hex("301b" + curve + hash + cipher), kKey)) << "with a cipher's set";
    for (const auto& wrong : {"3009" + curve, "3012" + hash + curve, "3014" + curve + hash + "0500"})
        EXPECT_FALSE(DecodePublicKey(Hex(wrong), kKey)) << wrong;
}

bool IsSigned(ByteView certificate, const KeyPair& signer) {
    der::Reader parts(der::Reader(certificate).Read(der::kSequence).value());
    const ByteView content = parts.ReadWhole().value();
    parts.ReadWhole();
    const ByteView bits = parts.Read(der::kBitString).value();
    return Verify(signer.Set(), signer.Public(), DigestOf(content).value(), As<Signature>(bits.subspan(1)));
}

std::wstring NameOf(PCCERT_CONTEXT certificate, DWORD flags) {
    wchar_t text[100] = {};
    DWORD form = CERT_X500_NAME_STR;
    CertGetNameStringW(certificate, CERT_NAME_RDN_TYPE, flags, &form, text, 100);
    return text;
}

TEST(SoftcspCertificate, SaysWhatWasAskedForAndIsSigned) {
    const auto signer = KeyPair::Generate(DefaultParameterSet(ParameterKind::Signature));
    const PublicKeyData key = DecodePublicKey(kParameters, kKey).value();
    const FILETIME from{0xFFC6DD80, 0x01CFFFFF}, to{0xFFEEFD00, 0x01DFFFFF};  // whole seconds
    const CertificateRequest requests[] = {
        {L"CN=Root", L"", key, from, to, {}, {}, true},
        {L"CN=Иванов, O=Test", L"CN=Root", key, from, to, UsagePeriod{from, to}, {1, 2, 0x83}, false}};
    for (const CertificateRequest& request : requests) {
        SCOPED_TRACE(testing::PrintToString(request.subject));
        const Bytes der = IssueCertificate(request, *signer);
        EXPECT_TRUE(IsSigned(der, *signer));
        const auto* certificate = CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), DWORD(der.size()));
        ASSERT_NE(certificate, nullptr);
        const CERT_INFO& info = *certificate->pCertInfo;
        EXPECT_EQ(NameOf(certificate, 0), request.subject);
        EXPECT_EQ(NameOf(certificate, CERT_NAME_ISSUER_FLAG), L"CN=Root");
        EXPECT_EQ(CompareFileTime(&info.NotBefore, &from), 0);
        EXPECT_EQ(CompareFileTime(&info.NotAfter, &to), 0);
        EXPECT_TRUE(std::equal(request.serial.begin(), request.serial.end(), info.SerialNumber.pbData));
        EXPECT_LT(info.SerialNumber.pbData[info.SerialNumber.cbData - 1], 0x80) << "a negative number";
        EXPECT_TRUE(std::equal(kKey.begin(), kKey.end(), info.SubjectPublicKeyInfo.PublicKey.pbData));
        EXPECT_EQ(CertFindExtension("2.5.29.16", info.cExtension, info.rgExtension) != nullptr, !request.authority);
        EXPECT_EQ(CertFindExtension("2.5.29.19", info.cExtension, info.rgExtension) != nullptr, request.authority);
        CertFreeCertificateContext(certificate);
    }
    EXPECT_EQ(IssueCertificate({L"nonsense", L"", key, from, to, {}, {}, false}, *signer), Bytes());
}

// The structure that the system decodes, in a buffer with `less` bytes less than needed. Nothing is written behind it.
DWORD Decode(const char* type, const Bytes& der, Bytes& buffer, DWORD less = 0) {
    DWORD size = 0;
    const auto decode = [&](BYTE* to) {
        constexpr DWORD kEncoding = PKCS_7_ASN_ENCODING | X509_ASN_ENCODING;
        return CryptDecodeObject(kEncoding, type, der.data(), DWORD(der.size()), 0, to, &size) ? 0 : GetLastError();
    };
    if (const DWORD error = decode(nullptr)) return error;
    buffer.assign(size + 1, 0xCC);
    size -= less;
    const DWORD error = decode(buffer.data());
    EXPECT_EQ(size + 1, buffer.size()) << "the size needed";
    EXPECT_EQ(buffer[size - less], 0xCC) << "behind the buffer";
    return error;
}

TEST(SoftcspDecoders, AnswerTheSystemByItsRules) {
    constexpr char kMany[] = "1.2.643.2.2.37.3.1";
    const std::string time = "0f32303135303831363134313832305a";  // 2015-08-16 14:18:20
    constexpr FILETIME kTime{0x66E31E00, 0x01D0D82E};
    Bytes buffer;
    const Bytes period = Hex("302280" + time + "81" + time), sequence = Hex("3009300330010030020500");
    const struct {
        const char* what;
        Bytes der;
        bool from, to;
    } periods[] = {{"both", period, true, true},
                   {"from", Hex("301180" + time), true, false},
                   {"to", Hex("301181" + time), false, true}};
    for (const auto& [what, der, hasFrom, hasTo] : periods) {
        ASSERT_EQ(Decode(KVCRYPT_USAGE_PERIOD, der, buffer), 0u) << what;
        const auto info = As<KVCRYPT_USAGE_PERIOD_INFO>(buffer);
        EXPECT_EQ(info.not_before != nullptr, hasFrom) << what;
        EXPECT_EQ(info.not_after != nullptr, hasTo) << what;
        for (const FILETIME* each : {info.not_before, info.not_after})
            EXPECT_EQ(each != nullptr ? CompareFileTime(each, &kTime) : 0, 0) << what;
    }
    for (const char* type : {kMany, "1.2.643.2.2.37.3.2", "1.2.643.2.2.37.3.3"}) {
        ASSERT_EQ(Decode(type, sequence, buffer), 0u) << type;
        const auto many = As<CRYPT_SEQUENCE_OF_ANY>(buffer);
        ASSERT_EQ(many.cValue, 2u) << type;
        EXPECT_EQ(Bytes(many.rgValue[1].pbData, many.rgValue[1].pbData + many.rgValue[1].cbData), Hex("30020500"));
    }
    EXPECT_EQ(Decode(KVCRYPT_USAGE_PERIOD, period, buffer, 1), DWORD{ERROR_MORE_DATA});
    EXPECT_EQ(Decode(kMany, sequence, buffer, 1), DWORD{ERROR_MORE_DATA});
    Bytes notDigits = period, cut = period;
    notDigits[4] = 'x';  // of the year
    cut.pop_back();
    const struct {
        const char *what, *type;
        Bytes der;
    } malformed[] = {
        {"no time", KVCRYPT_USAGE_PERIOD, Hex("3000")},
        {"a time with other characters", KVCRYPT_USAGE_PERIOD, notDigits},
        {"a cut time", KVCRYPT_USAGE_PERIOD, cut},
        {"three times", KVCRYPT_USAGE_PERIOD, Hex("303380" + time + "81" + time + "81" + time)},
        {"a sequence with another element", kMany, Hex("3004300005ff")},
        {"a sequence with another type", kMany, Hex("300430000500")},
        {"a cut sequence", kMany, Hex("30093003300100300205")},
        {"bytes behind a sequence", kMany, Hex("3002300000")},
    };
    for (const auto& [what, type, der] : malformed)
        EXPECT_EQ(Decode(type, der, buffer), static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT)) << what;
}

}  // namespace
