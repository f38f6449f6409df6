#include "csp/ContainerExtensions.h"

#include <cstring>
#include <exception>

#include "csp/ProviderParameters.h"

Result<> ContainerExtensions::Begin() {
    flags_ = CRYPT_FIRST;
    length_ = 0;
    const Result<> begun = Try(CryptGetProvParam(container_, kParameterExtensions, nullptr, &length_, CRYPT_FIRST));
    // At least one byte: a call without a buffer would return the length again, and succeed without end.
    if (begun) buffer_.assign(std::max<DWORD>(length_, 1), 0);
    return begun;
}

Result<std::span<const BYTE>> ContainerExtensions::Next() {
    if (size_ == BufferSize::Largest) length_ = static_cast<DWORD>(buffer_.size());
    const Result<> read = Try(CryptGetProvParam(container_, kParameterExtensions, buffer_.data(), &length_, flags_));
    if (!read) return read.Failed();
    flags_ = 0;  // the provider does not accept CRYPT_NEXT here
    length_ = std::min(length_, static_cast<DWORD>(buffer_.size()));
    return std::span<const BYTE>(buffer_).first(length_);
}

namespace {

constexpr std::size_t kMostRecords = 0x0FFFFFFF;

}  // namespace

bool ATL2::CContainerExtensionEnum::OnRawRecord(const BYTE*, DWORD) {
    return true;
}

bool ATL2::CContainerExtensionEnum::OnExtension(const BYTE*, const char*, DWORD, DWORD) {
    return true;
}

Result<> EnumContainerExtensions(HCRYPTPROV container, ATL2::CContainerExtensionEnum& extensions) {
    const auto end = [](Failure failure) { return failure.Is(ERROR_NO_MORE_ITEMS) ? Result<>() : failure; };
    ContainerExtensions records(container, ContainerExtensions::BufferSize::Largest);
    if (const Result<> begun = records.Begin(); !begun) return end(begun.Failed());
    Result<std::span<const BYTE>> bytes = records.Next();
    for (; bytes; bytes = records.Next()) {
        const auto record = ReadExtensionRecord(bytes->data(), bytes->size());
        if (!record) return Failure{ERROR_INVALID_DATA};
        if (!extensions.OnRawRecord(bytes->data(), static_cast<DWORD>(bytes->size())) ||
            !extensions.OnExtension(record->value.data(), record->identifier.data(),
                                    static_cast<DWORD>(record->value.size()), record->critical))
            return {};
    }
    return end(bytes.Failed());
}

// The vector's capacity begins with one record and is doubled each time it is used up.
bool Vestra::CSaveContainerExtensionsEnum::OnRawRecord(const BYTE* record, DWORD length) {
    try {
        const std::size_t capacity = records_->capacity();
        if (records_->size() == capacity) {
            const std::size_t doubled = capacity ? 2 * capacity : 1;
            failed_ = doubled > kMostRecords;
            if (failed_) return false;
            records_->reserve(doubled);
        }
        records_->emplace_back(record, record + length);
        return true;
    } catch (const std::exception&) {  // out of memory
        failed_ = true;
        return false;
    }
}

namespace {

// The part of `block` that begins at `bytes` and has `size` bytes; empty when it isn't completely inside.
std::span<const BYTE> Within(std::span<const BYTE> block, const void* bytes, std::size_t size) {
    const auto begin = reinterpret_cast<ULONG_PTR>(block.data());
    const auto at = reinterpret_cast<ULONG_PTR>(bytes);
    if (at < begin || at - begin > block.size() || size > block.size() - (at - begin)) return {};
    return block.subspan(at - begin, size);
}

}  // namespace

Result<Bytes> DecodeExtension(const ExtensionRecord& record) {
    return ReadBytes([&](BYTE* data, DWORD* length) {
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
