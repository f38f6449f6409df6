// Keys that leave a context wrapped. All are a BLOBHEADER, four magic bytes, then little-endian numbers and bytes.
//
// SIMPLEBLOB   "SSK1", the wrapping (number: 0 plain, 1 diversified), keying material (8 bytes), the wrapped key (32),
//              its authentication code (4). Wrapped by an agreement key, whose keying material it carries.
// PRIVATEKEYBLOB   "SVK1", then the same, then the length of the parameters (number) and their DER, as in a
//              PUBLICKEYBLOB. Wrapped by a session key.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <optional>

#include "softcsp/common/Bytes.h"
#include "softcsp/crypto/KeyWrap.h"
#include "softcsp/encoding/PublicKeyEncoding.h"

namespace softcsp {

struct WrappedBlob {
    ALG_ID algorithm = 0;  // of the key inside
    Wrapping wrapping = Wrapping::Plain;
    KeyingMaterial material{};
    WrappedKey wrapped{};
    std::optional<PublicKeyData> parameters;  // PRIVATEKEYBLOB only; its `key` isn't part of the blob
};

// The type is PRIVATEKEYBLOB when there are parameters, else SIMPLEBLOB.
Bytes WriteBlob(const WrappedBlob& blob);
// Nothing when it is neither, to the byte.
std::optional<WrappedBlob> ReadWrappedBlob(ByteView bytes);

}  // namespace softcsp
