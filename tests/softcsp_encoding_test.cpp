// Keys and certificates as bytes, and what the system makes of them by what the provider registered.
#include "softcsp/encoding/Certificates.h"

#include <gtest/gtest.h>

#include <algorithm>

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

template <class Array>
const Array& As(ByteView bytes) {
    return *reinterpret_cast<const Array*>(bytes.data());
}

// Of the published example certificate (RFC 4491, 4.2): key, digest of what is signed, signature.
const Bytes kParameters = Hex("301206072a85030202240006072a850302021e01");
const Bytes kKey =
    Hex("04408495687560021a407508cd138c31892cfde505037a435cf46d2b0fe74f327e57"
        "8febcc16b9958803d09a7c85ae0fe48deaa6bb7e56c7cbb0df0f66bccaea1a60");
const Bytes kDigest = Hex("ce0e67ea2974e99694ea58426c23dbc52614c31939ab2aa299f24639bb4f87f0");
const Bytes kSignature =
    Hex("3c2fc90944b727a9eca7d5e9fb536dd2c3aa647c442edeed3116454fbc543fdd"
        "c1de176e8d1bec71b593f3dd36935577688989176220f4dab131d5b51c33dee2");

TEST(SoftcspDer, RefusesLengthsThatAreIndefiniteNotTheShortestOrBeyondTheBytes) {
    for (const char* head : {"0480", "04817f", "04820080", "048300ffff", "04850000000001", "04847fffffff", "1f01"}) {
        Bytes element = Hex(head);
        element.resize(70000);
        EXPECT_FALSE(der::Reader(element).ReadWhole()) << head;
    }
    const Bytes longest = der::Element(der::kOctetString, {Bytes(65536, 7)});
    EXPECT_EQ(der::Reader(longest).ReadWhole().value().size(), 65541u);
}

TEST(SoftcspDer, WritesIdentifiers) {
    for (const auto& [dotted, hex] :
         {std::pair{"0.0", "00"}, {"2.999", "8837"}, {"1.0.18446744073709551615", "2881ffffffffffffffff7f"}}) {
        EXPECT_EQ(der::ObjectIdentifier(dotted), der::Element(der::kObjectIdentifier, {Hex(hex)})) << dotted;
    }
}

TEST(SoftcspPublicKey, OfThePublishedCertificateIsReadAndWritten) {
    const PublicKeyData key = DecodePublicKey(kParameters, kKey).value();
    EXPECT_TRUE(EncodeKeyParameters(key) == kParameters && EncodePublicKey(key) == kKey);
    EXPECT_TRUE(Verify(*key.curve, key.key, As<DigestValue>(kDigest), As<Signature>(kSignature)));
    const std::string curve = "06072a850302022400", hash = "06072a850302021e01", cipher = "06072a850302021f01";
    EXPECT_TRUE(DecodePublicKey(Hex("301b" + curve + hash + cipher), kKey));
    for (const auto& wrong : {"3009" + curve, "3012" + hash + curve, "3014" + curve + hash + "0500"})
        EXPECT_FALSE(DecodePublicKey(Hex(wrong), kKey)) << wrong;
    const Bytes blob = WriteBlob({kAlgSignature, key});
    EXPECT_EQ(WriteBlob(ReadPublicKeyBlob(blob).value()), blob);
    for (std::size_t i = 0; i < blob.size(); ++i) {
        Bytes wrong = blob;
        wrong[i] ^= 0x80;
        EXPECT_EQ(ReadPublicKeyBlob(wrong).has_value(), i >= blob.size() - key.key.size()) << i;
        EXPECT_FALSE(ReadPublicKeyBlob(ByteView(blob).first(i))) << i;
    }
}

