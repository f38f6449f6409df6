// Keys, hashes and settings through the system's own interfaces.
#include "tests/support/SoftProvider.h"

namespace {

using namespace softcsp;

constexpr ALG_ID kEphemeral = 0xAA25;
constexpr BYTE kText[] = "Hello, world";

UniqueCryptKey Generate(HCRYPTPROV provider, ALG_ID algorithm, DWORD flags = 0) {
    UniqueCryptKey key;
    EXPECT_EQ(ErrorOf(CryptGenKey(provider, algorithm, flags, key.put())), 0) << std::hex << algorithm;
    return key;
}

// From `at` on.
Bytes Encrypted(HCRYPTKEY key, Bytes data, std::size_t at = 0) {
    auto size = static_cast<DWORD>(data.size() - at);
    EXPECT_EQ(ErrorOf(CryptEncrypt(key, 0, TRUE, 0, data.data() + at, &size, size)), 0);
    return data;
}

TEST(SoftcspKeys, EncryptPieceByPieceAsInOneGo) {
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, 75));
    const UniqueCryptKey key = Generate(context.Get(), kCipher);
    ASSERT_EQ(ErrorOf(CryptSetKeyParam(key.get(), KP_IV, kText, 0)), 0);
    UniqueCryptKey duplicate, continued;
    ASSERT_EQ(ErrorOf(CryptDuplicateKey(key.get(), nullptr, 0, duplicate.put())), 0);
    const Bytes clear(3000, 7);  // beyond the kilobyte after which the key changes
    const Bytes whole = Encrypted(key.get(), clear);
    Bytes begun = clear;
    DWORD first = 1600;
    ASSERT_EQ(ErrorOf(CryptEncrypt(duplicate.get(), 0, FALSE, 0, begun.data(), &first, first)), 0);
    ASSERT_EQ(ErrorOf(CryptDuplicateKey(duplicate.get(), nullptr, 0, continued.put())), 0);
    EXPECT_EQ(Encrypted(continued.get(), begun, first), whole) << "by a duplicate of the begun stream";
    EXPECT_EQ(Encrypted(duplicate.get(), begun, first), whole);
    begun = whole;
    auto size = static_cast<DWORD>(begun.size());
    EXPECT_EQ(ErrorOf(CryptDecrypt(duplicate.get(), 0, TRUE, 0, begun.data(), &size)), 0);
    EXPECT_EQ(begun, clear);
}

