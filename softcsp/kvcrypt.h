// The library kvcrypt.dll: the functions that the system calls for the provider's algorithms and structures. The first
// four are registered by "softcsp init" for the object identifiers named, with the encoding X509_ASN_ENCODING.
//
// Every function returns TRUE, or FALSE and sets the thread's last error. Malformed DER is CRYPT_E_ASN1_CORRUPT, a
// malformed blob ERROR_INVALID_DATA, a missing argument ERROR_INVALID_PARAMETER. Nothing is read beyond the given
// bytes.
#pragma once

#include <windows.h>
#include <wincrypt.h>

extern "C" {

// The caller releases the results with CryptMemFree. Sizes are in bytes.

// "CryptDllEncodePublicKeyAndParameters": from a PUBLICKEYBLOB of the provider to a certificate's public key and the
// parameters of its algorithm. The identifier, the flags and `auxiliary` are ignored.
BOOL WINAPI KvEncodePublicKeyAndParameters(DWORD encoding, LPSTR identifier, BYTE* blob, DWORD blob_size, DWORD flags,
                                           void* auxiliary, BYTE** key, DWORD* key_size, BYTE** parameters,
                                           DWORD* parameters_size);

// "CryptDllConvertPublicKeyInfo": the reverse. The blob has the algorithm of keys that agree, unless the key's curve is
// for signatures only. `algorithm` is ignored; the system sets it itself.
BOOL WINAPI KvConvertPublicKeyInfo(DWORD encoding, CERT_PUBLIC_KEY_INFO* info, ALG_ID algorithm, DWORD flags,
                                   BYTE** blob, DWORD* blob_size);

// By the rules of CryptDecodeObject: *size is the size of the buffer on input and that of the structure, with
// everything that it points to, on output. Without a buffer only the size is returned; a small buffer is
// ERROR_MORE_DATA. Flags are ignored: the structure never points into the encoded bytes.

#define KVCRYPT_USAGE_PERIOD "{3F1C8A52-7D04-4E96-B2A8-5C6E19D0B7F3}"

// The value of a certificate's private key usage period, 2.5.29.16. A missing time is a null pointer.
struct KVCRYPT_USAGE_PERIOD_INFO {
    FILETIME* not_before;  // UTC
    FILETIME* not_after;
};

// For KVCRYPT_USAGE_PERIOD: a KVCRYPT_USAGE_PERIOD_INFO.
BOOL WINAPI KvDecodeUsagePeriod(DWORD encoding, LPCSTR type, const BYTE* encoded, DWORD encoded_size, DWORD flags,
                                void* structure, DWORD* size);

// For the extensions of containers: 1.2.643.2.2.37.3.1 (certificates of intermediate authorities),
// 1.2.643.2.2.37.3.2 and 1.2.643.2.2.37.3.3 (of root authorities). A CRYPT_SEQUENCE_OF_ANY whose blobs are whole
// certificates, not checked any further.
BOOL WINAPI KvDecodeCertificates(DWORD encoding, LPCSTR type, const BYTE* encoded, DWORD encoded_size, DWORD flags,
                                 void* structure, DWORD* size);

// Sets the provider for the thread's next verifications; 0 resets it. Always TRUE: this library verifies nothing, so
// that it needs no handle.
BOOL WINAPI SetThreadDefaultCryptProv(HCRYPTPROV provider);
}
