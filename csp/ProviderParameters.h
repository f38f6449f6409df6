// Values of provider parameters, of a known size.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <optional>
#include <string>
#include <type_traits>

// How a context without a container is opened to ask for the provider's settings, or to change them; the second flag is
// the product's own.
constexpr DWORD kContextForSettings = CRYPT_VERIFYCONTEXT | 0x4000;

// The product's types and private parameters.
constexpr DWORD kProviderType75 = 75;
constexpr DWORD kProviderType71 = 71;
constexpr DWORD kParameterDigestSet = 92;         // object identifier of a parameter set, ANSI text
constexpr DWORD kParameterCipherSet = 93;         // the same
constexpr DWORD kParameterChangePassword = 108;   // set only; a request to the provider
constexpr DWORD kParameterChooseContainer = 110;  // the provider asks the user; ANSI text
constexpr DWORD kParameterKeysLoading = 109;      // 32 bits; asking loads the keys
constexpr DWORD kParameterQualifiedName = 111;    // ANSI text, the container's
constexpr DWORD kParameterCache = 115;            // CacheRecord; set: 32 bits, the size
constexpr DWORD kParameterProtectionClass = 129;  // 32 bits
constexpr DWORD kParameterAddExtension = 132;     // set only; a request with the extension's parts
constexpr DWORD kParameterExtensions = 133;       // one record after the other (csp/ExtensionRecord.h)
constexpr DWORD kParameterBuild = 138;            // BuildRecord
constexpr DWORD kParameterDiffieHellman = 143;    // DiffieHellmanRecord; set: 32 bits, the control
constexpr DWORD kParameterIntegrity = 146;        // 32 bits, IntegrityBits

// Of keys: object identifiers of their parameter sets, ANSI texts.
constexpr DWORD kKeyParameterDigestSet = 103;
constexpr DWORD kKeyParameterAgreementSet = 106;

enum IntegrityBits : DWORD { kCorrupted = 1, kUnknownCorruption = 0x40000000 };

constexpr DWORD kClassKc1 = 1;  // the lowest protection class

// The cache of the keys storage service.
struct CacheRecord {
    DWORD size;       // in keys; 0: off
    DWORD maximum;    // 0: the provider offers none
    DWORD available;  // 0: it can't be used now
};
static_assert(sizeof(CacheRecord) == 12);

// Whether the provider watches over Diffie-Hellman operations.
struct DiffieHellmanRecord {
    DWORD control;
    DWORD mayChange;  // 0: not by this user, or not at all
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

// The parameter's value when the provider gives exactly as many bytes; nothing otherwise, with the thread's last error.
template <class Value>
std::optional<Value> ReadParameter(HCRYPTPROV provider, DWORD parameter) noexcept {
    static_assert(std::is_trivially_copyable_v<Value>);
    Value value{};
    DWORD length = sizeof value;
    if (!CryptGetProvParam(provider, parameter, reinterpret_cast<BYTE*>(&value), &length, 0)) return {};
    if (length != sizeof value) {
        SetLastError(ERROR_INVALID_DATA);
        return {};
    }
    return value;
}

// "KC1" to "KA1"; empty for a class that has no name.
std::wstring ProtectionClassName(DWORD protectionClass);
