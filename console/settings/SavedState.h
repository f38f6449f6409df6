// The state of places that are about to be written: in the configuration store and in the Windows registry. A sequence
// of writes saves each place before it writes there, and puts all of them back when one write fails.
#pragma once

#include <windows.h>

#include <memory>
#include <string>

#include "csp/Providers.h"
#include "framework/Result.h"

class SavedPlace {
  public:
    virtual ~SavedPlace() = default;

    // Restores the place, whatever was written there since. Fails with the code of the first call that failed.
    virtual Result<> PutBack() const = 0;
};

// Fail, with ERROR_INVALID_DATA or the code of the call that failed, when the place has something that can't be read
// reliably, and so couldn't be put back. A missing parameter, section or value is a state like any other.
//
// A parameter, with the sections above it: those that are missing now are removed again if they are empty.
Result<std::unique_ptr<SavedPlace>> SaveParameter(const std::wstring& path);
// A section with everything in it.
Result<std::unique_ptr<SavedPlace>> SaveSection(const std::wstring& path);
// Below HKEY_LOCAL_MACHINE.
Result<std::unique_ptr<SavedPlace>> SaveRegistryValue(const RegistryPlace& place);
