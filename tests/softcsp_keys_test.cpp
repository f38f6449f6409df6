// Keys, signatures and their ways between contexts, through the system's own interfaces.
#include "tests/support/SoftProvider.h"

#include <cstring>

namespace {

using namespace softcsp;

constexpr ALG_ID kWrap = 0x661F, kEphemeral = 0xAA25;
constexpr BYTE kText[] = "Hello, world";
const TestBytes kProbe(kText, kText + sizeof kText);

UniqueCryptKey Generate(HCRYPTPROV provider, ALG_ID algorithm, DWORD flags = 0) {
    UniqueCryptKey key;
    EXPECT_EQ(ErrorOf(CryptGenKey(provider, algorithm, flags, key.put())), 0) << std::hex << algorithm;
    return key;
}

UniqueCryptKey Import(HCRYPTPROV provider, const TestBytes& blob, HCRYPTKEY by = 0) {
    UniqueCryptKey key;
    EXPECT_EQ(ErrorOf(CryptImportKey(provider, blob.data(), static_cast<DWORD>(blob.size()), by, CRYPT_EXPORTABLE,
                                     key.put())),
              0);
    return key;
}

UniqueCryptHash HashOf(HCRYPTPROV provider, const void* data, std::size_t size) {
    UniqueCryptHash hash;
    EXPECT_EQ(ErrorOf(CryptCreateHash(provider, kHash, 0, 0, hash.put())), 0);
    EXPECT_EQ(ErrorOf(CryptHashData(hash.get(), static_cast<const BYTE*>(data), static_cast<DWORD>(size), 0)), 0);
    return hash;
}

// From `at` on.
TestBytes Encrypted(HCRYPTKEY key, TestBytes data, std::size_t at = 0) {
    auto size = static_cast<DWORD>(data.size() - at);
    EXPECT_EQ(ErrorOf(CryptEncrypt(key, 0, TRUE, 0, data.data() + at, &size, size)), 0);
    return data;
}

// Moves a session key as programs do that let no key out in the clear: both sides agree on a key from ephemeral ones.
UniqueCryptKey Transfer(HCRYPTPROV from, HCRYPTPROV to, HCRYPTKEY session) {
    const UniqueCryptKey mine = Generate(from, kEphemeral, CRYPT_EXPORTABLE);
    const UniqueCryptKey yours = Generate(to, kEphemeral, CRYPT_EXPORTABLE | CRYPT_PREGEN);
    EXPECT_TRUE(ExportedKey(yours.get(), PUBLICKEYBLOB).empty()) << "not complete yet";
    for (const DWORD set : {kKeyParamDigestSet, kKeyParamCurve})
        EXPECT_EQ(ErrorOf(CryptSetKeyParam(yours.get(), set, KeyParameter(mine.get(), set).data(), 0)), 0);
    const CRYPT_DATA_BLOB nothing{};  // a null pointer would do, too, but Wine passes none on
    EXPECT_EQ(ErrorOf(CryptSetKeyParam(yours.get(), KP_X, reinterpret_cast<const BYTE*>(&nothing), 0)), 0);
    const UniqueCryptKey sending = Import(from, ExportedKey(yours.get(), PUBLICKEYBLOB), mine.get());
    const UniqueCryptKey receiving = Import(to, ExportedKey(mine.get(), PUBLICKEYBLOB), yours.get());
    TestBytes refused = kProbe;
    auto size = static_cast<DWORD>(refused.size());
    EXPECT_EQ(ErrorOf(CryptEncrypt(sending.get(), 0, TRUE, 0, refused.data(), &size, size)), NTE_BAD_KEY_STATE)
        << "without an initial value";
    for (const HCRYPTKEY key : {sending.get(), receiving.get()}) CryptSetKeyParam(key, KP_IV, kText, 0);
    EXPECT_EQ(Encrypted(sending.get(), kProbe), Encrypted(receiving.get(), kProbe));
    for (const HCRYPTKEY key : {sending.get(), receiving.get(), session})
        EXPECT_EQ(ErrorOf(CryptSetKeyParam(key, KP_ALGID, reinterpret_cast<const BYTE*>(&kWrap), 0)), 0);
    const UniqueCryptKey fixed = Generate(from, kCipher);
    EXPECT_EQ(ErrorOf(CryptExportKey(fixed.get(), sending.get(), SIMPLEBLOB, 0, nullptr, &size)), NTE_BAD_KEY_STATE)
        << "not exportable";
    const TestBytes blob = ExportedKey(session, SIMPLEBLOB, sending.get());
    TestBytes damaged = blob;
    damaged.back() ^= 4;
    HCRYPTKEY none = 0;
    EXPECT_EQ(
        ErrorOf(CryptImportKey(to, damaged.data(), static_cast<DWORD>(damaged.size()), receiving.get(), 0, &none)),
        NTE_BAD_DATA);
    return Import(to, blob, receiving.get());
}

TEST(SoftcspKeys, SignAgreeAndMoveBetweenContainers) {
    const LoadedProvider held;
    const TestContainer source(L"Ключи: источник"), target(L"keys target", 71);
    ASSERT_TRUE(source.Made());
    ASSERT_TRUE(target.Made());
    const UniqueCryptKey session = Generate(source.Get(), kCipher, CRYPT_EXPORTABLE);
    const UniqueCryptKey moved = Transfer(source.Get(), target.Get(), session.get());
    EXPECT_EQ(Encrypted(session.get(), kProbe), Encrypted(moved.get(), kProbe));
    for (const DWORD spec : {AT_KEYEXCHANGE, AT_SIGNATURE}) {
        const UniqueCryptKey created = Generate(source.Get(), spec, CRYPT_EXPORTABLE);
        const TestBytes publicBlob = ExportedKey(created.get(), PUBLICKEYBLOB);
        const UniqueCryptKey copy =
            Import(target.Get(), ExportedKey(created.get(), PRIVATEKEYBLOB, session.get()), moved.get());
        EXPECT_EQ(ExportedKey(copy.get(), PUBLICKEYBLOB), publicBlob);
        // Signed with the copy in a context of its own; verified with the public key alone.
        CCryptProvContext opened, verifying;
        ASSERT_TRUE(opened.Acquire(CRYPT_SILENT, target.Name(), nullptr, 71));
        ASSERT_TRUE(verifying.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, 75));
        BYTE signature[64];
        DWORD size = sizeof signature;
        const UniqueCryptHash hash = HashOf(opened.Get(), kText, sizeof kText);
        EXPECT_EQ(ErrorOf(CryptSignHashW(hash.get(), spec, nullptr, 0, signature, &size)), 0);
        const UniqueCryptKey publicKey = Import(verifying.Get(), publicBlob);
        const auto verify = [&](std::size_t length) {
            const UniqueCryptHash again = HashOf(verifying.Get(), kText, length);
            return ErrorOf(CryptVerifySignatureW(again.get(), signature, size, publicKey.get(), nullptr, 0));
        };
        EXPECT_EQ(verify(sizeof kText), 0);
        EXPECT_EQ(verify(sizeof kText - 1), NTE_BAD_SIGNATURE);
    }
}

