// The check of a private key container: its names, integrity, keys, their certificates, and its extensions.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include "csp/CheckReport.h"
#include "csp/CryptProvContext.h"

// Checks an open container and reports what it finds; the verdict comes last. The certificates of the keys are searched
// for in the system stores of `keySet`. Returns true when no errors were found.
bool CheckContainer(HCRYPTPROV container, KeySet keySet, CheckReport& report);
