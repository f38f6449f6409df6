// The names of a provider's containers.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <string>

#include "csp/CryptoValues.h"

class ContainerNames {
  public:
    // `provider` is a context without a container.
    explicit ContainerNames(HCRYPTPROV provider) noexcept : provider_(provider) {}

    // The next name; it may be empty, and such a container can't be opened by it. Fails with ERROR_NO_MORE_ITEMS at the
    // end, otherwise with the provider's code; any failure ends the listing.
    Result<std::wstring> Next();

  private:
    HCRYPTPROV provider_;
    DWORD flags_ = CRYPT_FIRST;
    Bytes buffer_;
};
