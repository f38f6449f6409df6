// What the system calls in a provider's library, and the provider's own numbers. The system gives handles as it got
// them, so each is checked. A failing function returns FALSE and leaves the reason as the thread's last error.
#pragma once

#include <windows.h>
#include <wincrypt.h>

namespace softcsp {

// Acquiring flag of the provider's own: the context only asks and sets parameters.
constexpr DWORD kParametersOnly = 0x4000;

// Parameters of the provider's own, for CryptGetProvParam.
constexpr DWORD kParamProtectionClass = 129;  // four bytes: 1 KC1, 2 KC2, 3 KC3, 4 KB1, 5 KB2, 6 KA1
constexpr DWORD kParamBuild = 138;            // BuildRecord

// What the system hands over when it opens a context. <wincrypt.h> hides its declaration from applications.
struct ProviderTable {
    DWORD version;          // 3 and later have everything; 2 ends before `type`
    FARPROC verifyImage;    // checks a library's signature
    FARPROC returnWindow;   // gives the window that dialogs belong to
    DWORD type;             // provider type asked for
    BYTE* contextInfo;      // unused
    DWORD contextInfoSize;  // unused
    const char* name;       // provider's name asked for, ANSI; may be null
};

struct BuildRecord {
    DWORD size;         // bytes of the record
    DWORD build;        // number
    DWORD debug;        // 1 = debug build
    DWORD reserved[2];  // 0
};
static_assert(sizeof(BuildRecord) == 20);

}  // namespace softcsp

extern "C" {
BOOL WINAPI CPAcquireContext(HCRYPTPROV* provider, LPSTR container, DWORD flags, softcsp::ProviderTable* table);
BOOL WINAPI CPReleaseContext(HCRYPTPROV provider, DWORD flags);
BOOL WINAPI CPGetProvParam(HCRYPTPROV provider, DWORD parameter, BYTE* data, DWORD* size, DWORD flags);
BOOL WINAPI CPSetProvParam(HCRYPTPROV provider, DWORD parameter, BYTE* data, DWORD flags);
BOOL WINAPI CPGenRandom(HCRYPTPROV provider, DWORD size, BYTE* data);
BOOL WINAPI CPDeriveKey(HCRYPTPROV, ALG_ID, HCRYPTHASH, DWORD, HCRYPTKEY*);
BOOL WINAPI CPDestroyKey(HCRYPTPROV, HCRYPTKEY);
BOOL WINAPI CPDuplicateKey(HCRYPTPROV, HCRYPTKEY, DWORD*, DWORD, HCRYPTKEY*);
BOOL WINAPI CPExportKey(HCRYPTPROV, HCRYPTKEY, HCRYPTKEY, DWORD, DWORD, BYTE*, DWORD*);
BOOL WINAPI CPGenKey(HCRYPTPROV, ALG_ID, DWORD, HCRYPTKEY*);
BOOL WINAPI CPGetKeyParam(HCRYPTPROV, HCRYPTKEY, DWORD, BYTE*, DWORD*, DWORD);
BOOL WINAPI CPGetUserKey(HCRYPTPROV, DWORD, HCRYPTKEY*);
BOOL WINAPI CPImportKey(HCRYPTPROV, const BYTE*, DWORD, HCRYPTKEY, DWORD, HCRYPTKEY*);
BOOL WINAPI CPSetKeyParam(HCRYPTPROV, HCRYPTKEY, DWORD, BYTE*, DWORD);
BOOL WINAPI CPDecrypt(HCRYPTPROV, HCRYPTKEY, HCRYPTHASH, BOOL, DWORD, BYTE*, DWORD*);
BOOL WINAPI CPEncrypt(HCRYPTPROV, HCRYPTKEY, HCRYPTHASH, BOOL, DWORD, BYTE*, DWORD*, DWORD);
BOOL WINAPI CPCreateHash(HCRYPTPROV, ALG_ID, HCRYPTKEY, DWORD, HCRYPTHASH*);
BOOL WINAPI CPDestroyHash(HCRYPTPROV, HCRYPTHASH);
BOOL WINAPI CPDuplicateHash(HCRYPTPROV, HCRYPTHASH, DWORD*, DWORD, HCRYPTHASH*);
BOOL WINAPI CPGetHashParam(HCRYPTPROV, HCRYPTHASH, DWORD, BYTE*, DWORD*, DWORD);
BOOL WINAPI CPHashData(HCRYPTPROV, HCRYPTHASH, const BYTE*, DWORD, DWORD);
BOOL WINAPI CPHashSessionKey(HCRYPTPROV, HCRYPTHASH, HCRYPTKEY, DWORD);
BOOL WINAPI CPSetHashParam(HCRYPTPROV, HCRYPTHASH, DWORD, BYTE*, DWORD);
BOOL WINAPI CPSignHash(HCRYPTPROV, HCRYPTHASH, DWORD, LPCWSTR, DWORD, BYTE*, DWORD*);
BOOL WINAPI CPVerifySignature(HCRYPTPROV, HCRYPTHASH, const BYTE*, DWORD, HCRYPTKEY, LPCWSTR, DWORD);
}
