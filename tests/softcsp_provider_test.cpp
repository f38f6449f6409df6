// The provider through the system's own interfaces, as "softcsp init" registered it.
#include <windows.h>
#include <msi.h>

#include <gtest/gtest.h>

#include <cstring>

#include "csp/CryptProvContext.h"
#include "csp/ProviderParameters.h"
#include "tests/support/Directory.h"

namespace {

constexpr wchar_t kName75[] = L"Kelvane GOST R 34.10-2001 KC1 CSP";
constexpr wchar_t kName71[] = L"Kelvane GOST R 34.10-94 KC1 CSP";
constexpr DWORD kAskOnly = CRYPT_VERIFYCONTEXT | 0x4000;

TEST(SoftcspProvider, OpensWhatItHasAndRefusesTheRest) {
    struct {
        const wchar_t *container, *name;
        DWORD type, flags;
        HRESULT error;
    } const table[] = {
        {nullptr, kName75, 75, CRYPT_VERIFYCONTEXT, 0},
        {L"", kName71, 71, kAskOnly | CRYPT_MACHINE_KEYSET | CRYPT_SILENT, 0},
        {nullptr, nullptr, 71, CRYPT_VERIFYCONTEXT, 0},
        {L"key", kName75, 75, 0, NTE_BAD_KEYSET},
        {L"key", kName75, 75, CRYPT_VERIFYCONTEXT, NTE_BAD_KEYSET_PARAM},
        {nullptr, kName75, 75, CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET, NTE_BAD_FLAGS},
        {nullptr, kName75, 75, CRYPT_VERIFYCONTEXT | 0x800, NTE_BAD_FLAGS},
    };
    for (const auto& row : table) {
        CCryptProvContext context;
        const auto opened = context.Acquire(row.flags, row.container, row.name, row.type);
        EXPECT_EQ(opened ? 0 : opened.Failed().AsHresult(), row.error) << row.type << ' ' << row.flags;
        if (opened) {
            EXPECT_EQ(ReadParameter<DWORD>(context.Get(), PP_PROVTYPE).ValueOr(0), row.type);
        }
    }
}

TEST(SoftcspProvider, GivesParametersByTheSizeRuleAndRandomBytes) {
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(kAskOnly, nullptr, nullptr, 75));
    const std::string name(std::begin(kName75), std::end(kName75));  // with its terminator
    const auto whole = static_cast<DWORD>(name.size());
    struct {
        DWORD parameter, capacity, size;
        HRESULT error;
        bool buffer;
    } const table[] = {{PP_NAME, 0, whole, 0, false},
                       {PP_NAME, whole, whole, 0, true},
                       {PP_NAME, whole - 1, whole, ERROR_MORE_DATA, true},
                       {9999, 64, 64, NTE_BAD_TYPE, true}};
    for (const auto& row : table) {
        char data[64] = "untouched";
        DWORD size = row.capacity;
        auto* buffer = row.buffer ? reinterpret_cast<BYTE*>(data) : nullptr;
        const BOOL done = CryptGetProvParam(context.Get(), row.parameter, buffer, &size, 0);
        EXPECT_EQ(done ? 0 : static_cast<HRESULT>(GetLastError()), row.error) << row.parameter;
        EXPECT_EQ(size, row.size) << row.parameter;
        EXPECT_STREQ(data, done && buffer ? name.c_str() : "untouched") << row.parameter;
    }
    BYTE random[2][32] = {};
    for (auto& half : random) EXPECT_TRUE(CryptGenRandom(context.Get(), sizeof half, half));
    EXPECT_NE(std::memcmp(random[0], random[1], sizeof random[0]), 0);
}

std::wstring MachineText(const std::wstring& key, const wchar_t* value) {
    wchar_t text[MAX_PATH] = {};
    DWORD size = sizeof text;
    RegGetValueW(HKEY_LOCAL_MACHINE, (L"SOFTWARE\\" + key).c_str(), value, RRF_RT_REG_SZ, nullptr, text, &size);
    return text;
}

TEST(SoftcspRegistration, IsCompleteInBothViews) {
    for (const wchar_t* name : {kName75, kName71})
        for (const wchar_t* view : {L"", L"Wow6432Node\\"}) {
            const std::wstring key = std::wstring(view) + L"Microsoft\\Cryptography\\Defaults\\Provider\\" + name;
            EXPECT_EQ(MachineText(key, L"KV Module Name"), L"kvcspr.dll") << view << name;
        }
    for (const wchar_t* file : {L"vestra.cpl", L"kvsuprt.dll", L"kvcsp.dll"})
        EXPECT_EQ(MachineText(std::wstring(L"Kelvane\\Cryptography\\CurrentVersion\\AppPath\\") + file, nullptr),
                  ProgramDirectory() + file);
    wchar_t product[39] = {};
    ASSERT_EQ(MsiEnumClientsW(L"{8D2B4E61-93A7-4C05-B1E8-2F6A0C93D417}", 0, product), 0u);
    EXPECT_EQ(MachineText(L"Kelvane\\SoftCSP\\Store\\config", product), kName75);
}

}  // namespace
