// The extension records of an open container, one after the other.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <optional>
#include <span>

#include "csp/Outcome.h"

class ContainerExtensions {
  public:
    explicit ContainerExtensions(HCRYPTPROV container) : container_(container) {}

    // Begins the listing with room for the first record. Failing with ERROR_NO_MORE_ITEMS: there are none.
    Outcome Begin();

    // The next record (csp/ExtensionRecord.h), which holds until the following call; nothing at the end. What the
    // provider can't put into the room that the record before it took ends the listing too: for a report that will do.
    std::optional<std::span<const BYTE>> Next();

  private:
    HCRYPTPROV container_;
    DWORD flags_ = CRYPT_FIRST;
    DWORD length_ = 0;  // of the last record, and the room told to the provider for the next one
    Bytes buffer_;
};
