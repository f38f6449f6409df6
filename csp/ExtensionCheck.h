// The check's rows on the extensions of a container.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include "csp/ContainerCheck.h"

// False when the extensions can't be listed: then nothing is known about them, and a check that found no error would
// claim more than it looked at. What one of them holds never makes an error.
bool CheckExtensions(HCRYPTPROV container, CheckReport& report);
