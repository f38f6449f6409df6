// Keys, signatures and their ways between contexts, through the system's own interfaces.
#include "softcsp/kvcsp/ProviderInterface.h"
#include "tests/support/Provider.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

constexpr ALG_ID kHash = 0x801E, kCipher = 0x661E, kWrap = 0x661F, kEphemeral = 0xAA25;
constexpr BYTE kText[] = "Hello, world";

UniqueCryptKey Generate(HCRYPTPROV provider, ALG_ID algorithm, DWORD flags = 0) {
    UniqueCryptKey key;
    EXPECT_EQ(ErrorOf(CryptGenKey(provider, algorithm, flags, key.put())), 0) << std::hex << algorithm;
    return key;
}

UniqueCryptKey Import(HCRYPTPROV provider, const TestBytes& blob, HCRYPTKEY by = 0, DWORD flags = 0) {
    UniqueCryptKey key;
    EXPECT_EQ(ErrorOf(CryptImportKey(provider, blob.data(), static_cast<DWORD>(blob.size()), by, flags, key.put())), 0);
    return key;
}

UniqueCryptHash HashOf(HCRYPTPROV provider, const void* data, std::size_t size) {
    UniqueCryptHash hash;
    EXPECT_EQ(ErrorOf(CryptCreateHash(provider, kHash, 0, 0, hash.put())), 0);
    EXPECT_EQ(ErrorOf(CryptHashData(hash.get(), static_cast<const BYTE*>(data), static_cast<DWORD>(size), 0)), 0);
    return hash;
}

TestBytes Encrypted(HCRYPTKEY key, TestBytes data) {
    auto size = static_cast<DWORD>(data.size());
    EXPECT_EQ(ErrorOf(CryptEncrypt(key, 0, TRUE, 0, data.data(), &size, size)), 0);
    return data;
}

// Moves a session key as programs do that let no key out in the clear: both sides agree on a key from ephemeral ones.
UniqueCryptKey Transfer(HCRYPTPROV from, HCRYPTPROV to, HCRYPTKEY session) {
    const UniqueCryptKey mine = Generate(from, kEphemeral, CRYPT_EXPORTABLE);
    const UniqueCryptKey yours = Generate(to, kEphemeral, CRYPT_EXPORTABLE | CRYPT_PREGEN);
    EXPECT_TRUE(ExportedKey(yours.get(), PUBLICKEYBLOB).empty());  // it isn't complete
    for (const DWORD set : {103, 106}) {
        const TestBytes value = KeyParameter(mine.get(), set);
        EXPECT_EQ(ErrorOf(CryptSetKeyParam(yours.get(), set, value.data(), 0)), 0);
    }
    const CRYPT_DATA_BLOB nothing{};  // a null pointer, too, but Wine lets none through
    EXPECT_EQ(ErrorOf(CryptSetKeyParam(yours.get(), KP_X, reinterpret_cast<const BYTE*>(&nothing), 0)), 0);
    UniqueCryptKey sending = Import(from, ExportedKey(yours.get(), PUBLICKEYBLOB), mine.get(), CRYPT_EXPORTABLE);
    UniqueCryptKey receiving = Import(to, ExportedKey(mine.get(), PUBLICKEYBLOB), yours.get(), CRYPT_EXPORTABLE);
    const TestBytes probe(kText, kText + sizeof kText);
    DWORD size = sizeof kText;
    TestBytes refused = probe;
    EXPECT_EQ(ErrorOf(CryptEncrypt(sending.get(), 0, TRUE, 0, refused.data(), &size, size)), NTE_BAD_KEY_STATE);
    for (const HCRYPTKEY key : {sending.get(), receiving.get()}) CryptSetKeyParam(key, KP_IV, kText, 0);
    EXPECT_EQ(Encrypted(sending.get(), probe), Encrypted(receiving.get(), probe));
    for (const HCRYPTKEY key : {sending.get(), receiving.get(), session})
        EXPECT_EQ(ErrorOf(CryptSetKeyParam(key, KP_ALGID, reinterpret_cast<const BYTE*>(&kWrap), 0)), 0);
    const TestBytes blob = ExportedKey(session, SIMPLEBLOB, sending.get());
    for (std::size_t at = 0; at < blob.size(); ++at) {  // whatever is changed on the way is noticed
        TestBytes broken = blob;
        broken[at] ^= 4;
        HCRYPTKEY key = 0;
        if (at == 2 || at == 3) continue;  // reserved in the header: nobody reads them
        EXPECT_FALSE(CryptImportKey(to, broken.data(), static_cast<DWORD>(broken.size()), receiving.get(), 0, &key))
            << at;
    }
    return Import(to, blob, receiving.get(), CRYPT_EXPORTABLE);
}

