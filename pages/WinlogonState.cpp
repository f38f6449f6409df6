#include "pages/WinlogonState.h"

#include <algorithm>

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
