// The provider through the system's own interfaces, as "softcsp init" registered it.
#include "tests/support/SoftcspLibrary.h"

#include <wincrypt.h>
#include <msi.h>

#include <algorithm>
#include <cstring>
#include <map>

namespace {

using softcsp_tests::Directory;
using softcsp_tests::MachineLock;
using softcsp_tests::Tool;

constexpr wchar_t kName75[] = L"Kelvane GOST R 34.10-2001 KC1 CSP";
constexpr wchar_t kName71[] = L"Kelvane GOST R 34.10-94 KC1 CSP";
constexpr DWORD kAskOnly = CRYPT_VERIFYCONTEXT | 0x4000;

struct Context {
    HCRYPTPROV handle = 0;
    DWORD error = 0;  // 0 = opened

    Context(const wchar_t* container, const wchar_t* name, DWORD type, DWORD flags) {
        if (!CryptAcquireContextW(&handle, container, name, type, flags)) error = GetLastError();
    }
    ~Context() {
        if (error == 0) CryptReleaseContext(handle, 0);
    }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    // A parameter of four-byte words; its `index`th one. MAXDWORD when the call fails or the size is another.
    DWORD Word(DWORD parameter, DWORD count = 1, DWORD index = 0) const {
        DWORD words[8] = {};
        DWORD size = sizeof words;
        if (!CryptGetProvParam(handle, parameter, reinterpret_cast<BYTE*>(words), &size, 0)) return MAXDWORD;
        return size == count * sizeof(DWORD) ? words[index] : MAXDWORD;
    }
};

TEST(SoftcspProvider, OpensWhatItHasAndRefusesTheRest) {
    struct {
        const wchar_t *container, *name;
        DWORD type, flags, error;
    } const table[] = {
        {nullptr, kName75, 75, CRYPT_VERIFYCONTEXT, 0},
        {nullptr, kName75, 75, kAskOnly, 0},
        {L"", kName71, 71, kAskOnly | CRYPT_MACHINE_KEYSET | CRYPT_SILENT, 0},
        {nullptr, nullptr, 75, CRYPT_VERIFYCONTEXT, 0},
        {nullptr, nullptr, 71, CRYPT_VERIFYCONTEXT, 0},
        {L"key", kName75, 75, 0, static_cast<DWORD>(NTE_BAD_KEYSET)},
        {L"key", kName75, 75, CRYPT_DELETEKEYSET, static_cast<DWORD>(NTE_BAD_KEYSET)},
        {L"key", kName75, 75, CRYPT_NEWKEYSET, static_cast<DWORD>(NTE_NOT_SUPPORTED)},
        {L"key", kName75, 75, CRYPT_VERIFYCONTEXT, static_cast<DWORD>(NTE_BAD_KEYSET_PARAM)},
        {nullptr, kName75, 75, CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET, static_cast<DWORD>(NTE_BAD_FLAGS)},
        {nullptr, kName75, 75, CRYPT_VERIFYCONTEXT | 0x800, static_cast<DWORD>(NTE_BAD_FLAGS)},
        {nullptr, kName75, 75, 0x80000000, static_cast<DWORD>(NTE_BAD_FLAGS)},
    };
    for (const auto& row : table) {
        const Context context(row.container, row.name, row.type, row.flags);
        EXPECT_EQ(context.error, row.error) << std::hex << row.type << ' ' << row.flags;
        if (row.error == 0) {
            EXPECT_EQ(context.Word(PP_PROVTYPE), row.type);
        }
    }
}

TEST(SoftcspProvider, ReportsItselfAndWhatItIsToldToReport) {
    const MachineLock lock;
    struct Row {
        const wchar_t* setting;
        DWORD parameter, count, index, missing, told;
    } const table[] = {{L"Class", 129, 1, 0, 1, 6},
                       {L"Version", PP_VERSION, 1, 0, 0x500, 0x401},
                       {L"Build", 138, 5, 1, 4821, 7},
                       {L"Debug", 138, 5, 2, 0, 1},
                       {L"Type", PP_PROVTYPE, 1, 0, 71, 1}};
    const Context context(nullptr, kName71, 71, kAskOnly);
    ASSERT_EQ(context.error, 0u);
    for (const Row& row : table) {
        const std::wstring set = L"set " + std::wstring(row.setting) + L"=";
        const auto word = [&] { return context.Word(row.parameter, row.count, row.index); };
        EXPECT_EQ(Tool(set), 0u);
        EXPECT_EQ(word(), row.missing) << row.setting;
        EXPECT_EQ(Tool(set + std::to_wstring(row.told)), 0u);
        EXPECT_EQ(word(), row.told) << row.setting;
        EXPECT_EQ(Tool(set), 0u);
        EXPECT_EQ(word(), row.missing) << row.setting;
    }
    EXPECT_EQ(context.Word(PP_IMPTYPE), DWORD{CRYPT_IMPL_SOFTWARE});
}

TEST(SoftcspProvider, ParametersFollowTheSizeRule) {
    const Context context(nullptr, nullptr, 75, kAskOnly);
    ASSERT_EQ(context.error, 0u);
    const std::string name(std::begin(kName75), std::end(kName75) - 1);
    struct {
        DWORD parameter, flags, capacity, error, size;
        bool buffer;
    } const table[] = {
        {PP_NAME, 0, 0, 0, static_cast<DWORD>(name.size() + 1), false},
        {PP_NAME, 0, static_cast<DWORD>(name.size()), ERROR_MORE_DATA, static_cast<DWORD>(name.size() + 1), true},
        {PP_NAME, 0, static_cast<DWORD>(name.size() + 1), 0, static_cast<DWORD>(name.size() + 1), true},
        {138, 0, 19, ERROR_MORE_DATA, 20, true},
        {138, 0, 64, 0, 20, true},
        {PP_VERSION, 0x100, 4, static_cast<DWORD>(NTE_BAD_FLAGS), 4, true},
        {PP_CONTAINER, 0, 64, static_cast<DWORD>(NTE_NOT_FOUND), 64, true},
        {9999, 0, 64, static_cast<DWORD>(NTE_BAD_TYPE), 64, true},
    };
    for (const auto& row : table) {
        BYTE data[64] = {0x5A};
        DWORD size = row.capacity;
        SetLastError(0);
        const BOOL done =
            CryptGetProvParam(context.handle, row.parameter, row.buffer ? data : nullptr, &size, row.flags);
        EXPECT_EQ(done ? 0 : GetLastError(), row.error) << row.parameter << ' ' << row.capacity;
        EXPECT_EQ(size, row.size) << row.parameter << ' ' << row.capacity;
        if (!done) {
            EXPECT_EQ(data[0], 0x5A) << row.parameter;
        }
        if (done && row.buffer && row.parameter == PP_NAME) {
            EXPECT_EQ(reinterpret_cast<char*>(data), name);
        }
    }
}

TEST(SoftcspProvider, MakesRandomBytesAndNothingElseYet) {
    const Context context(nullptr, nullptr, 75, CRYPT_VERIFYCONTEXT);
    ASSERT_EQ(context.error, 0u);
    BYTE bytes[2][32] = {};
    for (auto& half : bytes) EXPECT_TRUE(CryptGenRandom(context.handle, sizeof half, half));
    EXPECT_NE(std::memcmp(bytes[0], bytes[1], sizeof bytes[0]), 0);
    HCRYPTHASH hash = 0;
    EXPECT_FALSE(CryptCreateHash(context.handle, CALG_SHA1, 0, 0, &hash));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_NOT_SUPPORTED));
}