TEST(SoftcspKeys, EncryptPieceByPieceAsInOneGo) {
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, 75));
    const UniqueCryptKey key = Generate(context.Get(), kCipher);
    ASSERT_EQ(ErrorOf(CryptSetKeyParam(key.get(), KP_IV, kText, 0)), 0);
    UniqueCryptKey duplicate, continued;
    ASSERT_EQ(ErrorOf(CryptDuplicateKey(key.get(), nullptr, 0, duplicate.put())), 0);
    TestBytes clear(3000);  // beyond the kilobyte after which the key changes
    for (std::size_t i = 0; i < clear.size(); ++i) clear[i] = static_cast<BYTE>(i * 7);
    const TestBytes whole = Encrypted(key.get(), clear);
    EXPECT_NE(whole, clear);
    TestBytes begun = clear;
    DWORD first = 1600;
    ASSERT_EQ(ErrorOf(CryptEncrypt(duplicate.get(), 0, FALSE, 0, begun.data(), &first, first)), 0);
    ASSERT_EQ(ErrorOf(CryptDuplicateKey(duplicate.get(), nullptr, 0, continued.put())), 0);
    EXPECT_EQ(Encrypted(continued.get(), begun, first), whole) << "by a duplicate of the begun stream";
    EXPECT_EQ(Encrypted(duplicate.get(), begun, first), whole);
    TestBytes decrypted = whole;
    auto size = static_cast<DWORD>(decrypted.size());
    EXPECT_EQ(ErrorOf(CryptDecrypt(duplicate.get(), 0, TRUE, 0, decrypted.data(), &size)), 0);
    EXPECT_EQ(decrypted, clear);
}