TEST(SoftcspKeys, SignAgreeAndMoveBetweenContainers) {
    const LoadedProvider held;
    TestContainer source(L"Ключи: источник"), target(L"keys target", 71);
    ASSERT_TRUE(source.Made() && target.Made()) << std::hex << GetLastError();
    const UniqueCryptKey session = Generate(source.Get(), kCipher, CRYPT_EXPORTABLE);
    const UniqueCryptKey moved = Transfer(source.Get(), target.Get(), session.get());
    const TestBytes probe(kText, kText + sizeof kText);
    EXPECT_EQ(Encrypted(session.get(), probe), Encrypted(moved.get(), probe));
    for (const DWORD spec : {AT_KEYEXCHANGE, AT_SIGNATURE}) {
        const UniqueCryptKey made = Generate(source.Get(), spec, CRYPT_EXPORTABLE);
        const TestBytes publicBlob = ExportedKey(made.get(), PUBLICKEYBLOB);
        const UniqueCryptKey copy =
            Import(target.Get(), ExportedKey(made.get(), PRIVATEKEYBLOB, session.get()), moved.get(), CRYPT_EXPORTABLE);
        EXPECT_EQ(ExportedKey(copy.get(), PUBLICKEYBLOB), publicBlob);
        // Signed with the copy in a context of its own; verified with the public key alone.
        CCryptProvContext opened, verifying;
        ASSERT_TRUE(opened.Acquire(CRYPT_SILENT, target.Name(), nullptr, 71));
        ASSERT_TRUE(verifying.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, 75));
        BYTE signature[64];
        DWORD size = sizeof signature;
        const UniqueCryptHash signedHash = HashOf(opened.Get(), kText, sizeof kText);
        ASSERT_EQ(ErrorOf(CryptSignHashW(signedHash.get(), spec, nullptr, 0, signature, &size)), 0);
        const UniqueCryptKey publicKey = Import(verifying.Get(), publicBlob);
        for (const int change : {0, 1}) {
            const UniqueCryptHash hash = HashOf(verifying.Get(), kText, sizeof kText - static_cast<unsigned>(change));
            EXPECT_EQ(ErrorOf(CryptVerifySignatureW(hash.get(), signature, size, publicKey.get(), nullptr, 0)),
                      change ? NTE_BAD_SIGNATURE : 0);
        }
    }
}

TEST(SoftcspKeys, EncryptPieceByPieceAsInOneGo) {
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, 75));
    UniqueCryptHash password = HashOf(context.Get(), "key", 3);
    UniqueCryptKey key, other;
    ASSERT_EQ(ErrorOf(CryptDeriveKey(context.Get(), kCipher, password.get(), 0, key.put())), 0);
    const BYTE start[8] = {1, 2, 3};
    ASSERT_EQ(ErrorOf(CryptSetKeyParam(key.get(), KP_IV, start, 0)), 0);
    ASSERT_EQ(ErrorOf(CryptDuplicateKey(key.get(), nullptr, 0, other.put())), 0);
    TestBytes clear(3000);  // beyond the kilobyte after which the key changes
    for (std::size_t i = 0; i < clear.size(); ++i) clear[i] = static_cast<BYTE>(i * 7);
    const TestBytes whole = Encrypted(key.get(), clear);
    EXPECT_NE(whole, clear);
    TestBytes pieces = clear;
    DWORD first = 1600, rest = 1400;
    ASSERT_EQ(ErrorOf(CryptEncrypt(other.get(), 0, FALSE, 0, pieces.data(), &first, first)), 0);
    // A duplicate continues the stream where it is.
    UniqueCryptKey continued;
    ASSERT_EQ(ErrorOf(CryptDuplicateKey(other.get(), nullptr, 0, continued.put())), 0);
    TestBytes duplicated(pieces);
    ASSERT_EQ(ErrorOf(CryptEncrypt(continued.get(), 0, TRUE, 0, duplicated.data() + first, &rest, rest)), 0);
    EXPECT_EQ(duplicated, whole);
    ASSERT_EQ(ErrorOf(CryptEncrypt(other.get(), 0, TRUE, 0, pieces.data() + first, &rest, rest)), 0);
    EXPECT_EQ(pieces, whole);
    auto size = static_cast<DWORD>(pieces.size());
    ASSERT_EQ(ErrorOf(CryptDecrypt(other.get(), 0, TRUE, 0, pieces.data(), &size)), 0);
    EXPECT_EQ(pieces, clear);
}

