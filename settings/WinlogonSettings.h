// What the Winlogon page asks Windows itself: what kind of system this is, and what the registry says.
#pragma once

#include <windows.h>

#include <span>
#include <string>

// What the Winlogon page shows and lets the user change, and what follows from it. Plain values, no window.

// Whether the Kerberos key distribution center works with the product's algorithms, as the registry says it.
enum class KdcSetting {
    Unavailable,  // no domain controller, or the registry doesn't let it be read
    Off,
    On,
    Missing,  // which stands for on
};

// `found`: a number is stored. The number means the opposite: 1 and above keep the system's algorithms.
KdcSetting KdcSettingOf(bool found, LONG number) noexcept;

// Check marks are BST_… values; the reader is a position in its list, where 0 is "not set" and -1 nothing.
struct WinlogonValues {
    int kdc = BST_UNCHECKED;
    int disabled = BST_UNCHECKED;
    int reader = -1;
};

struct WinlogonState {
    WinlogonValues now;
    WinlogonValues saved;  // what was last read from, or written to, the place where each value is stored
    KdcSetting kdc = KdcSetting::Unavailable;
    bool mayWrite = false;
};

// Takes what is stored into the state; the reader is apart, since each provider has its own.
void TakeStored(WinlogonState& state, KdcSetting kdc, bool disabled) noexcept;

// Without the product at logon the KDC can't work with its algorithms either: its check mark goes. It doesn't come back
// with the other's.
void CoupleChecks(WinlogonState& state) noexcept;

struct WinlogonEnabled {
    bool kdc = false;
    bool disabled = false;

    bool operator==(const WinlogonEnabled&) const = default;
};
WinlogonEnabled WhatIsEnabled(const WinlogonState& state) noexcept;

struct WinlogonChanges {
    bool kdc = false;
    bool disabled = false;
    bool reader = false;

    bool Any() const noexcept { return kdc || disabled || reader; }
};
WinlogonChanges WhatChanged(const WinlogonState& state) noexcept;

// Where in the list the reader stands that a setting names, in exactly its letters; -1: nowhere. `names`: those of the
// items after "not set".
int FindReader(std::span<const std::wstring> names, const std::wstring& stored) noexcept;

bool IsDomainController() noexcept;

// Whether a provider is registered with a kind of implementation, whichever; such are offered for logon.
bool HasImplementationType(const std::wstring& provider);

KdcSetting ReadKdcSetting() noexcept;
LSTATUS WriteKdcSetting(bool on) noexcept;
