#include "softcsp/kvcrypt.h"

#include <cstring>
#include <memory>

#include "softcsp/encoding/PublicKeyEncoding.h"
#include "softcsp/kvcrypt/Export.h"

using namespace softcsp;

namespace {

struct Free {
    void operator()(BYTE* bytes) const { CryptMemFree(bytes); }
};
using GivenBytes = std::unique_ptr<BYTE, Free>;

// A copy that the caller can release. Throws when memory is short.
GivenBytes Give(const Bytes& bytes) {
    GivenBytes given(static_cast<BYTE*>(CryptMemAlloc(static_cast<ULONG>(bytes.size()))));
    if (given == nullptr) throw std::bad_alloc();
    std::memcpy(given.get(), bytes.data(), bytes.size());
    return given;
}

}  // namespace

BOOL WINAPI KvEncodePublicKeyAndParameters(DWORD, LPSTR, BYTE* blob, DWORD blob_size, DWORD, void*, BYTE** key,
                                           DWORD* key_size, BYTE** parameters, DWORD* parameters_size) {
    return Answered([&]() -> DWORD {
        if (blob == nullptr || key == nullptr || key_size == nullptr || parameters == nullptr ||
            parameters_size == nullptr)
            return ERROR_INVALID_PARAMETER;
        const auto read = ReadPublicKeyBlob(View(blob, blob_size));
        if (!read) return ERROR_INVALID_DATA;
        const Bytes keyBytes = EncodePublicKey(read->key), parameterBytes = EncodeKeyParameters(read->key);
        GivenBytes givenKey = Give(keyBytes), givenParameters = Give(parameterBytes);
        *key = givenKey.release();
        *key_size = static_cast<DWORD>(keyBytes.size());
        *parameters = givenParameters.release();
        *parameters_size = static_cast<DWORD>(parameterBytes.size());
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI KvConvertPublicKeyInfo(DWORD, CERT_PUBLIC_KEY_INFO* info, ALG_ID, DWORD, BYTE** blob, DWORD* blob_size) {
    return Answered([&]() -> DWORD {
        if (info == nullptr || blob == nullptr || blob_size == nullptr) return ERROR_INVALID_PARAMETER;
        const CRYPT_OBJID_BLOB& parameters = info->Algorithm.Parameters;
        const CRYPT_BIT_BLOB& key = info->PublicKey;
        const auto read = DecodePublicKey(View(parameters.pbData, parameters.cbData), View(key.pbData, key.cbData));
        if (!read) return kMalformed;
        const bool signs = read->curve->kind == ParameterKind::Signature;
        const Bytes bytes = WriteBlob({signs ? kAlgSignature : kAlgExchange, *read});
        *blob = Give(bytes).release();
        *blob_size = static_cast<DWORD>(bytes.size());
        return ERROR_SUCCESS;
    });
}