TEST(SoftcspKeys, AreGeneratedWithoutAContainerForTheTimeOfTheContext) {
    const LoadedProvider held;
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, 75));
    const UniqueCryptHash hash = HashOf(context.Get(), kText, sizeof kText);
    BYTE signature[64];
    for (const DWORD spec : {AT_KEYEXCHANGE, AT_SIGNATURE}) {
        DWORD size = sizeof signature;
        UniqueCryptKey found;
        EXPECT_EQ(ErrorOf(CryptGetUserKey(context.Get(), spec, found.put())), NTE_NO_KEY);
        const UniqueCryptKey made = Generate(context.Get(), spec);
        ASSERT_EQ(ErrorOf(CryptGetUserKey(context.Get(), spec, found.put())), 0);
        EXPECT_EQ(ExportedKey(found.get(), PUBLICKEYBLOB), ExportedKey(made.get(), PUBLICKEYBLOB));
        ASSERT_EQ(ErrorOf(CryptSignHashW(hash.get(), spec, nullptr, 0, signature, &size)), 0);
        EXPECT_EQ(ErrorOf(CryptVerifySignatureW(hash.get(), signature, size, made.get(), nullptr, 0)), 0);
    }
}

// The provider's own functions: the system would refuse a handle of another context itself.
TEST(SoftcspKeys, OfOneContextAreNotAcceptedByAnother) {
    const LoadedProvider held;
    const auto find = [&](const char* name) { return reinterpret_cast<void*>(GetProcAddress(held.Get(), name)); };
    const auto acquire =
        reinterpret_cast<BOOL(WINAPI*)(HCRYPTPROV*, LPSTR, DWORD, softcsp::ProviderTable*)>(find("CPAcquireContext"));
    const auto generate = reinterpret_cast<BOOL(WINAPI*)(HCRYPTPROV, ALG_ID, DWORD, HCRYPTKEY*)>(find("CPGenKey"));
    const auto getParameter =
        reinterpret_cast<BOOL(WINAPI*)(HCRYPTPROV, HCRYPTKEY, DWORD, BYTE*, DWORD*, DWORD)>(find("CPGetKeyParam"));
    const auto release = reinterpret_cast<BOOL(WINAPI*)(HCRYPTPROV, DWORD)>(find("CPReleaseContext"));
    softcsp::ProviderTable table{3, nullptr, nullptr, 75, nullptr, 0, nullptr};
    HCRYPTPROV one = 0, two = 0;
    HCRYPTKEY ofOne = 0, ofTwo = 0;
    ASSERT_TRUE(acquire(&one, nullptr, CRYPT_VERIFYCONTEXT, &table) &&
                acquire(&two, nullptr, CRYPT_VERIFYCONTEXT, &table));
    ASSERT_TRUE(generate(one, kCipher, 0, &ofOne) && generate(two, kCipher, 0, &ofTwo));
    DWORD size = 0;
    EXPECT_EQ(ErrorOf(getParameter(one, ofOne, KP_ALGID, nullptr, &size, 0)), 0);
    EXPECT_EQ(ErrorOf(getParameter(one, ofTwo, KP_ALGID, nullptr, &size, 0)), NTE_BAD_KEY);
    EXPECT_TRUE(release(one, 0) && release(two, 0));
}

