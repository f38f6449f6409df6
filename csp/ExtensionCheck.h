// The check's rows on the extensions of a container.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include "csp/ContainerCheck.h"

// False when the extensions can't be listed. What one of them holds never makes an error.
bool CheckExtensions(HCRYPTPROV container, CheckReport& report);
