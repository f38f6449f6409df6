#include "csp/CertificateSequence.h"

#include <cstring>

#include "csp/CertificateEncoding.h"

namespace {

// The part of `block` that `bytes` and `size` name; empty when it isn't all there.
std::span<const BYTE> Within(std::span<const BYTE> block, const void* bytes, std::size_t size) {
    const auto begin = reinterpret_cast<ULONG_PTR>(block.data());
    const auto at = reinterpret_cast<ULONG_PTR>(bytes);
    if (at < begin || at - begin > block.size() || size > block.size() - (at - begin)) return {};
    return block.subspan(at - begin, size);
}

}  // namespace

BytesOutcome DecodeExtension(const ExtensionRecord& record) {
    return AskLengthFirst([&](BYTE* data, DWORD* length) {
        return CryptDecodeObject(kCertificateEncoding, record.identifier.data(), record.value.data(),
                                 static_cast<DWORD>(record.value.size()), 0, data, length);
    });
}

std::vector<std::span<const BYTE>> SequenceBlobs(std::span<const BYTE> decoded) {
    std::vector<std::span<const BYTE>> all;
    if (decoded.size() < sizeof(CRYPT_SEQUENCE_OF_ANY)) return all;
    const auto* sequence = reinterpret_cast<const CRYPT_SEQUENCE_OF_ANY*>(decoded.data());
    const auto blobs = Within(decoded, sequence->rgValue, sequence->cValue * sizeof(CRYPT_DER_BLOB));
    for (std::size_t at = 0; at + sizeof(CRYPT_DER_BLOB) <= blobs.size(); at += sizeof(CRYPT_DER_BLOB)) {
        CRYPT_DER_BLOB blob;
        std::memcpy(&blob, blobs.data() + at, sizeof blob);
        all.push_back(Within(decoded, blob.pbData, blob.cbData));
    }
    return all;
}
