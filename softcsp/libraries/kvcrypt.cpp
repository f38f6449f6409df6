// The functions that the system calls for the provider's object identifiers and structures.
#include "softcsp/kvcrypt.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "softcsp/common/ExportGuard.h"
#include "softcsp/encoding/Certificates.h"

using namespace softcsp;

namespace {

struct Free {
    void operator()(BYTE* bytes) const { CryptMemFree(bytes); }
};
using CallersBytes = std::unique_ptr<BYTE, Free>;

// A copy that the caller releases. Throws if memory is short.
CallersBytes CopyForCaller(const Bytes& bytes) {
    CallersBytes copy(static_cast<BYTE*>(CryptMemAlloc(static_cast<ULONG>(bytes.size()))));
    if (copy == nullptr) throw std::bad_alloc();
    std::memcpy(copy.get(), bytes.data(), bytes.size());
    return copy;
}

// The structure and the times that it points to.
struct UsagePeriodBlock {
    KVCRYPT_USAGE_PERIOD_INFO info;
    FILETIME from;
    FILETIME to;
};

void GiveUsagePeriod(ByteView encoded, void* structure, DWORD* size) {
    const auto period = Required(DecodeUsagePeriod(encoded), CRYPT_E_ASN1_CORRUPT);
    GiveSized(sizeof(UsagePeriodBlock), structure, size, [&] {
        auto* block =
            new (structure) UsagePeriodBlock{{}, period.from.value_or(FILETIME{}), period.to.value_or(FILETIME{})};
        if (period.from) block->info.not_before = &block->from;
        if (period.to) block->info.not_after = &block->to;
    });
}

// The head, the array of blobs, and their bytes one after the other.
void GiveCertificates(ByteView encoded, void* structure, DWORD* size) {
    const auto certificates = Required(DecodeCertificateSequence(encoded), CRYPT_E_ASN1_CORRUPT);
    std::size_t needed = sizeof(CRYPT_SEQUENCE_OF_ANY) + certificates.size() * sizeof(CRYPT_DER_BLOB);
    for (ByteView certificate : certificates) needed += certificate.size();
    GiveSized(needed, structure, size, [&] {
        auto* head = static_cast<CRYPT_SEQUENCE_OF_ANY*>(structure);
        auto* blob = reinterpret_cast<CRYPT_DER_BLOB*>(head + 1);
        *head = {static_cast<DWORD>(certificates.size()), blob};
        auto* bytes = reinterpret_cast<BYTE*>(blob + certificates.size());
        for (ByteView certificate : certificates) {
            *blob++ = {static_cast<DWORD>(certificate.size()), bytes};
            bytes = std::ranges::copy(certificate, bytes).out;
        }
    });
}

using Decoder = void(ByteView encoded, void* structure, DWORD* size);

BOOL Decode(Decoder* decoder, const BYTE* encoded, DWORD encodedSize, void* structure, DWORD* size) {
    return Succeeded(Guarded([&] {
        Require(size != nullptr && (encoded != nullptr || encodedSize == 0), ERROR_INVALID_PARAMETER);
        decoder({encoded, encodedSize}, structure, size);
    }));
}

}  // namespace

BOOL WINAPI KvEncodePublicKeyAndParameters(DWORD, LPSTR, BYTE* blob, DWORD blob_size, DWORD, void*, BYTE** key,
                                           DWORD* key_size, BYTE** parameters, DWORD* parameters_size) {
    return Succeeded(Guarded([&] {
        Require(blob != nullptr && key != nullptr && key_size != nullptr && parameters != nullptr &&
                    parameters_size != nullptr,
                ERROR_INVALID_PARAMETER);
        const auto read = Required(ReadPublicKeyBlob({blob, blob_size}), ERROR_INVALID_DATA);
        const Bytes keyBytes = EncodePublicKey(read.key), parameterBytes = EncodeKeyParameters(read.key);
        CallersBytes keyCopy = CopyForCaller(keyBytes), parameterCopy = CopyForCaller(parameterBytes);
        *key = keyCopy.release();
        *key_size = static_cast<DWORD>(keyBytes.size());
        *parameters = parameterCopy.release();
        *parameters_size = static_cast<DWORD>(parameterBytes.size());
    }));
}

BOOL WINAPI KvConvertPublicKeyInfo(DWORD, CERT_PUBLIC_KEY_INFO* info, ALG_ID, DWORD, BYTE** blob, DWORD* blob_size) {
    return Succeeded(Guarded([&] {
        Require(info != nullptr && blob != nullptr && blob_size != nullptr, ERROR_INVALID_PARAMETER);
        const CRYPT_OBJID_BLOB& parameters = info->Algorithm.Parameters;
        const CRYPT_BIT_BLOB& key = info->PublicKey;
        const auto read = Required(DecodePublicKey({parameters.pbData, parameters.cbData}, {key.pbData, key.cbData}),
                                   CRYPT_E_ASN1_CORRUPT);
        const bool signs = read.curve->kind == ParameterKind::Signature;
        const Bytes bytes = WriteBlob({signs ? kAlgSignature : kAlgExchange, read});
        *blob = CopyForCaller(bytes).release();
        *blob_size = static_cast<DWORD>(bytes.size());
    }));
}

BOOL WINAPI KvDecodeUsagePeriod(DWORD, LPCSTR, const BYTE* encoded, DWORD encoded_size, DWORD, void* structure,
                                DWORD* size) {
    return Decode(GiveUsagePeriod, encoded, encoded_size, structure, size);
}

BOOL WINAPI KvDecodeCertificates(DWORD, LPCSTR, const BYTE* encoded, DWORD encoded_size, DWORD, void* structure,
                                 DWORD* size) {
    return Decode(GiveCertificates, encoded, encoded_size, structure, size);
}

BOOL WINAPI SetThreadDefaultCryptProv(HCRYPTPROV) {
    return TRUE;
}
