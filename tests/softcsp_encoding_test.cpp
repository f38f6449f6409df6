// A published key, and what the system makes of certificate extensions by the decoders that the provider registered.

#include "softcsp/encoding/Der.h"
#include "softcsp/encoding/KeyEncoding.h"
#include "softcsp/kvcrypt.h"

namespace {

using namespace softcsp;

Bytes Hex(const std::string& text) {
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    return bytes;
}

// Of the published example certificate (RFC 4491, 4.2).
TEST(SoftcspPublicKey, OfThePublishedCertificateIsReadAndWritten) {
    const std::string curve = "06072a850302022400", hash = "06072a850302021e01", cipher = "06072a850302021f01";
    const Bytes parameters = Hex("3012" + curve + hash);
    const Bytes key =
        Hex("04408495687560021a407508cd138c31892cfde505037a435cf46d2b0fe74f327e57"
            "8febcc16b9958803d09a7c85ae0fe48deaa6bb7e56c7cbb0df0f66bccaea1a60");
    const PublicKeyData read = DecodePublicKey(parameters, key).value();
    EXPECT_EQ(EncodeKeyParameters(read), parameters);
    EXPECT_EQ(EncodePublicKey(read), key);
    EXPECT_TRUE(DecodePublicKey(Hex("301b" + curve + hash + cipher), key)) << "with a cipher's set";
    EXPECT_FALSE(DecodePublicKey(Hex("3012" + hash + curve), key)) << "in another order";
}

// The result of the system's decoding into a buffer of the size needed. Nothing is written behind it.
DWORD Decode(const char* type, const Bytes& der) {
    DWORD size = 0;
    const auto decode = [&](BYTE* to) {
        constexpr DWORD kEncoding = PKCS_7_ASN_ENCODING | X509_ASN_ENCODING;
        return CryptDecodeObject(kEncoding, type, der.data(), DWORD(der.size()), 0, to, &size) ? 0 : GetLastError();
    };
    if (const DWORD error = decode(nullptr)) return error;
    Bytes buffer(size + 1, 0xCC);
    --size;
    EXPECT_EQ(decode(buffer.data()), DWORD{ERROR_MORE_DATA});
    EXPECT_EQ(decode(buffer.data()), 0u);
    EXPECT_EQ(buffer[size], 0xCC) << "behind the buffer";
    return ERROR_SUCCESS;
}

TEST(SoftcspDecoders, AnswerTheSystemByItsRules) {
    constexpr char kMany[] = "1.2.643.2.2.37.3.1";
    const std::string time = "0f32303135303831363134313832305a";  // 2015-08-16 14:18:20
    constexpr auto kCorrupt = static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
    const struct {
        const char *what, *type;
        std::string der;
        DWORD result = kCorrupt;
    } cases[] = {
        {"both times", KVCRYPT_USAGE_PERIOD, "302280" + time + "81" + time, 0},
        {"the second time", KVCRYPT_USAGE_PERIOD, "301181" + time, 0},
        {"no time", KVCRYPT_USAGE_PERIOD, "3000"},
        {"another character", KVCRYPT_USAGE_PERIOD, "3011800f32303135303831363134313832785a"},
        {"a cut time", KVCRYPT_USAGE_PERIOD, "301180" + time.substr(0, 30)},
        {"three times", KVCRYPT_USAGE_PERIOD, "303380" + time + "81" + time + "81" + time},
        {"a sequence", kMany, "3009300330010030020500", 0},
        {"a sequence with another type", kMany, "300430000500"},
        {"bytes behind a sequence", kMany, "3002300000"},
    };
    for (const auto& [what, type, der, result] : cases) EXPECT_EQ(Decode(type, Hex(der)), result) << what;
}

}  // namespace
