// The extension records of an open container, one after the other.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <optional>
#include <span>

#include "csp/Outcome.h"

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