TEST(SoftcspRegistration, ProvidersAreListedAndTheMachinesDefaults) {
    std::map<std::wstring, DWORD> found;
    for (DWORD index = 0;; ++index) {
        wchar_t name[256] = {};
        DWORD type = 0;
        DWORD size = sizeof name;
        if (!CryptEnumProvidersW(index, nullptr, 0, &type, name, &size)) break;
        found[name] = type;
    }
    EXPECT_EQ(found[kName75], 75u);
    EXPECT_EQ(found[kName71], 71u);
    for (const auto& [type, name] : {std::pair{75u, kName75}, {71u, kName71}}) {
        wchar_t machine[256] = {};
        DWORD size = sizeof machine;
        EXPECT_TRUE(CryptGetDefaultProviderW(type, nullptr, CRYPT_MACHINE_DEFAULT, machine, &size));
        EXPECT_STREQ(machine, name);
    }
}

TEST(SoftcspRegistration, InstallerKnowsThePanel) {
    const std::wstring panel = Directory() + L"vestra.cpl";
    const bool built = GetFileAttributesW(panel.c_str()) != INVALID_FILE_ATTRIBUTES;
    wchar_t product[39] = {};
    ASSERT_EQ(MsiEnumClientsW(L"{8D2B4E61-93A7-4C05-B1E8-2F6A0C93D417}", 0, product), 0u);
    wchar_t path[MAX_PATH] = {};
    DWORD length = MAX_PATH;
    const INSTALLSTATE state = MsiGetComponentPathW(product, L"{8D2B4E61-93A7-4C05-B1E8-2F6A0C93D417}", path, &length);
    EXPECT_EQ(state, built ? INSTALLSTATE_LOCAL : INSTALLSTATE_ABSENT);
    EXPECT_STREQ(path, panel.c_str());
    for (const auto& [property, value] : {std::pair{L"VersionString", L"5.0.4821"},
                                          {L"InstalledProductName", L"Vestra CSP"},
                                          {L"URLInfoAbout", L"https://example.org/vestra"},
                                          {L"URLUpdateInfo", L"https://example.org/vestra/updates"}}) {
        wchar_t text[256] = {};
        length = 256;
        EXPECT_EQ(MsiGetProductInfoW(product, property, text, &length), 0u) << property;
        EXPECT_STREQ(text, value) << property;
    }
    wchar_t provider[256] = {};
    DWORD size = sizeof provider;
    EXPECT_EQ(RegGetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Kelvane\\SoftCSP\\Store\\config", product, RRF_RT_REG_SZ,
                           nullptr, provider, &size),
              ERROR_SUCCESS);
    EXPECT_STREQ(provider, kName75);
}

TEST(SoftcspRegistration, PathsAndModuleNamesAreInBothViews) {
    for (const wchar_t* file : {L"vestra.cpl", L"kvsuprt.dll", L"kvcsp.dll"}) {
        wchar_t path[MAX_PATH] = {};
        DWORD size = sizeof path;
        const std::wstring key = std::wstring(L"SOFTWARE\\Kelvane\\Cryptography\\CurrentVersion\\AppPath\\") + file;
        EXPECT_EQ(RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, path, &size),
                  ERROR_SUCCESS);
        EXPECT_EQ(path, Directory() + file);
    }
    for (const wchar_t* view : {L"SOFTWARE\\", L"SOFTWARE\\Wow6432Node\\"})
        for (const wchar_t* name : {kName75, kName71}) {
            wchar_t module[MAX_PATH] = {};
            DWORD size = sizeof module;
            const std::wstring key = std::wstring(view) + L"Microsoft\\Cryptography\\Defaults\\Provider\\" + name;
            EXPECT_EQ(
                RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"KV Module Name", RRF_RT_REG_SZ, nullptr, module, &size),
                ERROR_SUCCESS);
            EXPECT_STREQ(module, L"kvcspr.dll");
        }
}

}  // namespace
