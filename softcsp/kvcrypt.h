// The library kvcrypt.dll: what the system asks when it meets the provider's algorithms and structures. The first four
// are functions for object identifiers; softcsp init registers each of them for the identifiers named, under the
// encoding X509_ASN_ENCODING. The system finds them by these registrations, nobody else needs to call them.
//
// Every function returns TRUE, or FALSE with a code in the thread's last error; nothing is thrown. Malformed DER is
// CRYPT_E_ASN1_CORRUPT, a malformed blob ERROR_INVALID_DATA, a missing argument ERROR_INVALID_PARAMETER. Nothing is
// read past the bytes that are given.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#ifndef KV_API
#define KV_API /* the library itself is compiled with __declspec(dllexport) */
#endif

#ifdef __cplusplus
extern "C" {
#endif

// --- Public keys, 1.2.643.2.2.19 -----------------------------------------------------------------------------------
// What they give out is the caller's, to be released with CryptMemFree; sizes are in bytes.

// "CryptDllEncodePublicKeyAndParameters": from a PUBLICKEYBLOB of the provider to a certificate's public key and the
// parameters of its algorithm. The identifier, the flags and what comes with them are left aside.
KV_API BOOL WINAPI KvEncodePublicKeyAndParameters(DWORD encoding, LPSTR identifier, BYTE* blob, DWORD blob_size,
                                                  DWORD flags, void* auxiliary, BYTE** key, DWORD* key_size,
                                                  BYTE** parameters, DWORD* parameters_size);

// "CryptDllConvertPublicKeyInfo": the other way. The blob's algorithm is the one of keys that agree, unless the key's
// curve is for signatures only; the algorithm that is passed is left aside, the system puts it in itself.
KV_API BOOL WINAPI KvConvertPublicKeyInfo(DWORD encoding, CERT_PUBLIC_KEY_INFO* info, ALG_ID algorithm, DWORD flags,
                                          BYTE** blob, DWORD* blob_size);

// --- Structures, "CryptDllDecodeObject" ----------------------------------------------------------------------------
// By CryptDecodeObject's rules: *size is the buffer's size and takes the structure's, all of which lies in this one
// block; with no buffer only the size is told; ERROR_MORE_DATA when it is too small. Flags are left aside: the
// structure never points into the bytes that it was decoded from.

#define KVCRYPT_USAGE_PERIOD "{3F1C8A52-7D04-4E96-B2A8-5C6E19D0B7F3}"

// The value of a certificate's private key usage period, 2.5.29.16. A time that is missing is a null pointer.
typedef struct KVCRYPT_USAGE_PERIOD_INFO {
    FILETIME* not_before;  // UTC
    FILETIME* not_after;
} KVCRYPT_USAGE_PERIOD_INFO;

// For KVCRYPT_USAGE_PERIOD: a KVCRYPT_USAGE_PERIOD_INFO.
KV_API BOOL WINAPI KvDecodeUsagePeriod(DWORD encoding, LPCSTR type, const BYTE* encoded, DWORD encoded_size,
                                       DWORD flags, void* structure, DWORD* size);

// For the extensions of containers: 1.2.643.2.2.37.3.1 (certificates of intermediate authorities),
// 1.2.643.2.2.37.3.2 and 1.2.643.2.2.37.3.3 (of root authorities). A CRYPT_SEQUENCE_OF_ANY whose blobs are whole
// certificates, not checked any further.
KV_API BOOL WINAPI KvDecodeCertificates(DWORD encoding, LPCSTR type, const BYTE* encoded, DWORD encoded_size,
                                        DWORD flags, void* structure, DWORD* size);

// --- Threads -------------------------------------------------------------------------------------------------------

// Tells which provider the thread's next verifications are to use; 0 takes that back. TRUE always: this library
// verifies nothing itself, so it holds on to no handle, and any is fine.
KV_API BOOL WINAPI SetThreadDefaultCryptProv(HCRYPTPROV provider);

#ifdef __cplusplus
}
#endif
