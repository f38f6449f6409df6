#include "csp/ContainerExtensions.h"

#include <cstring>
#include <exception>

#include "csp/CryptoValues.h"
#include "csp/ExtensionRecord.h"
#include "csp/ProviderParameters.h"

Outcome ContainerExtensions::Begin() {
    flags_ = CRYPT_FIRST;
    length_ = 0;
    const Outcome outcome = Taken(CryptGetProvParam(container_, kParameterExtensions, nullptr, &length_, CRYPT_FIRST));
    // Never without a buffer, which would ask for the length again, and succeed for ever.
    if (outcome.done) buffer_.assign(std::max<DWORD>(length_, 1), 0);
    return outcome;
}

std::optional<std::span<const BYTE>> ContainerExtensions::Next() {
    if (room_ == Room::Largest) length_ = static_cast<DWORD>(buffer_.size());
    end_ = Taken(CryptGetProvParam(container_, kParameterExtensions, buffer_.data(), &length_, flags_));
    if (!end_.done) return {};
    flags_ = 0;  // CRYPT_NEXT isn't what the provider wants here
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

HRESULT EnumContainerExtensions(HCRYPTPROV container, ATL2::CContainerExtensionEnum& extensions) {
    ContainerExtensions records(container, ContainerExtensions::Room::Largest);
    const Outcome begun = records.Begin();
    if (!begun.done) return IsCode(begun.error, ERROR_NO_MORE_ITEMS) ? S_OK : ResultOf(begun);
    while (const auto bytes = records.Next()) {
        const auto record = ReadExtensionRecord(bytes->data(), bytes->size());
        if (!record) return HRESULT_FROM_WIN32(ERROR_INVALID_DATA);
        if (!extensions.OnRawRecord(bytes->data(), static_cast<DWORD>(bytes->size())) ||
            !extensions.OnExtension(record->value.data(), record->identifier.data(),
                                    static_cast<DWORD>(record->value.size()), record->critical))
            return S_OK;
    }
    return IsCode(records.End().error, ERROR_NO_MORE_ITEMS) ? S_OK : ResultOf(records.End());
}

// Room for one record, then for twice as many each time.
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
    } catch (const std::exception&) {  // no memory
        failed_ = true;
        return false;
    }
}

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
