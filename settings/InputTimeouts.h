// How long the provider's own dialogs wait for the user before they close as if cancelled. The configuration store
// holds a timeout for the user and one for the system, which applies to users without their own.
#pragma once

#include <windows.h>

#include <optional>

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

// The provider has five timeouts, which get the same value. Failures are not reported; such a timeout keeps its value.
void WriteTimeout(TimeoutLevel level, const InputTimeout& timeout);
void RemoveTimeout(TimeoutLevel level);
