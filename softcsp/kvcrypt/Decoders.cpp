#include "softcsp/kvcrypt.h"

#include <algorithm>

#include "softcsp/encoding/Certificates.h"
#include "softcsp/kvcrypt/Export.h"

using namespace softcsp;

namespace {

// Tells the structure's size and, if there is room, has it written into the buffer.
template <class Write>
DWORD GiveStructure(std::size_t needed, void* structure, DWORD* size, Write&& write) {
    if (needed > MAXDWORD) return ERROR_INVALID_DATA;
    const DWORD room = *size;
    *size = static_cast<DWORD>(needed);
    if (structure == nullptr) return ERROR_SUCCESS;
    if (room < needed) return ERROR_MORE_DATA;
    write();
    return ERROR_SUCCESS;
}

// The period and behind it the times it points to.
struct UsagePeriodBlock {
    KVCRYPT_USAGE_PERIOD_INFO info;
    FILETIME from;
    FILETIME to;
};

DWORD GiveUsagePeriod(ByteView encoded, void* structure, DWORD* size) {
    const auto period = DecodeUsagePeriod(encoded);
    if (!period) return kMalformed;
    return GiveStructure(sizeof(UsagePeriodBlock), structure, size, [&] {
        auto* block =
            new (structure) UsagePeriodBlock{{}, period->from.value_or(FILETIME{}), period->to.value_or(FILETIME{})};
        if (period->from) block->info.not_before = &block->from;
        if (period->to) block->info.not_after = &block->to;
    });
}

// The head, the array of blobs, then their bytes one after the other.
DWORD GiveCertificates(ByteView encoded, void* structure, DWORD* size) {
    const auto certificates = DecodeCertificateSequence(encoded);
    if (!certificates) return kMalformed;
    std::size_t needed = sizeof(CRYPT_SEQUENCE_OF_ANY) + certificates->size() * sizeof(CRYPT_DER_BLOB);
    for (ByteView certificate : *certificates) needed += certificate.size();
    return GiveStructure(needed, structure, size, [&] {
        auto* head = static_cast<CRYPT_SEQUENCE_OF_ANY*>(structure);
        auto* blob = reinterpret_cast<CRYPT_DER_BLOB*>(head + 1);
        *head = {static_cast<DWORD>(certificates->size()), blob};
        auto* bytes = reinterpret_cast<BYTE*>(blob + certificates->size());
        for (ByteView certificate : *certificates) {
            *blob++ = {static_cast<DWORD>(certificate.size()), bytes};
            bytes = std::ranges::copy(certificate, bytes).out;
        }
    });
}

using Decoder = DWORD(ByteView encoded, void* structure, DWORD* size);

BOOL Decode(Decoder* decoder, const BYTE* encoded, DWORD encodedSize, void* structure, DWORD* size) {
    return Answered([&]() -> DWORD {
        if (size == nullptr || (encoded == nullptr && encodedSize > 0)) return ERROR_INVALID_PARAMETER;
        return decoder(View(encoded, encodedSize), structure, size);
    });
}

}  // namespace

BOOL WINAPI KvDecodeUsagePeriod(DWORD, LPCSTR, const BYTE* encoded, DWORD encoded_size, DWORD, void* structure,
                                DWORD* size) {
    return Decode(GiveUsagePeriod, encoded, encoded_size, structure, size);
}

BOOL WINAPI KvDecodeCertificates(DWORD, LPCSTR, const BYTE* encoded, DWORD encoded_size, DWORD, void* structure,
                                 DWORD* size) {
    return Decode(GiveCertificates, encoded, encoded_size, structure, size);
}
