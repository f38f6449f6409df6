// The product's provider types and private parameters, with the records that the parameters consist of.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <string>

#include "csp/CryptoValues.h"

// The flags of a context without a container in which the provider's settings are read or written. The second flag is
// the product's own.
constexpr DWORD kContextForSettings = CRYPT_VERIFYCONTEXT | 0x4000;

// The product's types and private parameters.
constexpr DWORD kProviderType75 = 75;
constexpr DWORD kProviderType71 = 71;
constexpr DWORD kParameterDigestSet = 92;         // object identifier of a parameter set, ANSI text
constexpr DWORD kParameterCipherSet = 93;         // the same
constexpr DWORD kParameterChangePassword = 108;   // write only; the provider shows its password dialogs
constexpr DWORD kParameterKeysLoading = 109;      // 32 bits; reading it loads the keys
constexpr DWORD kParameterChooseContainer = 110;  // ANSI text; the provider shows its container dialog
constexpr DWORD kParameterQualifiedName = 111;    // ANSI text, the container's name
constexpr DWORD kParameterCache = 115;            // CacheRecord; written as 32 bits, the size
constexpr DWORD kParameterProtectionClass = 129;  // 32 bits
constexpr DWORD kParameterAddExtension = 132;     // write only; a record with the extension's parts
constexpr DWORD kParameterExtensions = 133;       // one record after the other (csp/ExtensionRecord.h)
constexpr DWORD kParameterBuild = 138;            // BuildRecord
constexpr DWORD kParameterDiffieHellman = 143;    // DiffieHellmanRecord; written as 32 bits, the control
constexpr DWORD kParameterIntegrity = 146;        // 32 bits, IntegrityBits

// Parameters of keys: the object identifiers of their parameter sets, ANSI texts.
constexpr DWORD kKeyParameterDigestSet = 103;
constexpr DWORD kKeyParameterAgreementSet = 106;

enum IntegrityBits : DWORD { kCorrupted = 1, kUnknownCorruption = 0x40000000 };

constexpr ALG_ID kDigestAlgorithm = 0x801E;  // GOST R 34.11-94

constexpr DWORD kClassKc1 = 1;  // the lowest protection class

// The cache of the keys storage service.
struct CacheRecord {
    DWORD size;       // in keys; 0: off
    DWORD maximum;    // 0: the provider has no cache
    DWORD available;  // 0: the cache can't be used now
};
static_assert(sizeof(CacheRecord) == 12);

// Whether the provider controls Diffie-Hellman operations.
struct DiffieHellmanRecord {
    DWORD control;
    DWORD mayChange;  // 0: the current user may not change the control
};
static_assert(sizeof(DiffieHellmanRecord) == 8);
enum DiffieHellmanControl : DWORD { kDiffieHellmanOff = 1, kDiffieHellmanOn = 2 };

struct BuildRecord {
    DWORD reserved0;
    DWORD build;
    DWORD debug;  // 1: a debug build
    DWORD reserved1[2];
};
static_assert(sizeof(BuildRecord) == 20);

// A parameter that is a number or a record of a fixed size. Fails with the provider's code, or with ERROR_INVALID_DATA
// when the value has another size.
template <class Value>
Result<Value> ReadParameter(HCRYPTPROV provider, DWORD parameter) noexcept {
    return ReadValue<Value>(ProviderQuery(provider, parameter));
}

// The name of a protection class, "KC1" to "KA1"; empty for a class without a name.
std::wstring ProtectionClassName(DWORD protectionClass);
