// The extensions of an open container, handed to an object one after the other.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <vector>

#include "csp/Outcome.h"

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
