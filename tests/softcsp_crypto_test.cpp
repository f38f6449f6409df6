// The provider's cryptography and encodings, against the examples of the standards' RFCs (5831, 5832, 4490, 4491), and
// what the system makes of certificate extensions by the decoders that the provider registered.

#include <new>

#include "softcsp/crypto/Cipher.h"
#include "softcsp/crypto/KeyPair.h"
#include "softcsp/encoding/Der.h"
#include "softcsp/encoding/KeyEncoding.h"
#include "softcsp/kvcrypt.h"

namespace {

using namespace softcsp;

Bytes HexBytes(const std::string& text) {
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    return bytes;
}
template <std::size_t Size>
std::array<std::uint8_t, Size> Hex(const std::string& text) {
    std::array<std::uint8_t, Size> bytes{};
    std::ranges::copy(HexBytes(text), bytes.begin());
    return bytes;
}

// A number as the standards print it, its lowest byte first.
std::array<std::uint8_t, 32> Swap(const std::string& text) {
    auto bytes = Hex<32>(text);
    std::ranges::reverse(bytes);
    return bytes;
}

PublicKey Join(const std::string& x, const std::string& y) {
    PublicKey key;
    std::ranges::copy(Swap(y), std::ranges::copy(Swap(x), key.begin()).out);
    return key;
}

const ParameterSet& kExample = *FindParameterSet(ParameterKind::Signature, "1.2.643.2.2.35.0");
const ParameterSet& kExchange = *FindParameterSet(ParameterKind::Exchange, "1.2.643.2.2.36.0");

TEST(SoftcspDigest, GivesThePublishedValuesHoweverTheDataIsCut) {
    const struct {
        const std::string set, data, value;
    } cases[] = {
        {"1.2.643.2.2.30.0", "This is message, length=32 bytes",
         "b1c466d37519b82e8319819ff32595e047a28cb6f83eff1c6916a815a637fffa"},
        {"1.2.643.2.2.30.1", "The quick brown fox jumps over the lazy dog",
         "9004294a361a508c586fe53d1f1b02746765e71b765472786e4770d565830a76"},
    };
    for (const auto& c : cases) {
        const ByteView data(reinterpret_cast<const std::uint8_t*>(c.data.data()), c.data.size());
        Digest begun = Digest::Create(*FindParameterSet(ParameterKind::Digest, c.set)).value();
        begun.Add(data.first(7));
        Digest copy = begun.Copy().value();
        copy.Add(data.subspan(7));
        EXPECT_EQ(copy.Value(), Hex<32>(c.value)) << c.data;
        Digest ended = copy.Copy().value();
        ended.Add(data);
        EXPECT_EQ(ended.Value(), Hex<32>(c.value)) << c.data << ", ended";
    }
    EXPECT_FALSE(Digest::Create(kExchange));
}

TEST(SoftcspSignature, OfThePublishedExampleVerifiesAndNoOther) {
    const PrivateKey key(Swap("7a929ade789bb9be10ed359dd39a72c11b60961f49397eee1d19ce9891ec3b28"));
    const std::string y = "26f1b489d6701dd185c8413a977b3cbbaf64d1c593d26627dffb101a87ff77da";
    const PublicKey point = Join("7f2b49e270db6d90d8595bec458b50c58585ba1d4e9b788f6689dbd8e56fd80b", y);
    const DigestValue digest = Swap("2dfbc1b372d89a1188c09c52e0eec61fce52032ab1022e8e67ece6672b043ee5");
    const auto signature = Hex<64>(
        "01456c64ba4642a1653c235a98a60249bcd6d3f746b631df928014f6c5bf9c40"
        "41aa28d2f1ab148280cd9ed56feda41974053554a42767b83ad043fd39dc0493");
    const KeyPair pair = KeyPair::FromPrivate(kExample, key).value();
    EXPECT_EQ(pair.Public(), point);
    EXPECT_TRUE(Verify(kExample, point, digest, signature));
    EXPECT_TRUE(Verify(kExample, point, digest, pair.Sign(digest)));
    EXPECT_FALSE(Verify(kExchange, point, digest, signature));
    // The same point, its X with the field's prime added.
    EXPECT_FALSE(IsPublicKey(kExample, Join("ff2b49e270db6d90d8595bec458b50c58585ba1d4e9b788f6689dbd8e56fdc3c", y)));
    for (const std::size_t at : {0u, 63u}) {
        Signature wrong = signature;
        PublicKey nowhere = point;
        wrong[at] ^= 1;
        nowhere[at] ^= 1;
        EXPECT_FALSE(Verify(kExample, point, digest, wrong)) << at;
        EXPECT_FALSE(Agree(pair, nowhere, {7})) << at;
    }
    auto order = Swap("8000000000000000000000000000000150fe8a1892976154c59cfc193accf5b3");
    EXPECT_FALSE(KeyPair::FromPrivate(kExample, PrivateKey(order)));
    EXPECT_FALSE(KeyPair::FromPrivate(kExample, PrivateKey()));
    --order[0];
    EXPECT_TRUE(KeyPair::FromPrivate(kExample, PrivateKey(order)));
}

TEST(SoftcspKeyWrap, OpensThePublishedMessagesAndNoOther) {
    const auto recipient = KeyPair::FromPrivate(
        kExchange, PrivateKey(Swap("0b293be050d0082bdae785631a6bab68f35b42786d6dda56afaf169891040f77")));
    EXPECT_EQ(recipient.value().Public(), Join("577e324fe70f2b6df45c437a0305e5fd2c89318c13cd0875401a026075689584",
                                               "601aeacabc660fdfb0cbc7567ebba6ea8de40fae857c9ad0038895b916cceb8f"));
    const struct {
        Wrapping wrapping;
        const char *sender, *material, *encrypted, *mac;  // the sender's ephemeral key; the content's key
    } cases[] = {
        {Wrapping::Plain,
         "b35539f46781972ba5c4d9841f27fb81ed0832e69ad4f20078b8ff8364ead21d"
         "b0783c7dfe03c1f406e43bcc16b9c5f6f619371c17b8a0aac7d1a194b3a53620",
         "2ff0f6d1864b328a", "16a31ce7ce4ee90df1ec746904681ec79f3aedb83b1f1d4a7ef9a5d9cb19d5e8", "93fd867e"},
        {Wrapping::Diversified,
         "4d2b2f3390e6dca3dd552acddfe0effb31f7737e4effbf78898a2bc3cd319404"
         "4b0e6048961fdbc75d126fdab2408a77b5bdeaf2ec34cb239f9b8bdd9e12c0f6",
         "9795e32c2bad2b0c", "6a2fa8210695689f9fe447aa9ecb61152b7e4160bc5d8dfbf53d281b189af975", "366d98b7"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.material);
        const KeyingMaterial material = Hex<8>(c.material);
        const WrappedKey wrapped{Hex<32>(c.encrypted), Hex<4>(c.mac)};
        const auto by = Agree(*recipient, Hex<64>(c.sender), material);
        const auto key = UnwrapKey(c.wrapping, by.value(), material, wrapped);
        const auto again = WrapKey(c.wrapping, *by, material, key.value());
        EXPECT_EQ(again, wrapped);
        WrappedKey wrong = wrapped;
        wrong.mac[0] ^= 0x80;
        EXPECT_FALSE(UnwrapKey(c.wrapping, *by, material, wrong));
        EXPECT_FALSE(UnwrapKey(c.wrapping, *by, {1}, wrapped));
    }
}

TEST(SoftcspSecrets, AreRandomQuietAndWiped) {
    testing::internal::CaptureStderr();
    std::array<std::uint8_t, 32> one{}, two{};
    FillRandom(one);
    FillRandom(two, Randomness::LastingKey);
    EXPECT_NE(one, two);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    alignas(Secret<32>) std::uint8_t place[sizeof(Secret<32>)];
    (new (place) Secret<32>(one))->~Secret();
    EXPECT_TRUE(std::ranges::all_of(place, [](std::uint8_t byte) { return byte == 0; }));
}

// Of the published example certificate (RFC 4491, 4.2).
TEST(SoftcspPublicKey, OfThePublishedCertificateIsReadAndWritten) {
    const std::string curve = "06072a850302022400", hash = "06072a850302021e01", cipher = "06072a850302021f01";
    const Bytes parameters = HexBytes("3012" + curve + hash);
    const Bytes key = HexBytes(
        "04408495687560021a407508cd138c31892cfde505037a435cf46d2b0fe74f327e57"
        "8febcc16b9958803d09a7c85ae0fe48deaa6bb7e56c7cbb0df0f66bccaea1a60");
    const PublicKeyData read = DecodePublicKey(parameters, key).value();
    EXPECT_EQ(EncodeKeyParameters(read), parameters);
    EXPECT_EQ(EncodePublicKey(read), key);
    EXPECT_TRUE(DecodePublicKey(HexBytes("301b" + curve + hash + cipher), key)) << "with a cipher's set";
    EXPECT_FALSE(DecodePublicKey(HexBytes("3012" + hash + curve), key)) << "in another order";
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
    for (const auto& [what, type, der, result] : cases) EXPECT_EQ(Decode(type, HexBytes(der)), result) << what;
}

}  // namespace
