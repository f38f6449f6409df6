#include "pages/ComboParam.h"

void CComboParam::Attach(HCRYPTPROV provider) {
    ResetContent();
    provider_ = provider;
    const bool usable = provider_ != 0 && parameter_.Read(provider_);
    EnableWindow(usable);
    if (!provider_) return;
    const auto& entries = parameter_.entries;
    for (size_t i = 0; i < entries.size(); ++i) {
        SetItemData(AddString(entries[i].name), static_cast<LPARAM>(i));
    }
    if (usable) SelectLastEqual(entries[static_cast<size_t>(parameter_.choice.stored)].value);
}

// Of equal values the last one in the list is selected. A sorted list has another order than the entries.
void CComboParam::SelectLastEqual(const std::vector<BYTE>& value) noexcept {
    for (int item = 0; item < GetCount(); ++item) {
        const LPARAM position = GetItemData(item);
        if (parameter_.entries[static_cast<size_t>(position)].value != value) continue;
        SetCurSel(item);
        parameter_.choice.Reset(static_cast<int>(position));
    }
}

void CComboParam::ReadSelection() noexcept {
    const int item = GetCurSel();
    parameter_.choice.shown = item < 0 ? -1 : static_cast<int>(GetItemData(item));
}

bool CComboParam::IsModified() noexcept {
    ReadSelection();
    return provider_ != 0 && parameter_.Changed();
}

void CComboParam::Save() noexcept {
    if (IsModified()) static_cast<void>(parameter_.Write(provider_));
}