TEST(SoftcspKeys, FailWithTheCodesThatAreDocumented) {
    const LoadedProvider held;
    TestContainer container(L"key errors");
    ASSERT_TRUE(container.Made());
    const HCRYPTPROV provider = container.Get();
    HCRYPTKEY key = 0;
    HCRYPTHASH none = 0;
    DWORD size = 0, word = 0, one = 1;
    const UniqueCryptKey exchange = Generate(provider, AT_KEYEXCHANGE), session = Generate(provider, kCipher);
    const UniqueCryptHash hash = HashOf(provider, kText, sizeof kText);
    TestBytes point = ExportedKey(exchange.get(), PUBLICKEYBLOB), noise(200, PRIVATEKEYBLOB), value(32);
    point.back() ^= 1;  // no point of the curve any more
    const auto bytes = [](const void* data) { return static_cast<const BYTE*>(data); };
    DWORD hashed = 5, whole = 32;
    const struct {
        const char* what;
        BOOL done;
        DWORD error;  // read before the next call
        HRESULT expected;
    } table[] = {
#define ROW(call, code) {#call, call, GetLastError(), static_cast<HRESULT>(code)}
        ROW(CryptGetUserKey(provider, AT_SIGNATURE, &key), NTE_NO_KEY),
        ROW(CryptGetUserKey(provider, 3, &key), NTE_BAD_KEY),
        ROW(CryptGenKey(provider, CALG_RC4, 0, &key), NTE_BAD_ALGID),
        ROW(CryptGenKey(provider, kCipher, CRYPT_SERVER, &key), NTE_BAD_FLAGS),
        ROW(CryptGenKey(provider, AT_KEYEXCHANGE, 0, &key), NTE_EXISTS),
        ROW(CryptGenKey(provider, AT_SIGNATURE, 1024 << 16, &key), NTE_BAD_LEN),
        ROW(CryptGenKey(provider, AT_SIGNATURE, CRYPT_USER_PROTECTED, &key), NTE_BAD_FLAGS),
        ROW(CryptImportKey(provider, point.data(), 10, 0, CRYPT_USER_PROTECTED, &key), NTE_BAD_FLAGS),
        ROW(CryptExportKey(exchange.get(), session.get(), PRIVATEKEYBLOB, 0, nullptr, &size), NTE_BAD_KEY_STATE),
        ROW(CryptExportKey(exchange.get(), 0, PRIVATEKEYBLOB, 0, nullptr, &size), NTE_BAD_KEY),
        ROW(CryptExportKey(exchange.get(), 0, OPAQUEKEYBLOB, 0, nullptr, &size), NTE_BAD_TYPE),
        ROW(CryptGetKeyParam(exchange.get(), KP_CERTIFICATE, nullptr, &size, 0), NTE_NOT_FOUND),
        ROW(CryptGetKeyParam(exchange.get(), KP_ALGID, nullptr, &size, 1), NTE_BAD_FLAGS),
        ROW(CryptGetKeyParam(exchange.get(), KP_ALGID, reinterpret_cast<BYTE*>(&word), &one, 0), ERROR_MORE_DATA),
        ROW(CryptSetKeyParam(exchange.get(), 106, bytes("1.2.3"), 0), NTE_BAD_KEY_STATE),
        ROW(CryptSetKeyParam(exchange.get(), KP_CERTIFICATE, bytes("no"), 0), NTE_BAD_DATA),
        ROW(CryptSetProvParam(provider, 92, bytes("1.2.643.2.2.30.0"), 0), NTE_BAD_DATA),  // for examples only
        ROW(CryptImportKey(provider, noise.data(), 200, session.get(), 0, &key), NTE_BAD_DATA),
        ROW(CryptImportKey(provider, point.data(), static_cast<DWORD>(point.size()), 0, 0, &key), NTE_BAD_PUBLIC_KEY),
        ROW(CryptCreateHash(provider, CALG_SHA1, 0, 0, &none), NTE_BAD_ALGID),
        ROW(CryptHashData(hash.get(), kText, 1, CRYPT_USERDATA), NTE_BAD_LEN),
        ROW(CryptHashData(hash.get(), nullptr, 0, CRYPT_USERDATA), NTE_BAD_FLAGS),
        ROW(CryptSignHashW(hash.get(), AT_SIGNATURE, nullptr, 0, nullptr, &size), NTE_NO_KEY),
        ROW(CryptGetHashParam(hash.get(), HP_HASHVAL, value.data(), &hashed, 0), ERROR_MORE_DATA),
        ROW(CryptHashData(hash.get(), kText, 1, 0), 0),  // a query for the size does not finish the hash
        ROW(CryptGetHashParam(hash.get(), HP_HASHVAL, value.data(), &whole, 0), 0),
        ROW(CryptHashData(hash.get(), kText, 1, 0), NTE_BAD_HASH_STATE),
        ROW(CryptSetHashParam(hash.get(), HP_HASHVAL, value.data(), 0), NTE_BAD_HASH_STATE),
#undef ROW
    };
    for (const auto& row : table) EXPECT_EQ(row.done ? 0 : static_cast<HRESULT>(row.error), row.expected) << row.what;
    EXPECT_EQ(one, sizeof word) << "the size needed";
    EXPECT_EQ(hashed, 32u) << "the size needed";
}