TEST(SoftcspKeys, FailWithTheCodesThatAreDocumented) {
    const LoadedProvider held;
    const TestContainer container(L"key errors");
    const HCRYPTPROV provider = container.Get();
    HCRYPTKEY key = 0;
    DWORD size = 0, one = 1, hashed = 5, listed = 5, chosen = 5;
    const UniqueCryptKey exchange = Generate(provider, AT_KEYEXCHANGE), session = Generate(provider, kCipher),
                         incomplete = Generate(provider, kEphemeral, CRYPT_PREGEN);
    UniqueCryptHash hash;
    ASSERT_EQ(ErrorOf(CryptCreateHash(provider, kHash, 0, 0, hash.put())), 0);
    ASSERT_EQ(ErrorOf(CryptHashData(hash.get(), kText, sizeof kText, 0)), 0);
    Bytes point = ReadBytes(KeyBlobQuery(exchange.get(), 0, PUBLICKEYBLOB)).ValueOr({});
    BYTE value[32];
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, 75));
    const UniqueCryptKey foreign = Generate(context.Get(), AT_KEYEXCHANGE);
    UniqueCryptKey agreed;
    EXPECT_TRUE(
        CryptImportKey(provider, point.data(), static_cast<DWORD>(point.size()), exchange.get(), 0, agreed.put()));
    point.back() ^= 1;  // no point of the curve any more
    // Filled in this order; the error of each call is read before the next one.
    const struct {
        const char* call;
        BOOL done;
        DWORD error;
        HRESULT expected;
    } rows[] = {
#define ROW(call, code) {#call, call, GetLastError(), static_cast<HRESULT>(code)}
        ROW(CryptGenKey(provider, AT_KEYEXCHANGE, 0, &key), NTE_EXISTS),
        ROW(CryptGenKey(provider, AT_SIGNATURE, 1024 << 16, &key), NTE_BAD_LEN),
        ROW(CryptGenKey(provider, AT_SIGNATURE, CRYPT_USER_PROTECTED, &key), NTE_BAD_FLAGS),
        ROW(CryptImportKey(provider, point.data(), 10, 0, CRYPT_USER_PROTECTED, &key), NTE_BAD_FLAGS),
        ROW(CryptExportKey(exchange.get(), session.get(), PRIVATEKEYBLOB, 0, nullptr, &size), NTE_BAD_KEY_STATE),
        ROW(CryptExportKey(session.get(), agreed.get(), SIMPLEBLOB, 0, nullptr, &size), NTE_BAD_KEY_STATE),
        ROW(CryptExportKey(incomplete.get(), 0, PUBLICKEYBLOB, 0, nullptr, &size), NTE_BAD_KEY_STATE),
        ROW(CryptEncrypt(agreed.get(), 0, TRUE, 0, nullptr, &size, 0), NTE_BAD_KEY_STATE),  // without an initial value
        ROW(CryptGetKeyParam(exchange.get(), KP_ALGID, value, &one, 0), ERROR_MORE_DATA),
        ROW(CryptSetProvParam(provider, kParamDigestSet, reinterpret_cast<const BYTE*>("1.2.643.2.2.30.0"), 0),
            NTE_BAD_DATA),  // an example's
        ROW(CryptImportKey(provider, point.data(), static_cast<DWORD>(point.size()), 0, 0, &key), NTE_BAD_PUBLIC_KEY),
        ROW(CryptImportKey(provider, point.data(), static_cast<DWORD>(point.size()), foreign.get(), 0, &key),
            NTE_BAD_KEY),
        ROW(CryptGetUserKey(context.Get(), AT_KEYEXCHANGE, &key), 0),  // of a context without a container
        ROW(CryptGetProvParam(provider, PP_ENUMALGS, value, &listed, CRYPT_FIRST), ERROR_MORE_DATA),
        ROW(CryptGetProvParam(provider, kParamChooseContainer, value, &chosen, 0), ERROR_MORE_DATA),  // before a dialog
        ROW(CryptHashData(hash.get(), kText, 1, CRYPT_USERDATA), NTE_BAD_LEN),
        ROW(CryptGetHashParam(hash.get(), HP_HASHVAL, value, &hashed, 0), ERROR_MORE_DATA),
        ROW(CryptHashData(hash.get(), kText, 1, 0), 0),  // a query for the size does not finish the hash
        ROW(CryptGetHashParam(hash.get(), HP_HASHVAL, value, &hashed, 0), 0),
        ROW(CryptHashData(hash.get(), kText, 1, 0), NTE_BAD_HASH_STATE),
#undef ROW
    };
    for (const auto& row : rows) EXPECT_EQ(row.done ? 0 : static_cast<HRESULT>(row.error), row.expected) << row.call;
    EXPECT_EQ(one, sizeof(ALG_ID)) << "the size needed";
    EXPECT_EQ(Parameter(provider, PP_ENUMALGS).at(1), kHash >> 8) << "the item that did not fit";
}

TEST(SoftcspParameters, AreSetForTheMachineByThoseWhoMay) {
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(CRYPT_VERIFYCONTEXT | kParametersOnly, nullptr, nullptr, 75));
    const auto set = [&](DWORD parameter, DWORD number) { return Set(context.Get(), parameter, &number); };
    const ProviderSetting cache(kCacheSetting, 0), mayNot(kDhMayChangeSetting, 0);
    EXPECT_EQ(set(kParamCache, 65), NTE_BAD_DATA) << "above the maximum";
    EXPECT_EQ(set(kParamCache, 64), 0);
    EXPECT_EQ(set(kParamDhControl, 2), ERROR_ACCESS_DENIED);
    const Denied denied(L"\\config\\Provider");
    EXPECT_EQ(set(kParamCache, 1), ERROR_ACCESS_DENIED);
}

}  // namespace
