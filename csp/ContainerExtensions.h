// The extension records of an open container, one after the other.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <optional>
#include <span>
#include <vector>

#include "csp/CryptoValues.h"
#include "csp/ExtensionRecord.h"

class ContainerExtensions {
  public:
    // How much of the buffer, which has room for the largest record, the provider is told of.
    enum class Room {
        RecordBefore,  // as much as the record before took; a longer one ends the listing. For a report that will do
        Largest,
    };

    explicit ContainerExtensions(HCRYPTPROV container, Room room = Room::RecordBefore)
        : container_(container), room_(room) {}

    // Begins the listing. Failing with ERROR_NO_MORE_ITEMS: there are none.
    Outcome Begin();

    // The next record (csp/ExtensionRecord.h), which holds until the following call; nothing at the end.
    std::optional<std::span<const BYTE>> Next();

    // Why Next gave nothing: ERROR_NO_MORE_ITEMS after the last record.
    const Outcome& End() const noexcept { return end_; }

  private:
    HCRYPTPROV container_;
    Room room_;
    Outcome end_;
    DWORD flags_ = CRYPT_FIRST;
    DWORD length_ = 0;  // of the last record, and the room told to the provider for the next one
    Bytes buffer_;
};

// The extensions of an open container, handed to an object one after the other.

namespace ATL2 {

// Takes each record (csp/ExtensionRecord.h), first as it is, then read. False ends the listing.
class CContainerExtensionEnum {
  public:
    virtual bool OnRawRecord(const BYTE* record, DWORD length);
    virtual bool OnExtension(const BYTE* value, const char* identifier, DWORD length, DWORD critical);

    virtual ~CContainerExtensionEnum() = default;
};

}  // namespace ATL2

// S_OK also when there are none, and when the object ended the listing. HRESULT_FROM_WIN32(ERROR_INVALID_DATA) for a
// record that ends too early; else the failing call's code.
HRESULT EnumContainerExtensions(HCRYPTPROV container, ATL2::CContainerExtensionEnum& extensions);

namespace Vestra {

// Keeps the records as they are.
class CSaveContainerExtensionsEnum : public ATL2::CContainerExtensionEnum {
  public:
    // `records` stays the caller's.
    explicit CSaveContainerExtensionsEnum(std::vector<Bytes>& records) : records_(&records) {}

    bool OnRawRecord(const BYTE* record, DWORD length) override;

    // True: a record couldn't be kept, and the listing ended there.
    bool Failed() const noexcept { return failed_; }

  private:
    std::vector<Bytes>* records_;
    bool failed_ = false;
};

}  // namespace Vestra

// The certificates in the value of a container's extension.

// The value decoded by the decoder that is registered for the extension's identifier.
BytesOutcome DecodeExtension(const ExtensionRecord& record);

// The blobs of a decoded sequence, whole certificates as a rule; they lie in `decoded`. The record's identifier chose
// the decoder, and it may have made something else altogether, so nothing is taken that doesn't lie in there: such a
// blob is empty.
std::vector<std::span<const BYTE>> SequenceBlobs(std::span<const BYTE> decoded);
