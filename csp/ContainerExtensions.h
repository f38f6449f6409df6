// The extension records of an open container, and the certificates in them. csp/ExtensionRecord.h describes a record.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <span>
#include <vector>

#include "csp/CryptoValues.h"
#include "csp/ExtensionRecord.h"

// Lists the records. Call Begin once, then Next until it fails.
class ContainerExtensions {
  public:
    // The buffer has the size of the largest record. This is the size that each call passes to the provider.
    enum class BufferSize {
        PreviousRecord,  // the length of the previous record; a longer record ends the listing. For reports
        Largest,
    };

    explicit ContainerExtensions(HCRYPTPROV container, BufferSize size = BufferSize::PreviousRecord)
        : container_(container), size_(size) {}

    // Fails with ERROR_NO_MORE_ITEMS when the container has no extensions.
    Result<> Begin();

    // The next record. It is valid until the following call. Fails with ERROR_NO_MORE_ITEMS after the last one.
    Result<std::span<const BYTE>> Next();

  private:
    HCRYPTPROV container_;
    BufferSize size_;
    DWORD flags_ = CRYPT_FIRST;
    DWORD length_ = 0;  // of the previous record
    Bytes buffer_;
};

namespace ATL2 {

// Receives the records of a container from EnumContainerExtensions: each one first as it is, then its parts. False ends
// the enumeration.
class CContainerExtensionEnum {
  public:
    virtual bool OnRawRecord(const BYTE* record, DWORD length);
    virtual bool OnExtension(const BYTE* value, const char* identifier, DWORD length, DWORD critical);

    virtual ~CContainerExtensionEnum() = default;
};

}  // namespace ATL2

// Enumerates the extensions of an open container. Succeeds also when there are none, and when `extensions` ended the
// enumeration. Fails with ERROR_INVALID_DATA for an incomplete record, otherwise with the provider's code.
Result<> EnumContainerExtensions(HCRYPTPROV container, ATL2::CContainerExtensionEnum& extensions);

namespace Vestra {

// Appends the records as they are to a vector of the caller, which must outlive the object.
class CSaveContainerExtensionsEnum : public ATL2::CContainerExtensionEnum {
  public:
    explicit CSaveContainerExtensionsEnum(std::vector<Bytes>& records) : records_(&records) {}

    bool OnRawRecord(const BYTE* record, DWORD length) override;

    // Whether a record could not be appended, which ended the enumeration.
    bool Failed() const noexcept { return failed_; }

  private:
    std::vector<Bytes>* records_;
    bool failed_ = false;
};

}  // namespace Vestra

// The value of a record, decoded by the decoder that is registered for its identifier.
Result<Bytes> DecodeExtension(const ExtensionRecord& record);

// The blobs of a decoded sequence; they point into `decoded`. Extensions of authorities hold one certificate per blob.
// The identifier of the record selected the decoder, so `decoded` may be any other structure: a blob that isn't
// completely inside `decoded` is returned empty.
std::vector<std::span<const BYTE>> SequenceBlobs(std::span<const BYTE> decoded);