TEST(SoftcspKeys, ServeTheSystemsCertificates) {
    const LoadedProvider held;
    TestContainer container(L"Сертификаты системы");
    ASSERT_TRUE(container.Made());
    const UniqueCryptKey key = Generate(container.Get(), AT_SIGNATURE);
    BYTE name[64];
    CERT_NAME_BLOB subject{sizeof name, name};
    ASSERT_TRUE(
        CertStrToNameW(X509_ASN_ENCODING, L"CN=Self", CERT_X500_NAME_STR, nullptr, name, &subject.cbData, nullptr));
    wchar_t containerName[] = L"Сертификаты системы", provider[] = L"Kelvane GOST R 34.10-2001 KC1 CSP";
    CRYPT_KEY_PROV_INFO link{containerName, provider, 75, 0, 0, nullptr, AT_SIGNATURE};
    char identifier[] = "1.2.643.2.2.3";
    CRYPT_ALGORITHM_IDENTIFIER algorithm{identifier, {}};
    const UniqueCertificate certificate(
        CertCreateSelfSignCertificate(container.Get(), &subject, 0, &link, &algorithm, nullptr, nullptr, nullptr));
    ASSERT_TRUE(certificate) << std::hex << GetLastError();
    auto& info = *certificate.get()->pCertInfo;
    EXPECT_STREQ(info.SubjectPublicKeyInfo.Algorithm.pszObjId, "1.2.643.2.2.19");
    TestBytes encoded(certificate.get()->pbCertEncoded,
                      certificate.get()->pbCertEncoded + certificate.get()->cbCertEncoded);
    for (const HCRYPTPROV with : {container.Get(), HCRYPTPROV{0}})
        EXPECT_EQ(
            ErrorOf(CryptVerifyCertificateSignature(with, kCertificateEncoding, encoded.data(),
                                                    static_cast<DWORD>(encoded.size()), &info.SubjectPublicKeyInfo)),
            0);
    encoded.back() ^= 1;
    EXPECT_NE(ErrorOf(CryptVerifyCertificateSignature(container.Get(), kCertificateEncoding, encoded.data(),
                                                      static_cast<DWORD>(encoded.size()), &info.SubjectPublicKeyInfo)),
              0);
    // Written into the container and read by another opening; the system finds the key by the certificate's link.
    ASSERT_EQ(ErrorOf(CryptSetKeyParam(key.get(), KP_CERTIFICATE, certificate.get()->pbCertEncoded, 0)), 0);
    CCryptProvContext again;
    ASSERT_TRUE(again.Acquire(CRYPT_SILENT, container.Name(), nullptr, 75));
    UniqueCryptKey opened;
    ASSERT_TRUE(CryptGetUserKey(again.Get(), AT_SIGNATURE, opened.put()));
    encoded.back() ^= 1;
    EXPECT_EQ(KeyParameter(opened.get(), KP_CERTIFICATE), encoded);
    HCRYPTPROV found = 0;
    DWORD spec = 0;
    BOOL release = FALSE;
    ASSERT_EQ(ErrorOf(CryptAcquireCertificatePrivateKey(certificate.get(), CRYPT_ACQUIRE_COMPARE_KEY_FLAG, nullptr,
                                                        &found, &spec, &release)),
              0);
    EXPECT_EQ(spec, DWORD{AT_SIGNATURE});
    if (release) CryptReleaseContext(found, 0);
}

}  // namespace
