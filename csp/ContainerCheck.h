// The check of a private key container: its names, integrity, keys, their certificates, and its extensions.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <string_view>

#include "csp/CryptProvContext.h"

// Thrown by a report to cancel the check. The check ends at once, without a verdict.
struct CheckCancelled {};

// Receives each row as soon as it is found. Labels, and values given as numbers, are ids of strings (IDS_…). Exceptions
// thrown by a report pass through the check to its caller.
struct CheckReport {
    virtual void Row(UINT label, UINT value) = 0;  // value 0: none
    virtual void Row(UINT label, std::wstring_view value) = 0;
    virtual void Failure(UINT label, DWORD error) = 0;       // the row's value is the text of the code
    virtual void Continuation(std::wstring_view value) = 0;  // a row without a label
    virtual void Continuation(UINT value) = 0;
    virtual void Verdict(UINT label, UINT value) = 0;  // inserted above all other rows; value 0: none

  protected:
    ~CheckReport() = default;
};

// Checks an open container and reports what it finds; the verdict comes last. The certificates of the keys are searched
// for in the system stores of `keySet`. Returns true when no errors were found.
bool CheckContainer(HCRYPTPROV container, KeySet keySet, CheckReport& report);