TEST(SoftcspKeys, AreGeneratedWithoutAContainerForTheTimeOfTheContext) {
    const LoadedProvider held;
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, 75));
    const UniqueCryptHash hash = HashOf(context.Get(), kText, sizeof kText);
    for (const DWORD spec : {AT_KEYEXCHANGE, AT_SIGNATURE}) {
        BYTE signature[64];
        DWORD size = sizeof signature;
        UniqueCryptKey found;
        EXPECT_EQ(ErrorOf(CryptGetUserKey(context.Get(), spec, found.put())), NTE_NO_KEY);
        const UniqueCryptKey created = Generate(context.Get(), spec);
        EXPECT_EQ(ErrorOf(CryptGetUserKey(context.Get(), spec, found.put())), 0);
        EXPECT_EQ(ExportedKey(found.get(), PUBLICKEYBLOB), ExportedKey(created.get(), PUBLICKEYBLOB));
        EXPECT_EQ(ErrorOf(CryptSignHashW(hash.get(), spec, nullptr, 0, signature, &size)), 0);
        EXPECT_EQ(ErrorOf(CryptVerifySignatureW(hash.get(), signature, size, created.get(), nullptr, 0)), 0);
    }
}

// The number of places in this process's memory that hold the bytes whose complements are given.
int PlacesInMemory(const TestBytes& complements) {
    // Registers may still hold copies, which the system's calls save in memory of their own.
    asm volatile(
        "pxor %%xmm0, %%xmm0\n pxor %%xmm1, %%xmm1\n pxor %%xmm2, %%xmm2\n pxor %%xmm3, %%xmm3\n"
        "pxor %%xmm4, %%xmm4\n pxor %%xmm5, %%xmm5" ::
            : "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5");
    int places = 0;
    MEMORY_BASIC_INFORMATION region{};
    for (const BYTE* at = nullptr; VirtualQuery(at, &region, sizeof region) == sizeof region; at += region.RegionSize) {
        at = static_cast<const BYTE*>(region.BaseAddress);
        constexpr DWORD kWritable = PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
        if (region.State != MEM_COMMIT || (region.Protect & kWritable) == 0 || (region.Protect & PAGE_GUARD) != 0)
            continue;
        for (const BYTE *byte = at, *end = at + region.RegionSize - complements.size(); byte <= end; ++byte) {
            std::size_t equal = 0;
            while (equal < complements.size() && byte[equal] == static_cast<BYTE>(~complements[equal])) ++equal;
            places += equal == complements.size();
        }
    }
    return places;
}

TEST(SoftcspKeys, DerivedFromAHashLeaveNothingInMemory) {
    const LoadedProvider held;
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, 75));
    // The second half of the key: the first bytes of a released block are the heap's own.
    TestBytes half(16);
    {
        const UniqueCryptHash hash = HashOf(context.Get(), "secret", 6);
        TestBytes value(32);
        DWORD size = 32;
        ASSERT_EQ(ErrorOf(CryptGetHashParam(hash.get(), HP_HASHVAL, value.data(), &size, 0)), 0);
        for (std::size_t i = 0; i < half.size(); ++i) half[i] = static_cast<BYTE>(~value[half.size() + i]);
        SecureZeroMemory(value.data(), value.size());
    }
    {
        const UniqueCryptHash hash = HashOf(context.Get(), "secret", 6);
        UniqueCryptKey key;
        ASSERT_EQ(ErrorOf(CryptDeriveKey(context.Get(), kCipher, hash.get(), 0, key.put())), 0);
        EXPECT_GT(PlacesInMemory(half), 0) << "while the key is open";
    }
    EXPECT_EQ(PlacesInMemory(half), 0);
}

