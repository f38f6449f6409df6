// The containers of a provider: their names, and the password of one of them.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <string>

#include "csp/CryptoValues.h"

// The names of a provider's containers.
class ContainerNames {
  public:
    // `provider` is a context without a container.
    explicit ContainerNames(HCRYPTPROV provider) noexcept : provider_(provider) {}

    // The next name; it may be empty, and such a container can't be opened by it. Fails with ERROR_NO_MORE_ITEMS at the
    // end, with ERROR_NO_UNICODE_TRANSLATION when the system can't convert a name, otherwise with the provider's code.
    // Any failure ends the listing.
    Result<std::wstring> Next();

  private:
    HCRYPTPROV provider_;
    DWORD flags_ = CRYPT_FIRST;
    Bytes buffer_;
};

// Lets the provider change the password of an open container: it asks for the old one and the new one in its own
// dialogs. Fails with the provider's code; ERROR_CANCELLED when the user cancelled.
Result<> ChangePassword(HCRYPTPROV container) noexcept;
