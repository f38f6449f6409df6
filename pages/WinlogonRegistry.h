// What the Winlogon page asks Windows itself: what kind of system this is, and what the registry says.
#pragma once

#include <windows.h>

#include <string>

#include "pages/WinlogonState.h"

bool IsDomainController() noexcept;

// Whether a provider is registered with a kind of implementation, whichever; such are offered for logon.
bool HasImplementationType(const std::wstring& provider);

KdcSetting ReadKdcSetting() noexcept;
LSTATUS WriteKdcSetting(bool on) noexcept;
