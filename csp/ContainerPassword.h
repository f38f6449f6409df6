// The password of a container.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include "framework/Result.h"

// Lets the provider change the password of an open container: it asks for the old one and the new one in its own
// dialogs. Fails with the provider's code; ERROR_CANCELLED when the user cancelled.
Result<> ChangePassword(HCRYPTPROV container) noexcept;
