// Exports that the system demands of every provider and that this one doesn't do yet: keys, hashes, signatures.
#include "softcsp/kvcsp/ProviderInterface.h"

namespace {

BOOL NotSupported() {
    SetLastError(static_cast<DWORD>(NTE_NOT_SUPPORTED));
    return FALSE;
}

}  // namespace

BOOL WINAPI CPDeriveKey(HCRYPTPROV, ALG_ID, HCRYPTHASH, DWORD, HCRYPTKEY*) {
    return NotSupported();
}
BOOL WINAPI CPDestroyKey(HCRYPTPROV, HCRYPTKEY) {
    return NotSupported();
}
BOOL WINAPI CPDuplicateKey(HCRYPTPROV, HCRYPTKEY, DWORD*, DWORD, HCRYPTKEY*) {
    return NotSupported();
}
BOOL WINAPI CPExportKey(HCRYPTPROV, HCRYPTKEY, HCRYPTKEY, DWORD, DWORD, BYTE*, DWORD*) {
    return NotSupported();
}
BOOL WINAPI CPGenKey(HCRYPTPROV, ALG_ID, DWORD, HCRYPTKEY*) {
    return NotSupported();
}
BOOL WINAPI CPGetKeyParam(HCRYPTPROV, HCRYPTKEY, DWORD, BYTE*, DWORD*, DWORD) {
    return NotSupported();
}
BOOL WINAPI CPGetUserKey(HCRYPTPROV, DWORD, HCRYPTKEY*) {
    return NotSupported();
}
BOOL WINAPI CPImportKey(HCRYPTPROV, const BYTE*, DWORD, HCRYPTKEY, DWORD, HCRYPTKEY*) {
    return NotSupported();
}
BOOL WINAPI CPSetKeyParam(HCRYPTPROV, HCRYPTKEY, DWORD, BYTE*, DWORD) {
    return NotSupported();
}
BOOL WINAPI CPDecrypt(HCRYPTPROV, HCRYPTKEY, HCRYPTHASH, BOOL, DWORD, BYTE*, DWORD*) {
    return NotSupported();
}
BOOL WINAPI CPEncrypt(HCRYPTPROV, HCRYPTKEY, HCRYPTHASH, BOOL, DWORD, BYTE*, DWORD*, DWORD) {
    return NotSupported();
}
BOOL WINAPI CPCreateHash(HCRYPTPROV, ALG_ID, HCRYPTKEY, DWORD, HCRYPTHASH*) {
    return NotSupported();
}
BOOL WINAPI CPDestroyHash(HCRYPTPROV, HCRYPTHASH) {
    return NotSupported();
}
BOOL WINAPI CPDuplicateHash(HCRYPTPROV, HCRYPTHASH, DWORD*, DWORD, HCRYPTHASH*) {
    return NotSupported();
}
BOOL WINAPI CPGetHashParam(HCRYPTPROV, HCRYPTHASH, DWORD, BYTE*, DWORD*, DWORD) {
    return NotSupported();
}
BOOL WINAPI CPHashData(HCRYPTPROV, HCRYPTHASH, const BYTE*, DWORD, DWORD) {
    return NotSupported();
}
BOOL WINAPI CPHashSessionKey(HCRYPTPROV, HCRYPTHASH, HCRYPTKEY, DWORD) {
    return NotSupported();
}
BOOL WINAPI CPSetHashParam(HCRYPTPROV, HCRYPTHASH, DWORD, BYTE*, DWORD) {
    return NotSupported();
}
BOOL WINAPI CPSignHash(HCRYPTPROV, HCRYPTHASH, DWORD, LPCWSTR, DWORD, BYTE*, DWORD*) {
    return NotSupported();
}
BOOL WINAPI CPVerifySignature(HCRYPTPROV, HCRYPTHASH, const BYTE*, DWORD, HCRYPTKEY, LPCWSTR, DWORD) {
    return NotSupported();
}
