// The conventions of the functions that the system calls in a provider's library (exported with the names and arguments
// that Microsoft documents), and the provider's own numbers. Every handle is checked, because programs can pass any. A
// failing function returns FALSE and sets the thread's last error.
//
// Results in addition to those of CryptoAPI:
//   ERROR_CANCELLED        the user cancelled a dialog, or let its time pass
//   SCARD_W_WRONG_CHV      the password is wrong, three times in a dialog
//   SCARD_W_REMOVED_CARD   the carrier is ejected
//   ERROR_DISK_FULL        the carrier has no room
//   NTE_SILENT_CONTEXT     a dialog would be needed
#pragma once

#include <windows.h>
#include <wincrypt.h>

namespace softcsp {

// The provider's own flags for acquiring.
constexpr DWORD kParametersOnly = 0x4000;     // the context only reads and sets the machine's parameters
constexpr DWORD kTakesForeignKeys = 0x40000;  // the new container is for keys of another one

// The provider's own parameters. Numbers have 32 bits.
// The four parameter sets in use, for the machine's defaults in a kParametersOnly context, else for the context or its
// container. In the former a value is one whole entry of the list; in the latter an identifier, ASCII with terminator.
constexpr DWORD kParamDigestSet = 92;
constexpr DWORD kParamCipherSet = 93;
constexpr DWORD kParamSignatureSet = 94;
constexpr DWORD kParamExchangeSet = 95;
// Lists of the available sets, one entry at a time: CRYPT_FIRST, then 0. An entry: 0x10000 + the offset in bytes of the
// name (a number), the identifier (ASCII with terminator), the name (UTF-16 with terminator).
constexpr DWORD kParamDigestSets = 103;
constexpr DWORD kParamCipherSets = 104;
constexpr DWORD kParamSignatureSets = 105;
constexpr DWORD kParamExchangeSets = 106;
constexpr DWORD kParamChangePassword = 108;   // set: PasswordRequest
constexpr DWORD kParamLoadKeys = 109;         // get: unseals the private keys; a number: bit 0 exchange, 1 signature
constexpr DWORD kParamChooseContainer = 110;  // get: the user chooses one; its fully qualified name, ANSI
constexpr DWORD kParamQualifiedName = 111;    // get: ANSI
constexpr DWORD kParamCache = 115;            // get: CacheRecord; set: the size, a number
constexpr DWORD kParamProtectionClass = 129;  // get, a number: 1 KC1, 2 KC2, 3 KC3, 4 KB1, 5 KB2, 6 KA1
constexpr DWORD kParamAddExtension = 132;     // set: ExtensionRequest
constexpr DWORD kParamExtensions = 133;       // get: one item at a time, CRYPT_FIRST, then 0; see ExtensionItem()
constexpr DWORD kParamBuild = 138;            // get: BuildRecord
constexpr DWORD kParamDhControl = 143;        // get: DhRecord; set: a number as its first
constexpr DWORD kParamIntegrity = 146;        // get, a number: 0 intact, bit 0 damaged, bit 30 unknown damage

// The provider's own key parameters: identifiers, ASCII with terminator. They can be set for an ephemeral key that is
// not complete yet.
constexpr DWORD kKeyParamDigestSet = 103;
constexpr DWORD kKeyParamCurve = 106;

// The system passes this table when it opens a context. <wincrypt.h> hides its declaration from applications.
struct ProviderTable {
    DWORD version;          // 3 and later have all members; 2 ends before `type`
    FARPROC verifyImage;    // checks a library's signature
    FARPROC returnWindow;   // returns the window that owns dialogs
    DWORD type;             // requested provider type
    BYTE* contextInfo;      // unused
    DWORD contextInfoSize;  // unused
    const char* name;       // requested provider's name, ANSI; may be null
};

struct BuildRecord {
    DWORD size;         // bytes of the record
    DWORD build;        // number
    DWORD debug;        // 1 = debug build
    DWORD reserved[2];  // 0
};
static_assert(sizeof(BuildRecord) == 20);

struct CacheRecord {
    DWORD size;       // keys held at the same time; 0 = off
    DWORD maximum;    // 0 = no caching
    DWORD available;  // 1 = may be used
};

struct DhRecord {
    DWORD control;    // 1 = off, 2 = on
    DWORD mayChange;  // 1 = may be set
};

struct PasswordRequest {
    BYTE kind;    // 4: changed in a dialog of the provider
    void* value;  // null for kind 4
};
constexpr BYTE kPasswordByDialog = 4;

struct ExtensionRequest {
    const char* identifier;
    DWORD critical;  // above 0: critical
    DWORD size;      // of the value
    const BYTE* value;
};

}  // namespace softcsp
