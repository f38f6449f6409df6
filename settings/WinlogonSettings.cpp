#include "settings/WinlogonSettings.h"

#include <wincrypt.h>

#include <algorithm>

#include "framework/Handles.h"

namespace {

int Mark(bool checked) noexcept {
    return checked ? BST_CHECKED : BST_UNCHECKED;
}

}  // namespace

KdcSetting KdcSettingOf(bool found, LONG number) noexcept {
    if (!found) return KdcSetting::Missing;
    return number > 0 ? KdcSetting::Off : KdcSetting::On;
}

void TakeStored(WinlogonState& state, KdcSetting kdc, bool disabled) noexcept {
    state.kdc = kdc;
    state.now.kdc = state.saved.kdc = Mark(kdc == KdcSetting::On || kdc == KdcSetting::Missing);
    state.now.disabled = state.saved.disabled = Mark(disabled);
}

void CoupleChecks(WinlogonState& state) noexcept {
    if (state.now.disabled == BST_CHECKED) state.now.kdc = BST_UNCHECKED;
}

WinlogonEnabled WhatIsEnabled(const WinlogonState& state) noexcept {
    return {.kdc = state.kdc != KdcSetting::Unavailable && state.mayWrite && state.now.disabled != BST_CHECKED,
            .disabled = state.mayWrite};
}

WinlogonChanges WhatChanged(const WinlogonState& state) noexcept {
    return {.kdc = state.now.kdc != state.saved.kdc,
            .disabled = state.now.disabled != state.saved.disabled,
            .reader = state.now.reader != state.saved.reader};
}

int FindReader(std::span<const std::wstring> names, const std::wstring& stored) noexcept {
    const auto found = std::find(names.begin(), names.end(), stored);
    return found == names.end() ? -1 : static_cast<int>(found - names.begin()) + 1;
}

namespace {

constexpr wchar_t kProviderKeys[] = L"Software\\Microsoft\\Cryptography\\Defaults\\Provider\\";
constexpr wchar_t kKdcKey[] = L"SYSTEM\\CurrentControlSet\\Services\\kdc\\Parameters";
constexpr wchar_t kKdcValue[] = L"NotChangeDefaultVerifyProvider";

}  // namespace

bool IsDomainController() noexcept {
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof version;
    return GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)) &&
           version.wProductType == VER_NT_DOMAIN_CONTROLLER;
}

bool HasImplementationType(const std::wstring& provider) {
    UniqueRegistryKey key;
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, (kProviderKeys + provider).c_str(), 0, KEY_QUERY_VALUE, key.put()) == 0 &&
           RegQueryValueExW(key.get(), L"ImpType", nullptr, nullptr, nullptr, nullptr) == 0;
}

// Something that isn't a number counts as missing.
KdcSetting ReadKdcSetting() noexcept {
    UniqueRegistryKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKdcKey, 0, KEY_QUERY_VALUE, key.put()) != 0) return KdcSetting::Unavailable;
    LONG number = 0;
    DWORD type = 0, size = sizeof number;
    const bool found =
        RegQueryValueExW(key.get(), kKdcValue, nullptr, &type, reinterpret_cast<BYTE*>(&number), &size) == 0 &&
        type == REG_DWORD && size == sizeof number;
    return KdcSettingOf(found, number);
}

LSTATUS WriteKdcSetting(bool on) noexcept {
    UniqueRegistryKey key;
    if (const LSTATUS error = RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKdcKey, 0, KEY_SET_VALUE, key.put())) return error;
    const DWORD number = on ? 0 : 1;
    return RegSetValueExW(key.get(), kKdcValue, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
}