// The provider's own functions: the system would refuse a handle of another context itself.
TEST(SoftcspKeys, OfOneContextAreNotAcceptedByAnother) {
    const LoadedProvider held;
    const auto find = [&](const char* name) { return reinterpret_cast<void*>(GetProcAddress(held.Get(), name)); };
    const auto acquire =
        reinterpret_cast<BOOL(WINAPI*)(HCRYPTPROV*, LPSTR, DWORD, ProviderTable*)>(find("CPAcquireContext"));
    const auto generate = reinterpret_cast<BOOL(WINAPI*)(HCRYPTPROV, ALG_ID, DWORD, HCRYPTKEY*)>(find("CPGenKey"));
    const auto getParameter =
        reinterpret_cast<BOOL(WINAPI*)(HCRYPTPROV, HCRYPTKEY, DWORD, BYTE*, DWORD*, DWORD)>(find("CPGetKeyParam"));
    const auto release = reinterpret_cast<BOOL(WINAPI*)(HCRYPTPROV, DWORD)>(find("CPReleaseContext"));
    ProviderTable table{3, nullptr, nullptr, 75, nullptr, 0, nullptr};
    HCRYPTPROV contexts[2] = {};
    HCRYPTKEY keys[2] = {};
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(acquire(&contexts[i], nullptr, CRYPT_VERIFYCONTEXT, &table));
        ASSERT_TRUE(generate(contexts[i], kCipher, 0, &keys[i]));
    }
    DWORD size = 0;
    EXPECT_EQ(ErrorOf(getParameter(contexts[0], keys[0], KP_ALGID, nullptr, &size, 0)), 0);
    EXPECT_EQ(ErrorOf(getParameter(contexts[0], keys[1], KP_ALGID, nullptr, &size, 0)), NTE_BAD_KEY);
    for (const HCRYPTPROV context : contexts) EXPECT_TRUE(release(context, 0));
}

TEST(SoftcspKeys, FailWithTheCodesThatAreDocumented) {
    const LoadedProvider held;
    const TestContainer container(L"key errors");
    ASSERT_TRUE(container.Made());
    const HCRYPTPROV provider = container.Get();
    HCRYPTKEY key = 0;
    HCRYPTHASH none = 0;
    DWORD size = 0, word = 0, one = 1, hashed = 5, whole = 32;
    const UniqueCryptKey exchange = Generate(provider, AT_KEYEXCHANGE), session = Generate(provider, kCipher);
    const UniqueCryptHash hash = HashOf(provider, kText, sizeof kText);
    TestBytes point = ExportedKey(exchange.get(), PUBLICKEYBLOB), noise(200, PRIVATEKEYBLOB), value(32);
    point.back() ^= 1;  // no point of the curve any more
    const auto bytes = [](const void* data) { return static_cast<const BYTE*>(data); };
    // Filled in this order; the error of each call is read before the next one.
    const struct {
        const char* call;
        BOOL done;
        DWORD error;
        HRESULT expected;
    } rows[] = {
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
        ROW(CryptSetKeyParam(exchange.get(), kKeyParamCurve, bytes("1.2.3"), 0), NTE_BAD_KEY_STATE),
        ROW(CryptSetProvParam(provider, kParamDigestSet, bytes("1.2.643.2.2.30.0"), 0), NTE_BAD_DATA),  // an example's
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
    for (const auto& row : rows) EXPECT_EQ(row.done ? 0 : static_cast<HRESULT>(row.error), row.expected) << row.call;
    EXPECT_EQ(one, sizeof word) << "the size needed";
    EXPECT_EQ(hashed, 32u) << "the size needed";
}

}  // namespace