bool IsSigned(ByteView certificate, const KeyPair& signer, std::uint8_t flipped) {
    der::Reader parts(der::Reader(certificate).Read(der::kSequence).value());
    const ByteView content = parts.ReadWhole().value(), algorithm = parts.ReadWhole().value();
    const ByteView bits = parts.Read(der::kBitString).value();
    EXPECT_TRUE(std::ranges::equal(algorithm, Hex("300806062a8503020203")) && bits.size() == 65 && bits[0] == 0);
    auto digest = Digest::Create(DefaultParameterSet(ParameterKind::Digest));
    digest->Add(content.first(content.size() - 1));
    digest->Add(Bytes{static_cast<std::uint8_t>(content.back() ^ flipped)});
    return Verify(signer.Set(), signer.Public(), digest->Value(), As<Signature>(bits.subspan(1)));
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
    const CertificateRequest table[] = {
        {L"CN=Root", L"", key, from, to, {}, {}, true},
        {L"CN=Иванов, O=Test", L"CN=Root", key, from, to, UsagePeriod{from, to}, {1, 2, 0x83}, false}};
    for (const CertificateRequest& request : table) {
        const Bytes der = IssueCertificate(request, *signer);
        const auto* certificate = CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), DWORD(der.size()));
        ASSERT_TRUE(certificate && IsSigned(der, *signer, 0) && !IsSigned(der, *signer, 1));
        const CERT_INFO& info = *certificate->pCertInfo;
        EXPECT_EQ(NameOf(certificate, 0) + NameOf(certificate, CERT_NAME_ISSUER_FLAG), request.subject + L"CN=Root");
        EXPECT_EQ(CompareFileTime(&info.NotBefore, &from) | CompareFileTime(&info.NotAfter, &to), 0);
        EXPECT_TRUE(std::equal(request.serial.begin(), request.serial.end(), info.SerialNumber.pbData));
        EXPECT_TRUE(std::equal(kKey.begin(), kKey.end(), info.SubjectPublicKeyInfo.PublicKey.pbData));
        EXPECT_EQ(CertFindExtension("2.5.29.16", info.cExtension, info.rgExtension) != nullptr, !request.authority);
        EXPECT_EQ(CertFindExtension("2.5.29.19", info.cExtension, info.rgExtension) != nullptr, request.authority);
        CertFreeCertificateContext(certificate);
    }
    EXPECT_TRUE(IssueCertificate({L"nonsense", L"", key, from, to, {}, {}, false}, *signer).empty());
}

// With `less` bytes less of room than needed. Nothing is written behind the room.
DWORD Decode(const char* type, const Bytes& der, Bytes& room, DWORD less = 0) {
    DWORD size = 0;
    const auto decode = [&](BYTE* to) {
        constexpr DWORD kEncoding = PKCS_7_ASN_ENCODING | X509_ASN_ENCODING;
        return CryptDecodeObject(kEncoding, type, der.data(), DWORD(der.size()), 0, to, &size) ? 0 : GetLastError();
    };
    if (const DWORD error = decode(nullptr)) return error;
    room.assign(size + 1, 0xCC);
    size -= less;
    const DWORD error = decode(room.data());
    EXPECT_TRUE(size + 1 == room.size() && room[size - less] == 0xCC);
    return error;
}

TEST(SoftcspDecoders, AnswerTheSystemByItsRules) {
    constexpr char kMany[] = "1.2.643.2.2.37.3.1";
    const std::string time = "0f32303135303831363134313832305a";  // 2015-08-16 14:18:20
    constexpr FILETIME kTime{0x66E31E00, 0x01D0D82E};
    Bytes room, period = Hex("302280" + time + "81" + time), sequence = Hex("3009300330010030020500");
    for (const auto& [der, tag] : {std::pair(period, 0), {Hex("301180" + time), 0x80}, {Hex("301181" + time), 0x81}}) {
        ASSERT_EQ(Decode(KVCRYPT_USAGE_PERIOD, der, room), 0u);
        const auto [from, to] = As<KVCRYPT_USAGE_PERIOD_INFO>(room);
        EXPECT_TRUE((from == nullptr) == (tag == 0x81) && (to == nullptr) == (tag == 0x80));
        for (const FILETIME* each : {from, to}) EXPECT_TRUE(!each || CompareFileTime(each, &kTime) == 0);
    }
    for (const char* type : {kMany, "1.2.643.2.2.37.3.2", "1.2.643.2.2.37.3.3"}) {
        ASSERT_EQ(Decode(type, sequence, room), 0u) << type;
        const auto& many = As<CRYPT_SEQUENCE_OF_ANY>(room);
        EXPECT_TRUE(many.cValue == 2 && Bytes(many.rgValue[1].pbData, many.rgValue[1].pbData + 4) == Hex("30020500"));
    }
    for (const auto& [type, der] : {std::pair(KVCRYPT_USAGE_PERIOD, period), {kMany, sequence}}) {
        EXPECT_EQ(Decode(type, der, room, 1), DWORD{ERROR_MORE_DATA});
        for (std::size_t i = 0; i < der.size(); ++i) {  // what the certificates hold isn't looked at
            Bytes wrong = der;
            wrong[i] = 0xFF;
            EXPECT_EQ(Decode(type, wrong, room) != 0, type != kMany || i < 4 || i == 7 || i == 8) << i;
            wrong.resize(i);
            EXPECT_EQ(Decode(type, wrong, room), DWORD(CRYPT_E_ASN1_CORRUPT)) << i;
        }
    }
}

}  // namespace
