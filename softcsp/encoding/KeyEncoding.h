// Keys as certificates and key blobs encode them (RFC 4491, 2.3.2). Independent of <windows.h>, so that it can be
// fuzzed natively.
#pragma once

#include <cstdint>
#include <optional>

#include "softcsp/common/Bytes.h"
#include "softcsp/crypto/KeyPair.h"
#include "softcsp/crypto/Cipher.h"
#include "softcsp/crypto/ParameterSet.h"

namespace softcsp {

// Object identifiers of algorithms (RFC 4357, 4490, 4491).
constexpr char kPublicKeyIdentifier[] = "1.2.643.2.2.19";  // GOST R 34.10-2001
constexpr char kSignatureIdentifier[] = "1.2.643.2.2.3";   // GOST R 34.11-94 with GOST R 34.10-2001
constexpr char kDigestIdentifier[] = "1.2.643.2.2.9";      // GOST R 34.11-94
constexpr char kCipherIdentifier[] = "1.2.643.2.2.21";     // GOST 28147-89

// The same algorithms for the system, as its ALG_ID.
constexpr std::uint32_t kAlgDigest = 0x801E;
constexpr std::uint32_t kAlgCipher = 0x661E;
constexpr std::uint32_t kAlgDiversifiedWrap = 0x661F;
constexpr std::uint32_t kAlgSignature = 0x2E23;          // keys that sign
constexpr std::uint32_t kAlgExchange = 0xAA24;           // keys that sign and agree
constexpr std::uint32_t kAlgEphemeralExchange = 0xAA25;  // never stored

// A public key with the sets that belong to it.
struct PublicKeyData {
    const ParameterSet* curve = nullptr;  // of kind Signature or Exchange
    const ParameterSet* digest = nullptr;
    PublicKey key{};
};

// GostR3410-2001-PublicKeyParameters: the sequence of the two identifiers.
Bytes EncodeKeyParameters(const PublicKeyData& key);
// The key's bit string content: an octet string of 64 bytes.
Bytes EncodePublicKey(const PublicKeyData& key);
// Empty if anything is malformed or a set is unknown. A third identifier, of a cipher set, is allowed and ignored.
// Whether the key is a point of the curve is not checked.
std::optional<PublicKeyData> DecodePublicKey(ByteView parameters, ByteView key);

// PUBLICKEYBLOB: a BLOBHEADER (PUBLICKEYBLOB, CUR_BLOB_VERSION, the algorithm), four bytes "SPK1", the length of the
// parameters (32 bits, little-endian), the parameters' DER, the key's 64 bytes.
struct PublicKeyBlob {
    std::uint32_t algorithm = 0;
    PublicKeyData key;
};

Bytes WriteBlob(const PublicKeyBlob& blob);
// Empty for another type, version or magic, a wrong length, or unknown sets.
std::optional<PublicKeyBlob> ReadPublicKeyBlob(ByteView bytes);

// Keys exported in wrapped form. All are a BLOBHEADER, four magic bytes, then little-endian numbers and bytes.
//
// SIMPLEBLOB   "SSK1", the wrapping (number: 0 plain, 1 diversified), keying material (8 bytes), the wrapped key (32),
//              its authentication code (4). Wrapped by an agreement key with this keying material.
// PRIVATEKEYBLOB   "SVK1", then the same, then the length of the parameters (number) and their DER, as in a
//              PUBLICKEYBLOB. Wrapped by a session key.
struct WrappedBlob {
    std::uint32_t algorithm = 0;  // of the key inside
    Wrapping wrapping = Wrapping::Plain;
    KeyingMaterial material{};
    WrappedKey wrapped{};
    std::optional<PublicKeyData> parameters{};  // PRIVATEKEYBLOB only; `key` is not part of the blob
};

// The type is PRIVATEKEYBLOB if there are parameters, else SIMPLEBLOB.
Bytes WriteBlob(const WrappedBlob& blob);
// Empty unless it is exactly one of the two.
std::optional<WrappedBlob> ReadWrappedBlob(ByteView bytes);

}  // namespace softcsp
