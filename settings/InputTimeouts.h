// How long the provider's own dialogs wait for the user before they close as if cancelled. The configuration store
// holds a timeout for the user and one for the system, which applies to users without their own.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

#include "framework/Result.h"

constexpr int kLeastTimeout = 1, kMostTimeout = 65535;  // seconds

enum class TimeoutLevel { User, System };

// A stored timeout.
struct InputTimeout {
    bool infinite = false;
    int seconds = 600;  // of a finite timeout, from kLeastTimeout to kMostTimeout
};

// Creates the level's section if it is missing, since the rights to a missing one cannot be asked for. Call it before
// MayWriteTimeout.
void CreateTimeoutSection(TimeoutLevel level);

bool MayWriteTimeout(TimeoutLevel level);

// Nothing when none is stored or it cannot be read. A number out of range is read as the nearest valid one.
std::optional<InputTimeout> ReadTimeout(TimeoutLevel level);

// The provider has five timeouts, which get the same value. All of them are tried; one that fails keeps its value. Fail
// with the first code of the configuration store.
Result<> WriteTimeout(TimeoutLevel level, const InputTimeout& timeout);
Result<> RemoveTimeout(TimeoutLevel level);

// The level's section, and the paths of its five timeouts.
const wchar_t* TimeoutSection(TimeoutLevel level) noexcept;
std::vector<std::wstring> TimeoutPaths(TimeoutLevel level);
